// SPDX-License-Identifier: Apache-2.0
//
// wVadProcess and wVadFrameStep: score, hold-over, floor, splice, verdicts, and whole runs against reference numbers.
#include "decision/frame_decision.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

#include "decision/inst_builder.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

std::unique_ptr<TsegInst> InstWithEnergy(float energy, const CFG_VAD& cfg = CFG_VAD()) {
  auto inst = MakeInst(cfg);
  inst->decision.eScore = std::vector<float>(4000, energy);
  return inst;
}

TEST(wVadProcess, DefaultThresholdPutsZeroAtADifferenceOfFourTenths) {
  auto inst = InstWithEnergy(kLoud);
  EXPECT_GT(wVadProcess(inst.get(), 0.71f, 0.29f), 0.0f);
  EXPECT_LT(wVadProcess(inst.get(), 0.69f, 0.31f), 0.0f);
}

TEST(wVadProcess, ScoreIsRoundedOnceAfterTheThresholdIsRounded) {
  auto inst = InstWithEnergy(kLoud);
  const float threshold = static_cast<float>(2.0 * static_cast<double>(0.7f) - 1.0);
  const float expected = static_cast<float>((static_cast<double>(0.9f) - static_cast<double>(1e-9f)) - static_cast<double>(threshold));
  EXPECT_EQ(wVadProcess(inst.get(), 0.9f, 1e-9f), expected);
}

TEST(wVadProcess, ScoreOfZeroIsSpeechButAddsNoEnergy) {
  CFG_VAD cfg;
  cfg.wvad_param_vad_threshold = 0.75f;  // T is 0.5, exactly
  auto inst = InstWithEnergy(kLoud, cfg);
  inst->decision.nHoldOver = 1;
  EXPECT_EQ(wVadProcess(inst.get(), 0.75f, 0.25f), -0.5f);  // counted by the hold-over as not negative
  EXPECT_EQ(inst->decision.nHoldOver, 0);
  EXPECT_EQ(wVadProcess(inst.get(), 0.75f, 0.25f), 0.0f);
  EXPECT_EQ(inst->decision.nSpeechEnergyCount, 0);
  EXPECT_EQ(inst->decision.fSpeechEnergySum, 0.0f);
  EndpointDetector detector;
  EXPECT_EQ(EndpointEdgeStage(&detector, 0.0f), EP_EVENT_RISE);
}

TEST(wVadProcess, FirstPositiveFrameIsNotHeldOver) {
  auto inst = InstWithEnergy(kLoud);
  EXPECT_GT(wVadProcess(inst.get(), 1.0f, 0.0f), 0.0f);
}

TEST(wVadProcess, TwoFramesAfterANegativeOneAreHeldToSilenceAndStillAddEnergy) {
  auto inst = InstWithEnergy(kLoud);
  EXPECT_LT(wVadProcess(inst.get(), 0.0f, 1.0f), 0.0f);
  EXPECT_EQ(inst->decision.nHoldOver, 2);
  EXPECT_EQ(wVadProcess(inst.get(), 1.0f, 0.0f), -0.5f);
  EXPECT_EQ(wVadProcess(inst.get(), 1.0f, 0.0f), -0.5f);
  EXPECT_GT(wVadProcess(inst.get(), 1.0f, 0.0f), 0.0f);
  EXPECT_EQ(inst->decision.nSpeechEnergyCount, 3);
  EXPECT_EQ(inst->decision.fSpeechEnergySum, 60.0f);
}

TEST(wVadProcess, NegativeFrameAmongHeldOnesStartsTheCountAnew) {
  auto inst = InstWithEnergy(kLoud);
  wVadProcess(inst.get(), 0.0f, 1.0f);
  wVadProcess(inst.get(), 1.0f, 0.0f);
  wVadProcess(inst.get(), 0.0f, 1.0f);
  EXPECT_EQ(wVadProcess(inst.get(), 1.0f, 0.0f), -0.5f);
  EXPECT_EQ(wVadProcess(inst.get(), 1.0f, 0.0f), -0.5f);
  EXPECT_GT(wVadProcess(inst.get(), 1.0f, 0.0f), 0.0f);
}

