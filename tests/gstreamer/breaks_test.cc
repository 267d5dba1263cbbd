// SPDX-License-Identifier: Apache-2.0
//
// Where audio breaks off, changes, or cannot be served.
#include <cmath>
#include <limits>

#include "gstreamer/rig.h"

namespace TSEG::gst::testing {
namespace {

using Words = std::vector<std::string>;

const Words kOneSentence = {"may-have-begun", "begun", "ended"};

TEST(GstreamerBreaks, JumpOfTheTimestampsEndsASentenceAndTheNextHasNewTimes) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 3}}), 0);
  rig.Push(Bursts(4, {{1, 2}}), Seconds(20));
  rig.End();
  const std::vector<Told> told = rig.TakeTold();
  ExpectSpans(SentencesOf(told), {{0.70, 2.96}, {20.70, 22.20}});
  EXPECT_EQ(told[2].event(), "ended");
  EXPECT_TRUE(told[2].flag("ended-in-speech"));
  EXPECT_EQ(told.back().count("sentence"), 1);
}

TEST(GstreamerBreaks, JumpIsWhatASinkWouldNotBearMoreThan40Ms) {
  for (const bool breaks : {false, true}) {
    Rig rig;
    rig.SetCaps();
    rig.Push(Bursts(3, {{1, 3}}), 0);
    rig.Push(Bursts(4, {{0, 2}}), Seconds(breaks ? 3.05 : 3.03));
    rig.End();
    EXPECT_EQ(SentencesOf(rig.TakeTold()).size(), breaks ? 2u : 1u);
  }
}

TEST(GstreamerBreaks, TimestampsMayWander) {
  Rig rig;
  rig.SetCaps();
  const std::vector<int16_t> signal = Bursts(6, {{1, 5}});
  // A clock that goes 0.5 % faster than the samples, and shakes by 2 ms: 300 buffers of 20 ms, each 20.1 ms behind the last.
  for (int i = 0; i < 300; ++i) {
    const std::vector<int16_t> part(signal.begin() + 320 * i, signal.begin() + 320 * (i + 1));
    const double shake = i % 2 == 0 ? 0.002 : 0;
    ASSERT_EQ(gst_harness_push(rig.harness(), BufferOf(part, Seconds(0.0201 * i + shake))), GST_FLOW_OK);
  }
  rig.End();
  // 0.7 s and 5.2 s of samples are 0.7035 s and 5.226 s of that clock; the line is followed in steps of 5 ms.
  ExpectSpans(SentencesOf(rig.TakeTold()), {{0.7035, 5.226}}, 0.0081);
}

TEST(GstreamerBreaks, AudioWithoutTimestampsCountsFromTheSegmentsStart) {
  Rig rig;
  rig.SetCaps();
  rig.PushSegment(5, 5, 0);
  const std::vector<int16_t> signal = Bursts(4, {{1, 2}});
  for (size_t at = 0; at < signal.size(); at += 320) {
    const std::vector<int16_t> part(signal.begin() + static_cast<std::ptrdiff_t>(at),
                                    signal.begin() + static_cast<std::ptrdiff_t>(at + 320));
    gst_harness_push(rig.harness(), BufferOf(part, GST_CLOCK_TIME_NONE));
  }
  rig.End();
  ExpectSpans(SentencesOf(rig.TakeTold()), {{5.70, 7.20}});
}

TEST(GstreamerBreaks, GapEndsASentence) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 3}}), 0);
  rig.TakeTold();
  EXPECT_TRUE(rig.PushEvent(gst_event_new_gap(Seconds(3), Seconds(1))));
  EXPECT_EQ(EventsOf(rig.TakeTold()), (Words{"ended"}));
  rig.Push(Bursts(4, {{1, 2}}), Seconds(4));
  rig.End();
  ExpectSpans(SentencesOf(rig.TakeTold()), {{4.70, 6.20}});
}

