// SPDX-License-Identifier: Apache-2.0
//
// The modes that let only sentences pass: what goes on, when it does, and in which order with events.
#include <algorithm>
#include <cstring>
#include <random>

#include "gstreamer/rig.h"

namespace TSEG::gst::testing {
namespace {

// What left the element, in order: buffers, gaps and other events with a name.
struct Left {
  enum Kind { kBuffer, kGap, kOther } kind;
  double time = 0;
  double length = 0;
  bool discont = false;
  bool gap_flag = false;
  std::vector<int16_t> samples = {};
  GstEventType event = GST_EVENT_UNKNOWN;
};

GstPadProbeReturn Note(GstPad*, GstPadProbeInfo* info, gpointer all) {
  Left left{Left::kOther};
  if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    left.kind = Left::kBuffer;
    left.time = static_cast<double>(GST_BUFFER_PTS(buffer)) / 1e9;
    left.length = static_cast<double>(GST_BUFFER_DURATION(buffer)) / 1e9;
    left.discont = GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT);
    left.gap_flag = GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_GAP);
    left.samples.resize(gst_buffer_get_size(buffer) / sizeof(int16_t));
    gst_buffer_extract(buffer, 0, left.samples.data(), left.samples.size() * sizeof(int16_t));
  } else {
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    left.event = GST_EVENT_TYPE(event);
    if (left.event == GST_EVENT_GAP) {
      GstClockTime time = 0, length = 0;
      gst_event_parse_gap(event, &time, &length);
      left.kind = Left::kGap;
      left.time = static_cast<double>(time) / 1e9;
      left.length = static_cast<double>(length) / 1e9;
    }
  }
  static_cast<std::vector<Left>*>(all)->push_back(left);
  return GST_PAD_PROBE_OK;
}

class ModesRig : public Rig {
 public:
  explicit ModesRig(const std::string& properties) : Rig(properties) {
    GstPad* pad = gst_element_get_static_pad(element(), "src");
    gst_pad_add_probe(pad, static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM), Note, &left,
                      nullptr);
    gst_object_unref(pad);
  }
  std::vector<Left> left;

  std::vector<Left> Buffers() const {
    std::vector<Left> found;
    std::copy_if(left.begin(), left.end(), std::back_inserter(found), [](const Left& one) { return one.kind == Left::kBuffer; });
    return found;
  }
  // The stretches of buffers that follow each other without a gap.
  Spans Stretches() const {
    Spans spans;
    for (const Left& one : Buffers()) {
      if (one.gap_flag) continue;
      if (!spans.empty() && std::abs(spans.back().second - one.time) < 1e-6) {
        spans.back().second = one.time + one.length;
      } else {
        spans.emplace_back(one.time, one.time + one.length);
      }
    }
    return spans;
  }
  double LatencyS() {
    GstQuery* query = gst_query_new_latency();
    gst_harness_set_upstream_latency(harness(), Seconds(0.02));
    EXPECT_TRUE(gst_element_query(element(), query));
    GstClockTime least = 0;
    gst_query_parse_latency(query, nullptr, &least, nullptr);
    gst_query_unref(query);
    return static_cast<double>(least) / 1e9 - 0.02;
  }
};

// What passed is what the signal (at 16 kHz, from 0 s) has at those times.
void ExpectSamplesOf(const std::vector<int16_t>& signal, const std::vector<Left>& buffers) {
  for (const Left& one : buffers) {
    const auto at = static_cast<size_t>(one.time * 16000 + 0.5);
    ASSERT_LE(at + one.samples.size(), signal.size());
    ASSERT_TRUE(std::equal(one.samples.begin(), one.samples.end(), signal.begin() + static_cast<std::ptrdiff_t>(at))) << one.time;
    ASSERT_NEAR(one.length, static_cast<double>(one.samples.size()) / 16000, 1e-6);
  }
}

// A wave that is different everywhere, so that a piece can be found at one place only.
std::vector<int16_t> Numbered(std::vector<int16_t> signal) {
  for (size_t i = 0; i < signal.size(); ++i) signal[i] = static_cast<int16_t>(signal[i] + static_cast<int16_t>(i * 7919 % 16));
  return signal;
}

TEST(GstreamerModes, CutLetsSentencesPassAtTheirTimesWithGapsBetween) {
  ModesRig rig("mode=cut");
  rig.SetCaps();
  const std::vector<int16_t> signal = Numbered(Bursts(8, {{1, 2}, {4, 5}}));
  EXPECT_EQ(rig.Push(signal, 0), GST_FLOW_OK);
  rig.End();
  ExpectSpans(rig.Stretches(), {{0.70, 2.20}, {3.70, 5.20}});
  ExpectSamplesOf(signal, rig.Buffers());
  double at = 0;
  bool gap_before = true;
  for (const Left& one : rig.left) {
    if (one.kind == Left::kOther) continue;
    ASSERT_NEAR(one.time, at, 1e-6);  // gaps and buffers together are all of the time
    at = one.time + one.length;
    if (one.kind == Left::kBuffer) {
      EXPECT_EQ(one.discont, gap_before) << one.time;
    }
    gap_before = one.kind == Left::kGap;
  }
  EXPECT_NEAR(at, 8, 1e-6);
}

