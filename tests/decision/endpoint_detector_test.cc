// SPDX-License-Identifier: Apache-2.0
//
// The endpoint state machine in both variants, driven by runs of speech and silence.
#include "decision/endpoint_detector.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace TSEG {
namespace {

constexpr float kSpeech = 0.5f;
constexpr float kSilence = -0.5f;

// A detector with its configuration and the frame number of the next score.
struct Rig {
  CFG_VAD cfg;
  EndpointDetector d;
  int32_t frame = 0;
  int32_t gap = 40;
  int32_t begin_frame = -1;  // frame at which the last begin was confirmed
  int32_t end_frame = -1;    // frame at which the last end was

  Rig() { EndpointReset(&d, &cfg); }
  EndpointResult Run(int n, float score) {
    EndpointResult last = EP_RESULT_NONE;
    for (int i = 0; i < n; ++i) {
      const EndpointResult result = EndpointStep(&d, score, frame, gap);
      if (result == EP_RESULT_BEGIN) begin_frame = frame;
      if (result == EP_RESULT_END) end_frame = frame;
      if (result != EP_RESULT_NONE) last = result;
      ++frame;
    }
    return last;
  }
};

struct SlideRig : Rig {
  SlideRig() { cfg.wvad_param_isPostProcessWinSlideOn = true; }
};

TEST(EdgeStage, FourEventsWithZeroAsSpeech) {
  EndpointDetector d;
  EXPECT_EQ(EndpointEdgeStage(&d, -0.1f), EP_EVENT_SILENCE);
  EXPECT_EQ(EndpointEdgeStage(&d, 0.0f), EP_EVENT_RISE);
  EXPECT_EQ(EndpointEdgeStage(&d, 1.0f), EP_EVENT_SPEECH);
  EXPECT_EQ(d.nEdgeState, 2);
  EXPECT_EQ(EndpointEdgeStage(&d, -0.1f), EP_EVENT_FALL);
  EXPECT_EQ(d.nEdgeState, 1);
}

TEST(EdgeStage, NotANumberIsSilence) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EndpointDetector d;
  EXPECT_EQ(EndpointEdgeStage(&d, nan), EP_EVENT_SILENCE);
  EndpointEdgeStage(&d, 1.0f);
  EXPECT_EQ(EndpointEdgeStage(&d, nan), EP_EVENT_FALL);
}

TEST(EndpointDetector, RunOfNineFramesNeverCounts) {
  Rig rig;
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(rig.Run(9, kSpeech), EP_RESULT_NONE);
    EXPECT_EQ(rig.Run(1, kSilence), EP_RESULT_NONE);
    EXPECT_EQ(rig.d.bPending, 0);
  }
}

TEST(EndpointDetector, RunOfTenFramesWaitsAsPending) {
  Rig rig;
  rig.Run(5, kSilence);
  rig.Run(10, kSpeech);
  rig.Run(1, kSilence);
  EXPECT_EQ(rig.d.bPending, 1);
  EXPECT_EQ(rig.d.nPendBegin, 5);
  EXPECT_EQ(rig.d.nPendEnd, 15);
  EXPECT_EQ(rig.d.nFallFrame, 15);
}

TEST(EndpointDetector, RunOfProofLengthBeginsAtItsOwnFall) {
  // 20 frames of speech, then the fall: the speech frames reach 19 after the rise, the fall reaches 20.
  Rig rig;
  EXPECT_EQ(rig.Run(20, kSpeech), EP_RESULT_NONE);
  EXPECT_EQ(rig.Run(1, kSilence), EP_RESULT_BEGIN);
  EXPECT_EQ(rig.d.nEndFrame, 20);
  EXPECT_EQ(rig.d.nState, 1);
}

TEST(EndpointDetector, TwoShortRunsJoinAtTheFirstOnesRise) {
  Rig rig;
  rig.Run(100, kSilence);
  rig.Run(12, kSpeech);  // 100 to 111
  rig.Run(5, kSilence);  // 112 to 116
  EXPECT_EQ(rig.Run(12, kSpeech), EP_RESULT_BEGIN);
  EXPECT_EQ(rig.begin_frame, 120);
  EXPECT_EQ(rig.d.nBeginFrame, 70);
  EXPECT_EQ(rig.d.nFirstBegin, 100);
  EXPECT_EQ(rig.d.bPending, 0);
}

