// SPDX-License-Identifier: Apache-2.0
//
// What the element tells of made audio, on the bus and as tags, and that the audio passes as it came. Expectations: Bursts in rig.h.
#include <cmath>

#include "gstreamer/rig.h"

namespace TSEG::gst::testing {
namespace {

using Words = std::vector<std::string>;

TEST(GstreamerMessages, TellASentenceFromItsOnsetToTheTurn) {
  Rig rig;
  rig.SetCaps();
  EXPECT_EQ(rig.Push(Bursts(6, {{1, 2}}), 0), GST_FLOW_OK);
  const std::vector<Told> told = rig.TakeTold();
  ASSERT_EQ(EventsOf(told), (Words{"may-have-begun", "begun", "ended", "turn-ended"}));
  EXPECT_NEAR(told[0].time("timestamp"), 0.98, 1e-6);
  EXPECT_NEAR(told[1].time("timestamp"), 0.70, 1e-6);
  EXPECT_EQ(told[1].count("sentence"), 0);
  EXPECT_FALSE(told[1].flag("began-in-speech"));
  EXPECT_NEAR(told[2].time("timestamp"), 2.20, 1e-6);
  EXPECT_NEAR(told[2].time("begin-timestamp"), 0.70, 1e-6);
  EXPECT_NEAR(told[2].time("duration"), 1.50, 1e-6);
  EXPECT_FALSE(told[2].flag("ended-in-speech"));
  // 102 frames count as speech: 2 of silence, 100 of the square wave.
  EXPECT_NEAR(told[2].number("level-db"), 20 * std::log10(8000.0 / 32768) + 10 * std::log10(100.0 / 102), 0.05);
  EXPECT_NEAR(told[2].number("snr-db"), told[2].number("level-db") + 100, 0.001);
  EXPECT_EQ(told[2].number("clipped"), 0);
  EXPECT_EQ(told[3].count("sentence"), 0);
}

TEST(GstreamerMessages, TimesAreThoseOfTheSegment) {
  Rig rig;
  rig.SetCaps();
  rig.PushSegment(10, 3, 100);  // the buffers' 10 s are the stream's 3 s and are played at 100 s
  EXPECT_EQ(rig.Push(Bursts(6, {{1, 2}}), Seconds(10)), GST_FLOW_OK);
  const std::vector<Told> told = rig.TakeTold();
  ASSERT_EQ(told.size(), 4U);
  ExpectSpans(SentencesOf(told, "timestamp"), {{10.70, 12.20}});
  ExpectSpans(SentencesOf(told, "stream-time"), {{3.70, 5.20}});
  ExpectSpans(SentencesOf(told, "running-time"), {{100.70, 102.20}});
}

TEST(GstreamerMessages, DelayIsWhatHadToBeHeard) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(8, {{4, 5}}), 0);
  const std::vector<Told> told = rig.TakeTold();
  ASSERT_EQ(SentencesOf(told).size(), 1U);
  for (const Told& one : told) {
    if (one.event() != "ended") continue;
    // 40 frames of silence behind 5.0 s, told of the end at 5.2, and the network's look ahead of 0.1 to 0.25 s.
    EXPECT_GT(one.time("delay"), 0.2 + 0.1);
    EXPECT_LT(one.time("delay"), 0.2 + 0.26);
  }
}

TEST(GstreamerMessages, ProbabilityComesForEachFrameIfAskedFor) {
  Rig rig("post-probabilities=true");
  rig.SetCaps();
  rig.Push(Bursts(3, {}), 0);
  rig.End();
  const std::vector<Told> told = rig.TakeTold();
  ASSERT_GE(told.size(), 290U);
  ASSERT_LE(told.size(), 300U);
  for (size_t i = 0; i < told.size(); ++i) {
    ASSERT_EQ(told[i].event(), "probability");
    ASSERT_NEAR(told[i].time("timestamp"), 0.01 * static_cast<double>(i), 1e-6);
    ASSERT_GT(told[i].number("probability"), 0.7);  // the model of the tests hears speech everywhere
  }
}

TEST(GstreamerMessages, NothingIsPostedIfNothingShallBe) {
  Rig rig("post-messages=false");
  rig.SetCaps();
  rig.Push(Bursts(6, {{1, 2}}), 0);
  rig.End();
  EXPECT_TRUE(rig.TakeTold().empty());
}

TEST(GstreamerMessages, SilenceIsTold) {
  Rig rig("still-every=2");
  rig.SetCaps();
  rig.Push(Bursts(5.5, {}), 0);
  const std::vector<Told> told = rig.TakeTold();
  ASSERT_EQ(EventsOf(told), (Words{"silence", "silence"}));
  EXPECT_NEAR(told[1].time("timestamp"), 4, 1e-6);
  EXPECT_NEAR(told[1].time("duration"), 4, 1e-6);
}

TEST(GstreamerMessages, AudioPassesAsItCame) {
  Rig rig;
  rig.SetCaps();
  const std::vector<int16_t> signal = Bursts(3, {{1, 2}});
  for (size_t at = 0; at < signal.size(); at += 480) {
    const std::vector<int16_t> part(signal.begin() + static_cast<std::ptrdiff_t>(at),
                                    signal.begin() + static_cast<std::ptrdiff_t>(at + 480));
    GstBuffer* buffer = BufferOf(part, Seconds(static_cast<double>(at) / 16000));
    ASSERT_EQ(gst_harness_push(rig.harness(), buffer), GST_FLOW_OK);
    GstBuffer* out = gst_harness_pull(rig.harness());
    ASSERT_EQ(out, buffer);  // the same one, at once
    gst_buffer_unref(out);
  }
}