TEST(GstreamerModes, MuteKeepsTheLengthAndFlagsWhatIsSilent) {
  ModesRig rig("mode=mute");
  rig.SetCaps();
  const std::vector<int16_t> signal = Numbered(Bursts(8, {{1, 2}, {4, 5}}));
  rig.Push(signal, 0);
  rig.End();
  std::vector<int16_t> expected(signal.size(), 0);
  for (const auto& [begin, end] : Spans{{0.70, 2.20}, {3.70, 5.20}}) {
    for (auto i = static_cast<size_t>(begin * 16000 + 0.5); i < static_cast<size_t>(end * 16000 + 0.5); ++i) expected[i] = signal[i];
  }
  std::vector<int16_t> passed;
  for (const Left& one : rig.Buffers()) {
    ASSERT_NEAR(one.time, static_cast<double>(passed.size()) / 16000, 1e-6);
    passed.insert(passed.end(), one.samples.begin(), one.samples.end());
    EXPECT_EQ(one.gap_flag, one.time < 0.6999 || (one.time > 2.1999 && one.time < 3.6999) || one.time > 5.1999) << one.time;
    EXPECT_FALSE(one.discont && one.time > 0) << one.time;
  }
  EXPECT_EQ(passed, expected);
  EXPECT_TRUE(std::none_of(rig.left.begin(), rig.left.end(), [](const Left& one) { return one.kind == Left::kGap; }));
}

// Bursts and pauses of all lengths, so that runs that prove nothing, sentences that are cut off and those that touch are among them.
Spans AnyBursts(unsigned seed, double length_s) {
  std::mt19937 random(seed);
  const auto between = [&](int low, int high) { return static_cast<int>(random() % static_cast<unsigned>(high - low + 1)) + low; };
  Spans spans;
  int at = between(0, 30);
  while (at < static_cast<int>(length_s * 100)) {
    const int end = at + (between(0, 2) == 0 ? between(100, 700) : between(2, 40));
    spans.emplace_back(at / 100.0, end / 100.0);
    at = end + (between(0, 3) == 0 ? between(60, 300) : between(1, 50));
  }
  return spans;
}

// The messages are the measure: every sentence that was told passes whole and nothing else does, no later than the latency promises.
TEST(GstreamerModes, CutPassesWhatTheMessagesTellInTimeWhateverTheSettings) {
  unsigned seed = 0;
  for (const char* properties :
       {"", "profile=fast", "profile=dictation", "profile=meeting", "profile=telephone", "min-speech=0.03", "min-speech=2 pad-before=2",
        "min-silence=0.05 pad-after=0", "min-silence=2 pad-after=2", "pad-before=0 pad-after=0", "max-sentence=2",
        "min-speech=0.12 min-silence=0.1 pad-before=1", "max-sentence=3 min-silence=1 pad-after=0"}) {
    for (int round = 0; round < 3; ++round) {
      SCOPED_TRACE(std::string(properties) + ", seed " + std::to_string(++seed));
      ModesRig rig(std::string("mode=cut ") + properties);
      rig.SetCaps();
      const double latency_s = rig.LatencyS();
      const std::vector<int16_t> signal = Numbered(Bursts(40, AnyBursts(seed, 40)));
      double late_s = 0;
      for (size_t at = 0; at < signal.size(); at += 320) {
        const std::vector<int16_t> part(signal.begin() + static_cast<std::ptrdiff_t>(at),
                                        signal.begin() + static_cast<std::ptrdiff_t>(std::min(at + 320, signal.size())));
        const size_t before = rig.left.size();
        ASSERT_EQ(gst_harness_push(rig.harness(), BufferOf(part, Seconds(static_cast<double>(at) / 16000))), GST_FLOW_OK);
        const double heard_s = static_cast<double>(at + part.size()) / 16000;
        for (size_t i = before; i < rig.left.size(); ++i) {
          // The first frame of a buffer has waited longest; 20 ms of it are the upstream's.
          if (rig.left[i].kind != Left::kOther) late_s = std::max(late_s, heard_s - 0.02 - rig.left[i].time);
        }
      }
      EXPECT_LE(late_s, latency_s);
      rig.End();
      Spans told = SentencesOf(rig.TakeTold());
      for (size_t i = 1; i < told.size();) {
        if (told[i].first > told[i - 1].second + 1e-6) {
          ++i;
          continue;
        }
        told[i - 1].second = told[i].second;
        told.erase(told.begin() + static_cast<std::ptrdiff_t>(i));
      }
      ExpectSpans(rig.Stretches(), told);
      ExpectSamplesOf(signal, rig.Buffers());
      EXPECT_FALSE(told.empty());
    }
  }
}