TEST(EndpointDetector, PendingRunDiesAfterTheSearchGap) {
  Rig rig;
  rig.Run(100, kSilence);
  rig.Run(12, kSpeech);   // fall at 112
  rig.Run(40, kSilence);  // 112 to 151: 39 after the fall
  EXPECT_EQ(rig.d.bPending, 1);
  rig.Run(1, kSilence);
  EXPECT_EQ(rig.d.bPending, 0);
}

TEST(EndpointDetector, PendingRunHoldsTheFloor) {
  Rig rig;
  rig.Run(100, kSilence);
  EXPECT_EQ(rig.d.nFloor, 69);
  rig.Run(12, kSpeech);
  rig.Run(20, kSilence);
  EXPECT_EQ(rig.d.nFloor, 70);  // the run's begin less the margin
}

TEST(EndpointDetector, SilenceCountsStandStillWhileARunIsPending) {
  Rig rig;
  rig.Run(30, kSpeech);
  rig.Run(41, kSilence);
  ASSERT_EQ(rig.d.nState, 2);
  const int32_t before = rig.d.nSilFrames;
  rig.Run(10, kSpeech);
  rig.Run(10, kSilence);
  EXPECT_EQ(rig.d.bPending, 1);
  EXPECT_EQ(rig.d.nSilFrames, before);
}

TEST(EndpointDetector, EarlyBeginStopsAtTheFloor) {
  Rig rig;
  rig.Run(10, kSilence);
  EXPECT_EQ(rig.Run(21, kSpeech), EP_RESULT_BEGIN);
  EXPECT_EQ(rig.d.nBeginFrame, 0);
  EXPECT_EQ(rig.d.nFirstBegin, 10);
}

TEST(EndpointDetector, EndComesWhereTheSilenceReachesTheGap) {
  Rig rig;
  rig.Run(30, kSpeech);
  rig.Run(1, kSilence);  // fall at 30: still counted as speech
  EXPECT_EQ(rig.Run(39, kSilence), EP_RESULT_NONE);
  EXPECT_EQ(rig.Run(1, kSilence), EP_RESULT_END);
  EXPECT_EQ(rig.end_frame, 70);
  EXPECT_EQ(rig.d.nSilFrames, 41);  // the gap plus one
  EXPECT_EQ(rig.d.nEndFrame, 50);
  EXPECT_EQ(rig.d.nFloor, 50);
  EXPECT_EQ(rig.d.nLastEnd, 30);
}

TEST(EndpointDetector, EndFollowsSilenceUpToTheMargin) {
  Rig rig;
  rig.Run(30, kSpeech);
  rig.Run(1, kSilence);
  rig.Run(20, kSilence);
  EXPECT_EQ(rig.d.nEndFrame, 50);
  rig.Run(10, kSilence);
  EXPECT_EQ(rig.d.nEndFrame, 50);
}

TEST(EndpointDetector, NextSentenceStartsBehindTheLastEnd) {
  Rig rig;
  rig.cfg.wvad_param_nFrameEndMargin = 100;
  rig.Run(30, kSpeech);
  rig.Run(41, kSilence);
  ASSERT_EQ(rig.end_frame, 70);
  EXPECT_EQ(rig.d.nEndFrame, 70);  // the margin does not go beyond the frame of the end
  EXPECT_EQ(rig.Run(21, kSpeech), EP_RESULT_BEGIN);
  EXPECT_EQ(rig.d.nRiseFrame, 71);
  EXPECT_EQ(rig.d.nBeginFrame, 70);
  EXPECT_EQ(rig.d.nFirstBegin, 0);  // stays the session's first
}