TEST(wVadProcess, EnergyEqualToTheFloorIsNotForced) {
  auto equal = InstWithEnergy(16000.0f);
  EXPECT_GT(wVadProcess(equal.get(), 1.0f, 0.0f), 0.0f);
  EXPECT_EQ(equal->decision.nHoldOver, 0);
  auto below = InstWithEnergy(std::nextafter(16000.0f, 0.0f));
  EXPECT_EQ(wVadProcess(below.get(), 1.0f, 0.0f), -0.2f);
  EXPECT_EQ(below->decision.nHoldOver, 2);
  EXPECT_EQ(below->decision.nSpeechEnergyCount, 1);  // counted before it was forced
}

TEST(wVadProcess, AdaptiveFloorOf65HoldsForTheFirst300FramesOnUnscaledEnergies) {
  CFG_VAD cfg;
  cfg.wvad_param_k4_energy = true;
  auto inst = MakeInst(cfg);
  for (int i = 0; i < 300; ++i) inst->decision.eScore.push_back(i % 2 == 0 ? 65.0f : 64.99f);
  for (int i = 0; i < 300; ++i) {
    inst->decision.nFrameIdx = i;
    inst->decision.nHoldOver = 0;
    EXPECT_EQ(wVadProcess(inst.get(), 1.0f, 0.0f) > 0.0f, i % 2 == 0) << i;
    EXPECT_EQ(inst->decision.pEnergyStats->fThreshold, 65.0f);
  }
}

TEST(wVadProcess, FloorMovesAtFrames300And400AndNotBetween) {
  CFG_VAD cfg;
  cfg.wvad_param_k4_energy = true;
  auto inst = MakeInst(cfg);
  // 150 frames at 50 and 150 at 70: clear clusters, so the floor is a fifth of the way up.
  for (int i = 0; i < 500; ++i) inst->decision.eScore.push_back(i % 2 == 0 ? 50.0f : 70.0f);
  float held = 65.0f;
  for (int i = 0; i < 500; ++i) {
    inst->decision.nFrameIdx = i;
    wVadProcess(inst.get(), 1.0f, 0.0f);
    const EnergyStats& stats = *inst->decision.pEnergyStats;
    EXPECT_EQ(stats.nLastFrame, i < 300 ? 0 : i / 100 * 100) << i;
    if (i != 300 && i != 400) {
      EXPECT_EQ(stats.fThreshold, held) << i;
    }
    held = stats.fThreshold;
  }
  EXPECT_EQ(inst->decision.pEnergyStats->nClusterCount[0] + inst->decision.pEnergyStats->nClusterCount[1], 400);
}

TEST(wVadProcess, ShortSessionNeverLeaves65) {
  CFG_VAD cfg;
  cfg.wvad_param_k4_energy = true;
  auto inst = MakeInst(cfg);
  RunFrames(inst.get(), 299, true, 90.0f);
  EXPECT_EQ(inst->decision.pEnergyStats->fThreshold, 65.0f);
  EXPECT_EQ(inst->decision.pEnergyStats->nLastFrame, 0);
}

TEST(wVadProcess, ForceSpliceBoundsAreExclusive) {
  testing_support::LogCapture log;
  ASSERT_TRUE(log.opened());
  const std::string line = "wVadProcess | pTsegInst->nCurSpeechFrameNum > pTsegInst->nParamSpeechTimeOut/10, force splice";
  auto inst = InstWithEnergy(kLoud);
  struct Row {
    const char* name;
    int32_t frames;
    bool speech;
    int messages;
  };
  // The limit is 6000 frames.
  const Row rows[] = {{"silent at limit - 100", 5900, false, 0}, {"silent beyond it", 5901, false, 1},
                      {"speech beyond it", 5901, true, 0},       {"speech at limit + 100", 6100, true, 0},
                      {"speech beyond that", 6101, true, 1},     {"silent beyond that", 6101, false, 2}};
  int seen = 0;
  for (const Row& row : rows) {
    inst->decision.nCurSpeechFrameNum = row.frames;
    inst->decision.nHoldOver = 0;
    const float score = wVadProcess(inst.get(), row.speech ? 1.0f : 0.0f, row.speech ? 0.0f : 1.0f);
    if (row.messages > 0) {
      EXPECT_EQ(score, -0.2f) << row.name;
      EXPECT_EQ(inst->decision.nHoldOver, 2) << row.name;
    } else {
      EXPECT_NE(score, -0.2f) << row.name;
    }
    seen += row.messages;
    EXPECT_EQ(log.Count(line), seen) << row.name;
  }
}

