// SPDX-License-Identifier: Apache-2.0
//
// When the frame loops reset their network, and what they do without one.
#include <string>
#include <vector>

#include "decision/scripted_network.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

TEST_F(FrameLoops, SubsentenceResetComesAfterTheSentenceIsClosed) {
  for (const bool on : {false, true}) {
    CFG_VAD cfg;
    cfg.wvad_param_isLstmSubsentenceAutoResetOn = on;
    Make(cfg, true);
    script_.calls.clear();
    for (int i = 0; i < 6; ++i) {
      script_.side_a.push_back({1});
      script_.results.push_back({1, 1, 1, 1});
    }
    for (int i = 0; i < 11; ++i) {
      script_.side_a.push_back({1});
      script_.results.push_back({0, 0, 0, 0});
    }
    wReadProcessLstmFea(inst_.get(), false);
    // Speech ends with the fall at frame 24; the pause is 40 frames later, at frame 64, when 65 have been decided on.
    EXPECT_EQ(CountCalls("clear state"), on ? 1 : 0);
    EXPECT_EQ(CountCalls("clear state at frame 65, closed 1"), on ? 1 : 0);
  }
}

TEST_F(FrameLoops, SilenceResetBeforeTheFirstSentence) {
  CFG_VAD cfg;
  cfg.wvad_param_isSilenceAutoResetOn = true;
  cfg.wvad_param_nSilenceAutoReset_WinSize = 10;
  for (int (*loop)(TsegInst*, bool) : {wReadProcessLstmFea, wReadProcessLstmFea40}) {
    Make(cfg, loop);
    script_.calls.clear();
    for (int i = 0; i < 6; ++i) {
      script_.side_a.push_back({1});
      script_.results.push_back({0, 0, 0, 0});
    }
    loop(inst_.get(), false);
    EXPECT_EQ(CountCalls("clear state"), 2);
    EXPECT_EQ(CountCalls("clear state at frame 10,"), 1);
    EXPECT_EQ(CountCalls("clear state at frame 20,"), 1);
    EXPECT_EQ(inst_->decision.nSilenceResetCount, 4);
  }
}

TEST_F(FrameLoops, SilenceResetAfterSpeechNeedsTheSubsentenceSwitch) {
  for (const bool on : {false, true}) {
    CFG_VAD cfg;
    cfg.wvad_param_isSilenceAutoResetOn = true;
    cfg.wvad_param_isSilenceAutoResetSubsentenceOn = on;
    cfg.wvad_param_nSilenceAutoReset_WinSize = 4;
    Make(cfg, true);
    script_.calls.clear();
    inst_->decision.bSpeechFound = 1;
    inst_->decision.nState = 2;
    inst_->decision.nSilenceResetCount = 3;
    script_.side_a = {{1}};
    script_.results = {{0, 0, 0, 0}};
    wReadProcessLstmFea(inst_.get(), false);
    EXPECT_EQ(CountCalls("clear state at frame 1,"), on ? 1 : 0);
    EXPECT_EQ(inst_->decision.nSilenceResetCount, on ? 3 : 0);
  }
}

TEST_F(FrameLoops, SilenceCountIsClearedInsideASentence) {
  CFG_VAD cfg;
  cfg.wvad_param_isSilenceAutoResetOn = true;
  cfg.wvad_param_isSilenceAutoResetSubsentenceOn = true;
  Make(cfg, true);
  inst_->decision.nState = 1;
  inst_->decision.nSilenceResetCount = 300;
  script_.side_a = {{1}};
  script_.results = {{0, 0, 0, 0}};
  wReadProcessLstmFea(inst_.get(), false);
  EXPECT_EQ(inst_->decision.nSilenceResetCount, 0);
}

TEST_F(FrameLoops, ResetsDoNotRunOnDelayedFrames) {
  CFG_VAD cfg;
  cfg.wvad_param_isSilenceAutoResetOn = true;
  cfg.wvad_param_nSilenceAutoReset_WinSize = 100;
  Make(cfg, true);
  script_.side_a = {{1, true, 0}};
  script_.results = {{0, 0, 0, 0}};
  wReadProcessLstmFea(inst_.get(), true);
  EXPECT_EQ(inst_->decision.nFrameIdx, 12);
  EXPECT_EQ(inst_->decision.nSilenceResetCount, 4);
  script_.side_a = {{1, true, 0}};
  script_.results = {{0, 0, 0, 0}};
  script_.flush_results = {{0, 0, 0, 0}, {0, 0, 0, 0}};
  wReadProcessLstmFea40(inst_.get(), true);
  EXPECT_EQ(inst_->decision.nFrameIdx, 24);
  EXPECT_EQ(inst_->decision.nSilenceResetCount, 8);
}

TEST_F(FrameLoops, MissingNetworkIsReportedAndNotTouched) {
  testing_support::LogCapture log;
  ASSERT_TRUE(log.opened());
  struct Row {
    int (*loop)(TsegInst*, bool);
    bool made_for_lstm;
    const char* line;
  };
  // An instance of the other sort, and one of the right sort whose network has no model.
  const Row rows[] = {
      {wReadProcessDnnFea, true, "wReadProcessDnnFea | no network for model type"},
      {wReadProcessLstmFea, false, "wReadProcessLstmFea | no network for model type"},
      {wReadProcessLstmFea40, true, "wReadProcessLstmFea40 | no network for model type"},
  };
  int reports = 0;
  for (const Row& row : rows) {
    Make(CFG_VAD(), row.made_for_lstm);
    if (inst_->network.pLstm) inst_->network.pLstm->pModel = nullptr;
    script_.side_a = {{1}};
    EXPECT_EQ(row.loop(inst_.get(), false), 0);
    EXPECT_EQ(script_.calls, Calls{});
    EXPECT_GE(log.Count(row.line), 1);
    EXPECT_EQ(log.Count("Error! The error string is -> WVAD_ERROR_RESOURCE_TYPE = 14007"), ++reports);
  }
}

TEST_F(FrameLoops, GainControlSwitchedOnLaterRunsOnThePlainSideAlone) {
  Make(CFG_VAD(), true);
  inst_->pCfg->wvad_param_vad_AgcOn = true;
  script_.side_a = {{1}};
  EXPECT_EQ(wReadProcessLstmFea(inst_.get(), false), 0);
  EXPECT_EQ(script_.calls, (Calls{"pop A", "lstm75 1 of 300", "pop A"}));
}

}  // namespace
}  // namespace TSEG