// The same sound in every form: 2 channels, of which each has it.
TEST(GstreamerMessages, EveryFormAndRateIsHeard) {
  for (const int rate : {4000, 8000, 11025, 16000, 44100, 48000, 192000}) {
    for (const char* format : {"S16LE", "S24_32LE", "S32LE", "F32LE"}) {
      Rig rig;
      rig.SetCaps(CapsOf(format, rate, 2));
      const std::vector<int16_t> signal = Bursts(4, {{1, 2}}, rate, 2);
      std::vector<int32_t> wide(signal.begin(), signal.end());
      std::vector<float> real(signal.begin(), signal.end());
      for (int32_t& value : wide) value *= std::string(format) == "S32LE" ? 65536 : 256;
      for (float& value : real) value /= 32768.0F;
      const size_t piece = static_cast<size_t>(rate) / 40;
      const GstFlowReturn flow = std::string(format) == "S16LE"   ? rig.Push(signal, 0, rate, 2, piece)
                                 : std::string(format) == "F32LE" ? rig.Push(real, 0, rate, 2, piece)
                                                                  : rig.Push(wide, 0, rate, 2, piece);
      ASSERT_EQ(flow, GST_FLOW_OK) << format << rate;
      rig.End();
      SCOPED_TRACE(std::string(format) + " " + std::to_string(rate));
      ExpectSpans(SentencesOf(rig.TakeTold()), {{0.70, 2.20}}, 0.0301);  // a resampler's filter smears the edges
    }
  }
}

TEST(GstreamerMessages, OneChannelOfSixCanBeListenedTo) {
  for (const int channel : {2, 5}) {
    Rig rig("channel=" + std::to_string(channel));
    rig.SetCaps(CapsOf("S16LE", 16000, 6));
    const std::vector<int16_t> sound = Bursts(4, {{1, 2}});
    std::vector<int16_t> signal(sound.size() * 6, 0);
    for (size_t i = 0; i < sound.size(); ++i) signal[6 * i + 4] = sound[i];
    rig.Push(signal, 0, 16000, 6);
    rig.End();
    EXPECT_EQ(SentencesOf(rig.TakeTold()).size(), channel == 5 ? 1U : 0U);
  }
}

TEST(GstreamerMessages, EndTellsTheOpenSentenceBeforeItGoesOn) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 3}}), 0);
  EXPECT_EQ(EventsOf(rig.TakeTold()), (Words{"may-have-begun", "begun"}));
  EXPECT_TRUE(rig.End());
  const std::vector<Told> told = rig.TakeTold();
  ASSERT_EQ(EventsOf(told), (Words{"ended"}));
  EXPECT_TRUE(told[0].flag("ended-in-speech"));
  EXPECT_NEAR(told[0].time("timestamp"), 2.96, 1e-6);  // the last four frames have no whole window of 50 ms
}

struct Tags {
  std::string model, profile, title;
  guint64 sentences = 0, speech = 0;
};

Tags LastTags(GstHarness* harness) {
  Tags found;
  while (GstEvent* event = gst_harness_try_pull_event(harness)) {
    if (GST_EVENT_TYPE(event) == GST_EVENT_TAG) {
      GstTagList* list = nullptr;
      gst_event_parse_tag(event, &list);
      found = Tags();
      const auto text = [&](const char* name) {
        gchar* value = nullptr;
        const std::string copy = gst_tag_list_get_string(list, name, &value) ? value : "";
        g_free(value);
        return copy;
      };
      found.model = text("wvad-model");
      found.profile = text("wvad-profile");
      found.title = text(GST_TAG_TITLE);
      gst_tag_list_get_uint64(list, "wvad-sentences", &found.sentences);
      gst_tag_list_get_uint64(list, "wvad-speech", &found.speech);
    }
    gst_event_unref(event);
  }
  return found;
}

TEST(GstreamerMessages, TagsCountSentencesAndKeepThoseFromAbove) {
  Rig rig("profile=telephone");
  rig.SetCaps();
  GstTagList* above = gst_tag_list_new(GST_TAG_TITLE, "a call", nullptr);
  rig.PushEvent(gst_event_new_tag(above));
  rig.Push(Bursts(0.5, {}), 0);
  Tags tags = LastTags(rig.harness());
  EXPECT_EQ(tags.model, WVAD_TEST_MODEL);
  EXPECT_EQ(tags.profile, "telephone");
  EXPECT_EQ(tags.title, "a call");
  EXPECT_EQ(tags.sentences, 0U);
  rig.Push(Bursts(7.5, {{0.5, 1.5}, {4, 5.5}}), Seconds(0.5));
  tags = LastTags(rig.harness());
  EXPECT_EQ(tags.sentences, 2U);
  EXPECT_EQ(tags.speech, Seconds(1.5 + 2.0));
  EXPECT_EQ(tags.title, "a call");
}

}  // namespace
}  // namespace TSEG::gst::testing