TEST(wVadProcess, TraceHoldsThePairAsItStandsAfterTheOverrides) {
  CFG_VAD cfg;
  cfg.wvad_param_isVadDegOn = true;
  auto inst = InstWithEnergy(kLoud, cfg);
  wVadProcess(inst.get(), 0.9999f, 0.0001f);
  wVadProcess(inst.get(), 0.25f, 0.75f);
  wVadProcess(inst.get(), 1.0f, 0.0f);
  EXPECT_EQ(inst->diagnostics.mScore, (std::vector<int32_t>{999, 0, 250, 750, -500, -500}));
}

TEST(wVadProcess, NotANumberIsNeitherBelowNorAboveZero) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  auto inst = InstWithEnergy(kLoud);
  EXPECT_TRUE(std::isnan(wVadProcess(inst.get(), nan, 0.0f)));
  EXPECT_EQ(inst->decision.nHoldOver, 0);
  EXPECT_EQ(inst->decision.nSpeechEnergyCount, 0);
  inst->decision.nHoldOver = 2;
  EXPECT_EQ(wVadProcess(inst.get(), nan, 0.0f), -0.5f);
  EXPECT_EQ(inst->decision.nHoldOver, 1);
  inst->decision.nHoldOver = 0;
  inst->decision.nCurSpeechFrameNum = 5950;
  EXPECT_TRUE(std::isnan(wVadProcess(inst.get(), nan, 0.0f)));  // not below zero, so not spliced
}

TEST(wVadProcess, FrameWithoutEnergyRaisesTheSubscriptFailure) {
  auto inst = MakeInst();
  for (const float a : {1.0f, 0.0f}) {
    try {
      wVadProcess(inst.get(), a, 1.0f - a);
      ADD_FAILURE() << "no failure for " << a;
    } catch (const std::out_of_range& failure) {
      EXPECT_STREQ(failure.what(), "invalid vector<T> subscript");
    }
  }
}

TEST(wVadFrameStep, ResponseTimeOutOfZeroLetsTheFirstFrameRun) {
  CFG_VAD cfg;
  cfg.wvad_param_nResponseTimeOut = 0;
  auto inst = MakeInst(cfg);
  EXPECT_EQ(RunFrame(inst.get(), false).verdict, WVAD_FRAME_GOON);
  EXPECT_EQ(RunFrame(inst.get(), false).verdict, WVAD_FRAME_NOSPEECH);
  EXPECT_EQ(inst->decision.bTimeOut, 1);
}

TEST(wVadFrameStep, NoSpeechGoesOnWithTheFrameNumberStandingStill) {
  CFG_VAD cfg;
  cfg.wvad_param_nResponseTimeOut = 99;  // 9 frames
  auto inst = MakeInst(cfg);
  RunFrames(inst.get(), 10, false);
  EXPECT_EQ(inst->decision.nFrameIdx, 10);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(RunFrame(inst.get(), true).verdict, WVAD_FRAME_NOSPEECH);
  EXPECT_EQ(inst->decision.nFrameIdx, 10);
  EXPECT_EQ(inst->decision.nNoSpeechFrames, 10);
}

TEST(wVadFrameStep, NoSpeechLeavesTheFrameNumbersOfTheCallerAlone) {
  auto inst = MakeInst();
  inst->decision.nNoSpeechFrames = 1001;
  const float pair[2] = {1.0f, 0.0f};
  int32_t begin = -7;
  int32_t end = -8;
  EXPECT_EQ(wVadFrameStep(inst.get(), pair, 2, &begin, &end), WVAD_FRAME_NOSPEECH);
  EXPECT_EQ(begin, -7);
  EXPECT_EQ(end, -8);
}