TEST(EndpointDetector, MarkEndInsideSpeechShowsTheRestAsANewRise) {
  Rig rig;
  rig.Run(40, kSpeech);
  EXPECT_EQ(MarkEnd(&rig.d, 40), 40);
  EXPECT_EQ(rig.d.nEdgeState, 1);
  EXPECT_EQ(rig.d.nLastEnd, 39);
  EXPECT_EQ(rig.d.nSilFrames, 2);
  rig.frame = 41;
  rig.Run(1, kSpeech);
  EXPECT_EQ(rig.d.nRiseFrame, 41);
}

TEST(EndpointDetector, TraceValuesAreWrittenOnlyWithTheSwitch) {
  Rig rig;
  rig.d.nTraceBegin = -5;
  rig.d.nTraceEnd = -6;
  rig.Run(10, kSilence);
  rig.Run(30, kSpeech);
  rig.Run(41, kSilence);
  EXPECT_EQ(rig.d.nTraceBegin, -5);
  EXPECT_EQ(rig.d.nTraceEnd, -6);
  rig.cfg.wvad_param_isVadDegOn = true;
  rig.Run(30, kSpeech);
  rig.Run(41, kSilence);
  EXPECT_EQ(rig.d.nTraceBegin, 81);
  EXPECT_EQ(rig.d.nTraceEnd, 111);
}

TEST(EndpointDetector, UnknownEventGivesNothing) {
  Rig rig;
  EXPECT_EQ(EndpointSentenceStage(&rig.d, static_cast<EdgeEvent>(0), 5, 40), EP_RESULT_NONE);
  SlideRig slide;
  EXPECT_EQ(EndpointSentenceStage(&slide.d, static_cast<EdgeEvent>(0), 5, 40), EP_RESULT_NONE);
  EXPECT_EQ(slide.d.nRingPos, 1);  // the window moves on on every path
}

TEST(EndpointDetector, ResetRestoresTheValuesOfAFreshSession) {
  Rig rig;
  rig.Run(30, kSpeech);
  rig.Run(80, kSilence);
  EndpointReset(&rig.d, &rig.cfg);
  EXPECT_EQ(rig.d.nState, 0);
  EXPECT_EQ(rig.d.nEdgeState, 1);
  EXPECT_EQ(rig.d.nFloor, 0);
  EXPECT_EQ(rig.d.nPendBegin, -1);
  EXPECT_EQ(rig.d.nPendEnd, -1);
  EXPECT_EQ(rig.d.nRiseFrame, -1);
  EXPECT_EQ(rig.d.nFallFrame, -1);
  EXPECT_EQ(rig.d.nFirstBegin, -1);
  EXPECT_EQ(rig.d.nLastEnd, -1);
  EXPECT_EQ(rig.d.nSilFrames, 0);
}

TEST(SlidingWindow, FifteenSpeechFramesBegin) {
  // The rise itself does not count: 16 frames of speech put 15 ones into the window.
  SlideRig rig;
  rig.Run(50, kSilence);
  EXPECT_EQ(rig.Run(15, kSpeech), EP_RESULT_NONE);
  EXPECT_EQ(rig.Run(1, kSpeech), EP_RESULT_BEGIN);
  EXPECT_EQ(rig.begin_frame, 65);
  // The window then holds zeros at frames 46 to 50 and ones at 51 to 65. The walk runs from the current place over the oldest (46) to the
  // newest, and its last zero is frame 50, five steps on: the sentence starts at rise 50 less 5, and reaches 30 further back.
  EXPECT_EQ(rig.d.nFirstBegin, 45);
  EXPECT_EQ(rig.d.nBeginFrame, 19);  // the floor: silence at frame 49 had put it there
}

TEST(SlidingWindow, ScatteredSpeechCountsAcrossFalls) {
  SlideRig rig;
  rig.Run(50, kSilence);
  EXPECT_EQ(rig.Run(12, kSpeech), EP_RESULT_NONE);  // ones at 51 to 61
  EXPECT_EQ(rig.Run(1, kSilence), EP_RESULT_NONE);  // fall at 62, run of 12: no change
  EXPECT_EQ(rig.d.bPending, 0);
  EXPECT_EQ(rig.Run(4, kSpeech), EP_RESULT_NONE);   // rise at 63, ones at 64 to 66: 14
  EXPECT_EQ(rig.Run(1, kSpeech), EP_RESULT_BEGIN);  // 67: 15
  // Window of frames 48 to 67; the newest zero is the rise at 63, 16 places on. It starts 16 before that rise.
  EXPECT_EQ(rig.d.nFirstBegin, 47);
}