TEST(GstreamerBreaks, FlushThrowsAwayWhatIsOpenAndSaysSo) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 3}}), 0);
  rig.TakeTold();
  rig.PushEvent(gst_event_new_flush_start());
  rig.PushEvent(gst_event_new_flush_stop(TRUE));
  const std::vector<Told> told = rig.TakeTold();
  ASSERT_EQ(EventsOf(told), (Words{"abandoned"}));
  EXPECT_EQ(told[0].count("sentence"), 0);
  // Seeked to 30 s: nothing of before is heard any more.
  rig.PushSegment(30, 30, 0);
  rig.Push(Bursts(3, {{1, 2}}), Seconds(30));
  rig.End();
  const std::vector<Told> later = rig.TakeTold();
  ASSERT_EQ(EventsOf(later), kOneSentence);
  ExpectSpans(SentencesOf(later), {{30.70, 32.20}});
  ExpectSpans(SentencesOf(later, "running-time"), {{0.70, 2.20}});
  EXPECT_EQ(later[1].count("sentence"), 1);  // numbers do not come twice
}

TEST(GstreamerBreaks, FlushInSilenceSaysNothing) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(3, {}), 0);
  rig.PushEvent(gst_event_new_flush_start());
  rig.PushEvent(gst_event_new_flush_stop(TRUE));
  EXPECT_TRUE(rig.TakeTold().empty());
}

TEST(GstreamerBreaks, OtherCapsEndASentence) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 3}}), 0);
  rig.TakeTold();
  rig.SetCaps(CapsOf("F32LE", 48000, 2));
  EXPECT_EQ(EventsOf(rig.TakeTold()), (Words{"ended"}));
  const std::vector<int16_t> signal = Bursts(3, {{1, 2}}, 48000, 2);
  std::vector<float> real(signal.begin(), signal.end());
  for (float& value : real) value /= 32768.0F;
  EXPECT_EQ(rig.Push(real, Seconds(3), 48000, 2), GST_FLOW_OK);
  rig.End();
  ExpectSpans(SentencesOf(rig.TakeTold()), {{3.70, 5.20}}, 0.0201);
}

TEST(GstreamerBreaks, TheSameCapsAgainChangeNothing) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(2, {{1, 2}}), 0);
  rig.SetCaps();
  rig.Push(Bursts(3, {{0, 1}}), Seconds(2));
  rig.End();
  ExpectSpans(SentencesOf(rig.TakeTold()), {{0.70, 3.20}});
}

TEST(GstreamerBreaks, AnotherSegmentEndsASentenceInTheOldOne) {
  Rig rig;
  rig.SetCaps();
  rig.Push(Bursts(3, {{1, 3}}), 0);
  rig.PushSegment(0, 0, 3);  // the next piece of a list: its 0 s are played at 3 s
  rig.Push(Bursts(3, {{1, 2}}), 0);
  rig.End();
  ExpectSpans(SentencesOf(rig.TakeTold(), "running-time"), {{0.70, 2.96}, {3.70, 5.20}});
}

TEST(GstreamerBreaks, AudioThatRunsBackwardPassesUnheard) {
  Rig rig;
  rig.SetCaps();
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.rate = -1;
  segment.stop = Seconds(10);
  rig.PushEvent(gst_event_new_segment(&segment));
  EXPECT_NE(rig.TakeTrouble(GST_MESSAGE_WARNING).find("backward"), std::string::npos);
  EXPECT_EQ(rig.Push(Bursts(4, {{1, 2}}), 0), GST_FLOW_OK);
  rig.End();
  EXPECT_TRUE(rig.TakeTold().empty());
  EXPECT_EQ(gst_harness_buffers_in_queue(rig.harness()), 200U);
}