TEST(GstreamerModes, LatencyIsThatOfTheSettings) {
  ModesRig pass("mode=pass");
  EXPECT_EQ(pass.LatencyS(), 0);
  // With "fast": 0.2 s before the speech, 0.06 that prove it, 0.08 of edges, 0.25 of context, 0.01 of a block.
  ModesRig fast("mode=cut profile=fast");
  fast.SetCaps();
  EXPECT_NEAR(fast.LatencyS(), 0.60, 1e-6);
  // By default: 0.3, 0.2 and 0.42 for a second run of speech, 0.08, 0.25, 0.01.
  ModesRig usual("mode=mute");
  usual.SetCaps();
  EXPECT_NEAR(usual.LatencyS(), 1.26, 1e-6);
}

TEST(GstreamerModes, PipelineIsToldOfAnotherLatency) {
  ModesRig rig("mode=pass");
  rig.SetCaps();
  rig.Push(Bursts(1, {}), 0);
  EXPECT_EQ(gst_bus_pop_filtered(rig.bus(), GST_MESSAGE_LATENCY), nullptr);
  gst_util_set_object_arg(G_OBJECT(rig.element()), "mode", "cut");
  rig.Push(Bursts(1, {}), Seconds(1));
  GstMessage* message = gst_bus_pop_filtered(rig.bus(), GST_MESSAGE_LATENCY);
  ASSERT_NE(message, nullptr);
  gst_message_unref(message);
  EXPECT_GT(rig.LatencyS(), 1.0);
}

TEST(GstreamerModes, ModeChangesInSilenceAndNothingIsLostThere) {
  ModesRig rig("mode=pass");
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 2}}), 0);
  gst_util_set_object_arg(G_OBJECT(rig.element()), "mode", "cut");
  rig.Push(Bursts(4, {{2, 3}}), Seconds(3));
  gst_util_set_object_arg(G_OBJECT(rig.element()), "mode", "pass");
  rig.Push(Bursts(2, {}), Seconds(7));
  ExpectSpans(rig.Stretches(), {{0, 3}, {4.70, 6.20}, {7, 9}});
}

TEST(GstreamerModes, FlushThrowsAwayWhatIsHeldBack) {
  ModesRig rig("mode=mute");
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 3}}), 0);
  const size_t before = rig.Buffers().size();
  rig.PushEvent(gst_event_new_flush_start());
  rig.PushEvent(gst_event_new_flush_stop(TRUE));
  rig.PushSegment(0, 0, 0);
  EXPECT_EQ(rig.Buffers().size(), before);
  rig.Push(Bursts(3, {{1, 2}}), Seconds(10));
  rig.End();
  EXPECT_NEAR(rig.Buffers()[before].time, 10, 1e-6);
  EXPECT_NEAR(rig.Buffers().back().time + rig.Buffers().back().length, 13, 1e-6);
}

TEST(GstreamerModes, EventsStayBetweenTheBuffersThatTheyCameBetween) {
  ModesRig rig("mode=mute");
  rig.SetCaps();
  rig.Push(Bursts(0.5, {}), 0);
  rig.PushEvent(gst_event_new_custom(GST_EVENT_CUSTOM_DOWNSTREAM, gst_structure_new_empty("mark")));
  rig.Push(Bursts(4.5, {{1, 2}}), Seconds(0.5));
  rig.SetCaps(CapsOf("S16LE", 8000));
  rig.Push(Bursts(1, {}, 8000), Seconds(5), 8000);
  rig.End();
  double at = 0;
  std::vector<std::pair<GstEventType, double>> places;
  for (const Left& one : rig.left) {
    if (one.kind == Left::kBuffer) at = one.time + one.length;
    if (one.event == GST_EVENT_CUSTOM_DOWNSTREAM || one.event == GST_EVENT_EOS || (one.event == GST_EVENT_CAPS && at > 0)) {
      places.emplace_back(one.event, at);
    }
  }
  ASSERT_EQ(places.size(), 3U);
  EXPECT_EQ(places[0].first, GST_EVENT_CUSTOM_DOWNSTREAM);
  EXPECT_NEAR(places[0].second, 0.5, 1e-6);
  EXPECT_EQ(places[1].first, GST_EVENT_CAPS);
  EXPECT_NEAR(places[1].second, 5, 1e-6);
  EXPECT_EQ(places[2].first, GST_EVENT_EOS);
  EXPECT_NEAR(places[2].second, 6, 1e-6);
}

TEST(GstreamerModes, JumpLetsGoWhatIsHeldFirst) {
  ModesRig rig("mode=cut");
  rig.SetCaps();
  rig.Push(Bursts(2, {{1, 2}}), 0);
  rig.Push(Bursts(3, {{1, 2}}), Seconds(20));
  rig.End();
  ExpectSpans(rig.Stretches(), {{0.70, 1.96}, {20.70, 22.20}});
}

}  // namespace
}  // namespace TSEG::gst::testing
