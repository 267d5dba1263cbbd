// SPDX-License-Identifier: Apache-2.0
//
// The element's properties: their values by profile, and when a change begins to hold.
#include "gstreamer/rig.h"

namespace TSEG::gst::testing {
namespace {

double Value(GstElement* element, const char* name) {
  gdouble value = 0;
  g_object_get(element, name, &value, nullptr);
  return value;
}

// The values are those of docs/stream.md.
TEST(GstreamerProperties, SettingsAreTheProfilesUnlessSet) {
  Rig rig;
  EXPECT_EQ(Value(rig.element(), "threshold"), 0.7);
  EXPECT_EQ(Value(rig.element(), "turn-silence"), 1.8);
  gst_util_set_object_arg(G_OBJECT(rig.element()), "profile", "fast");
  EXPECT_EQ(Value(rig.element(), "threshold"), 0.5);
  EXPECT_EQ(Value(rig.element(), "min-speech"), 0.06);
  EXPECT_EQ(Value(rig.element(), "energy-floor-db"), -64.2);
}

TEST(GstreamerProperties, OrderOfProfileAndSettingDoesNotMatter) {
  for (const char* order : {"profile=fast min-silence=0.3", "min-silence=0.3 profile=fast"}) {
    Rig rig(order);
    EXPECT_EQ(Value(rig.element(), "min-silence"), 0.3) << order;
    EXPECT_EQ(Value(rig.element(), "pad-before"), 0.2) << order;
  }
}

TEST(GstreamerProperties, EverySettingOfTheStreamLibraryIsOne) {
  NeedGStreamer();
  GstElement* element = gst_element_factory_make("wvad", nullptr);
  for (const char* name : {"threshold", "min-speech", "min-silence", "pad-before", "pad-after", "max-sentence", "energy-floor-db",
                           "turn-silence", "still-every"}) {
    GParamSpec* spec = g_object_class_find_property(G_OBJECT_GET_CLASS(element), name);
    ASSERT_NE(spec, nullptr) << name;
    EXPECT_NE(spec->flags & GST_PARAM_MUTABLE_PLAYING, 0) << name;
    EXPECT_GT(std::string(g_param_spec_get_blurb(spec)).size(), 10U) << name;
    const auto* range = G_PARAM_SPEC_DOUBLE(spec);
    EXPECT_EQ(range->default_value, Value(element, name)) << name;
  }
  const auto* range = G_PARAM_SPEC_DOUBLE(g_object_class_find_property(G_OBJECT_GET_CLASS(element), "energy-floor-db"));
  EXPECT_EQ(range->minimum, -116);
  EXPECT_EQ(range->maximum, -12);
  gst_object_unref(element);
}

TEST(GstreamerProperties, ValueBetweenOffAndTheSmallestIsTheSmallest) {
  Rig rig("turn-silence=0.01 still-every=0");
  EXPECT_EQ(Value(rig.element(), "turn-silence"), 0.05);
  EXPECT_EQ(Value(rig.element(), "still-every"), 0);
  rig.SetCaps();
  EXPECT_EQ(rig.Push(Bursts(1, {}), 0), GST_FLOW_OK);
}

TEST(GstreamerProperties, ChangeHoldsFromTheNextSilence) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(2.5, {{1, 2.5}}), 0);
  g_object_set(rig.element(), "pad-before", 0.1, "pad-after", 0.0, nullptr);
  rig.Push(Bursts(6.5, {{0, 0.5}, {3.5, 4.5}}), Seconds(2.5));
  rig.End();
  // The sentence that was open then keeps 0.3 and 0.2 s; the one at 6 s has the new margins.
  ExpectSpans(SentencesOf(rig.TakeTold()), {{0.70, 3.20}, {5.90, 7.00}}, 0.0101);
}

}  // namespace
}  // namespace TSEG::gst::testing