TEST(GstreamerBreaks, SamplesThatAreNoNumbersAreSilenceWithOneWarning) {
  Rig rig;
  rig.SetCaps(CapsOf("F32LE"));
  std::vector<float> signal(16000 * 4, 0.0F);
  const std::vector<int16_t> burst = Bursts(4, {{1, 2}});
  for (size_t i = 0; i < signal.size(); ++i) signal[i] = static_cast<float>(burst[i]) / 32768.0F;
  for (size_t i = 48000; i < 56000; ++i) signal[i] = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(rig.Push(signal, 0), GST_FLOW_OK);
  EXPECT_NE(rig.TakeTrouble(GST_MESSAGE_WARNING).find("no finite numbers"), std::string::npos);
  // Another form of the same stream is no reason to say it again.
  rig.SetCaps(CapsOf("F32LE", 48000));
  EXPECT_EQ(rig.Push(signal, 4 * GST_SECOND, 48000), GST_FLOW_OK);
  rig.End();
  EXPECT_EQ(rig.TakeTrouble(GST_MESSAGE_WARNING), "");
}

TEST(GstreamerBreaks, SamplesThatAreNoNumbersDoNotMoveTheRest) {
  Rig rig;
  rig.SetCaps(CapsOf("F32LE"));
  std::vector<float> signal(16000 * 5, 0.0F);
  const std::vector<int16_t> burst = Bursts(5, {{2, 3}});
  for (size_t i = 0; i < signal.size(); ++i) signal[i] = static_cast<float>(burst[i]) / 32768.0F;
  for (size_t i = 8000; i < 16000; ++i) signal[i] = std::numeric_limits<float>::infinity();
  rig.Push(signal, 0);
  rig.End();
  ExpectSpans(SentencesOf(rig.TakeTold()), {{1.70, 3.20}});
}

TEST(GstreamerBreaks, BufferThatEndsWithinAFrameIsAnError) {
  Rig rig;
  rig.SetCaps(CapsOf("S16LE", 16000, 2));
  EXPECT_EQ(gst_harness_push(rig.harness(), BufferOf(std::vector<int16_t>(321), 0)), GST_FLOW_ERROR);
  EXPECT_NE(rig.TakeError().find("multiple of 4"), std::string::npos);
}

TEST(GstreamerBreaks, ModelThatIsMissingIsAnErrorAtTheCaps) {
  Rig rig("model=/nowhere/model.bin", false);
  rig.SetCaps();
  EXPECT_NE(rig.TakeError().find("/nowhere/model.bin"), std::string::npos);
  EXPECT_NE(rig.Push(Bursts(1, {}), 0), GST_FLOW_OK);
}

TEST(GstreamerBreaks, BundledModelThatThereIsNotIsAnError) {
  Rig rig("model=lstm_fb99", false);
  rig.SetCaps();
  EXPECT_NE(rig.TakeError().find("lstm_fb99"), std::string::npos);
}

TEST(GstreamerBreaks, ChannelThatThereIsNotIsAnError) {
  Rig rig("channel=3");
  rig.SetCaps(CapsOf("S16LE", 16000, 2));
  EXPECT_NE(rig.TakeError().find("channel 3 of 2"), std::string::npos);
}

TEST(GstreamerBreaks, ElementCanBeStoppedAndStartedAgain) {
  Rig rig;
  for (int round = 0; round < 2; ++round) {
    rig.SetCaps();
    rig.PushSegment(0, 0, 0);
    EXPECT_EQ(rig.Push(Bursts(3, {{1, 2}}), 0), GST_FLOW_OK);
    rig.End();
    const std::vector<Told> told = rig.TakeTold();
    ExpectSpans(SentencesOf(told), {{0.70, 2.20}});
    EXPECT_EQ(told.back().count("sentence"), 0);  // a new run counts anew
    gst_element_set_state(rig.element(), GST_STATE_NULL);
    gst_element_set_state(rig.element(), GST_STATE_PLAYING);
    rig.PushEvent(gst_event_new_stream_start("again"));
  }
}

}  // namespace
}  // namespace TSEG::gst::testing