TEST(wVadFrameStep, BeginAndPauseSetTheSessionFields) {
  auto inst = MakeInst();
  // A run from frame 0 proves itself at frame 20.
  EXPECT_EQ(RunFrames(inst.get(), 20, true).verdict, WVAD_FRAME_GOON);
  EXPECT_EQ(inst->decision.nNoSpeechFrames, 20);
  const Step begin = RunFrame(inst.get(), true);
  EXPECT_EQ(begin.verdict, WVAD_FRAME_BEGIN);
  EXPECT_EQ(begin.begin, 0);
  EXPECT_EQ(begin.end, 20);
  EXPECT_EQ(inst->decision.bSpeechFound, 1);
  EXPECT_EQ(inst->decision.nState, 1);
  EXPECT_EQ(inst->decision.nCurSpeechFrameNum, 0);
  RunFrames(inst.get(), 10, true);
  EXPECT_EQ(inst->decision.nCurSpeechFrameNum, 10);
  EXPECT_EQ(inst->decision.nNoSpeechFrames, 20);
  // Last speech frame is 30, but the frame of the fall, 31, still counts as one.
  const Step before = RunFrames(inst.get(), 40, false);
  EXPECT_EQ(before.verdict, WVAD_FRAME_GOON);
  const Step pause = RunFrame(inst.get(), false);
  EXPECT_EQ(pause.verdict, WVAD_FRAME_PAUSE);
  EXPECT_EQ(pause.end, 31 + 20);
  EXPECT_EQ(inst->decision.nState, 2);
  EXPECT_EQ(inst->decision.nCurSpeechFrameNum, 0);
}

TEST(wVadFrameStep, TailBelowTheGapEndsTheSessionOnTheFrameAfterThePause) {
  CFG_VAD cfg;
  cfg.wvad_param_nSpeechTailMS = 300;
  auto inst = MakeInst(cfg);
  RunFrames(inst.get(), 21, true);
  Step step;
  do {
    step = RunFrame(inst.get(), false);
  } while (step.verdict == WVAD_FRAME_GOON);
  EXPECT_EQ(step.verdict, WVAD_FRAME_PAUSE);
  EXPECT_EQ(inst->decision.bAudioFinish, 0);
  EXPECT_EQ(RunFrame(inst.get(), false).verdict, WVAD_FRAME_TAIL);
  EXPECT_EQ(inst->decision.bAudioFinish, 1);
}

TEST(wVadFrameStep, TailIsOneFrameAfterTheLimitAndLeavesTheSpeechCountAlone) {
  auto inst = MakeInst();
  RunFrames(inst.get(), 21, true);
  Step step;
  int silent = 0;
  do {
    step = RunFrame(inst.get(), false);
    ++silent;
    if (step.verdict == WVAD_FRAME_GOON) inst->decision.nCurSpeechFrameNum = 77;
  } while (step.verdict != WVAD_FRAME_TAIL);
  // The fall at frame 21 is silence 0 of the sentence; silence 41 is the pause's own count; 181 passes the limit of 180.
  EXPECT_EQ(inst->decision.pEndpoint->nSilFrames, 181);
  EXPECT_EQ(silent, 181);
  EXPECT_EQ(inst->decision.nCurSpeechFrameNum, 77);
  EXPECT_EQ(inst->decision.nState, 2);
  EXPECT_EQ(RunFrame(inst.get(), false).verdict, WVAD_FRAME_TAIL);
}

TEST(wVadFrameStep, LongSentenceHalvesTheGap) {
  auto inst = MakeInst();
  RunFrames(inst.get(), 21, true);
  inst->decision.nCurSpeechFrameNum = 1000;
  RunFrame(inst.get(), true);
  EXPECT_EQ(inst->decision.nCurFrameGap, 40);  // exactly the length does not do it
  RunFrame(inst.get(), true);
  EXPECT_EQ(inst->decision.nCurFrameGap, 20);
  inst->decision.nCurSpeechFrameNum = 2500;
  RunFrame(inst.get(), true);
  EXPECT_EQ(inst->decision.nCurFrameGap, 20);  // the half is tested first
}