TEST(SlidingWindow, ThresholdOfThirtyBehavesAsTwenty) {
  for (const int32_t threshold : {20, 30}) {
    SlideRig rig;
    rig.cfg.wvad_param_nPostProcessWinSlide_Threshold = threshold;
    rig.Run(50, kSilence);
    EXPECT_EQ(rig.Run(20, kSpeech), EP_RESULT_NONE);  // rise at 50 and 19 ones
    EXPECT_EQ(rig.d.nWinThreshold, 20);
    EXPECT_EQ(rig.Run(1, kSpeech), EP_RESULT_BEGIN) << threshold;
    EXPECT_EQ(rig.d.nFirstBegin, 50) << threshold;  // all places are one, so nothing is counted back
  }
}

TEST(SlidingWindow, LongRunThatFallsBelowTheThresholdWaits) {
  SlideRig rig;
  rig.cfg.wvad_param_nPostProcessWinSlide_Threshold = 20;
  rig.Run(50, kSilence);
  rig.Run(20, kSpeech);                             // rise at 50, ones at 51 to 69
  EXPECT_EQ(rig.Run(1, kSilence), EP_RESULT_NONE);  // fall at 70, 20 after the rise, 19 ones
  EXPECT_EQ(rig.d.bPending, 1);
  EXPECT_EQ(rig.d.nPendBegin, 50);
  EXPECT_EQ(rig.d.nPendEnd, 70);
}

TEST(SlidingWindow, BeginNearTheStartIsFrameZero) {
  SlideRig rig;
  rig.Run(3, kSilence);
  EXPECT_EQ(rig.Run(16, kSpeech), EP_RESULT_BEGIN);
  // Rise at 3, confirmed at 18. The ring is at place 18, so the walk visits 18, 19, 0, 1, 2, 3 and on: the last zero is place 3, 5 steps
  // on.
  EXPECT_EQ(rig.d.nRiseFrame, 3);
  EXPECT_EQ(rig.d.nFirstBegin, 0);
}

TEST(SlidingWindow, ShortRunRaisesTheFloorAndMediumRunDoesNot) {
  SlideRig click;
  click.Run(50, kSilence);
  click.Run(9, kSpeech);
  click.Run(1, kSilence);
  EXPECT_EQ(click.d.nFloor, 59 - 30);
  SlideRig medium;
  medium.Run(50, kSilence);
  medium.Run(10, kSpeech);
  medium.Run(1, kSilence);
  EXPECT_EQ(medium.d.nFloor, 19);
  EXPECT_EQ(medium.d.bPending, 0);
}

TEST(SlidingWindow, LongRunIsProvedAtItsFallByTheWindow) {
  SlideRig rig;
  rig.d.nEdgeState = 2;  // a run since frame 30 that the window has not yet proved
  rig.d.nRiseFrame = 30;
  rig.frame = 50;
  for (int i = 1; i < 16; ++i) rig.d.ring[i] = 1;
  EXPECT_EQ(rig.Run(1, kSilence), EP_RESULT_BEGIN);
  // Zeros at places 0 and 16 to 19: the last one met from place 0 is 19.
  EXPECT_EQ(rig.d.nFirstBegin, 11);
  EXPECT_EQ(rig.d.nFallFrame, 50);
}

TEST(SlidingWindow, CurrentFrameAloneAtZeroCountsTwentyBack) {
  SlideRig rig;
  rig.d.nEdgeState = 2;
  rig.d.nRiseFrame = 30;
  rig.frame = 50;
  for (int i = 0; i < 20; ++i) rig.d.ring[i] = 1;
  EXPECT_EQ(rig.Run(1, kSilence), EP_RESULT_BEGIN);
  EXPECT_EQ(rig.d.nFirstBegin, 10);
}

}  // namespace
}  // namespace TSEG