TEST(wVadFrameStep, QuarterGapNeedsTheSecondLengthToBeTheSmaller) {
  CFG_VAD cfg;
  cfg.wvad_param_nFrameGapFriendySecond = 5;
  cfg.wvad_param_nFrameGap = 43;
  auto inst = MakeInst(cfg);
  RunFrames(inst.get(), 21, true);
  inst->decision.nCurSpeechFrameNum = 6;
  RunFrame(inst.get(), true);
  EXPECT_EQ(inst->decision.nCurFrameGap, 10);
}

TEST(wVadFrameStep, BeginPutsTheGapBack) {
  auto inst = MakeInst();
  inst->decision.nCurFrameGap = 10;
  RunFrames(inst.get(), 20, true);
  EXPECT_EQ(inst->decision.nCurFrameGap, 10);
  EXPECT_EQ(RunFrame(inst.get(), true).verdict, WVAD_FRAME_BEGIN);
  EXPECT_EQ(inst->decision.nCurFrameGap, 40);
}

TEST(wVadFrameStep, SentenceEndIsTracedWithTwoBlanks) {
  CFG_VAD cfg;
  cfg.wvad_param_isVadDegOn = true;
  auto inst = MakeInst(cfg);
  RunFrames(inst.get(), 5, false);
  RunFrames(inst.get(), 30, true);  // frames 5 and 6 are held over, the rise is 7
  RunFrames(inst.get(), 41, false);
  EXPECT_EQ(inst->diagnostics.debugText, " 7  35 ");
  auto quiet = MakeInst();
  RunFrames(quiet.get(), 30, true);
  RunFrames(quiet.get(), 41, false);
  EXPECT_EQ(quiet->diagnostics.debugText, "");
}

struct Run {
  const char* file;
  void (*set)(CFG_VAD*);
};

class FrameRuns : public ::testing::TestWithParam<Run> {};

TEST_P(FrameRuns, EqualReferenceFrameByFrame) {
  CFG_VAD cfg;
  GetParam().set(&cfg);
  auto inst = MakeInst(cfg);
  std::ifstream in(std::string(WVAD_TEST_DATA_DIR) + "/decision/" + GetParam().file);
  ASSERT_TRUE(in.is_open());
  float first = 0;
  float energy = 0;
  int verdict = 0;
  int begin = 0;
  int end = 0;
  int n = 0;
  while (in >> first >> energy >> verdict >> begin >> end) {
    inst->decision.eScore.push_back(energy);
    const float pair[2] = {first, 1.0f - first};
    Step step;
    step.verdict = wVadFrameStep(inst.get(), pair, 2, &step.begin, &step.end);
    ASSERT_EQ(step.verdict, verdict) << "frame " << n;
    ASSERT_EQ(step.begin, begin) << "frame " << n;
    ASSERT_EQ(step.end, end) << "frame " << n;
    ++n;
  }
  EXPECT_GE(n, 235);
}

INSTANTIATE_TEST_SUITE_P(Files, FrameRuns,
                         ::testing::Values(Run{"frames_plain.txt", [](CFG_VAD*) {}},
                                           Run{"frames_sliding.txt", [](CFG_VAD* cfg) { cfg->wvad_param_isPostProcessWinSlideOn = true; }},
                                           Run{"frames_short.txt",
                                               [](CFG_VAD* cfg) {
                                                 cfg->wvad_param_nFrameGap = 20;
                                                 cfg->wvad_param_nSpeechTailMS = 900;
                                                 cfg->wvad_param_vad_StartPointJudgeWinLen = 14;
                                               }}),
                         [](const auto& row) {
                           const std::string file = row.param.file;
                           return file.substr(0, file.find('.'));
                         });

}  // namespace
}  // namespace TSEG
