// SPDX-License-Identifier: Apache-2.0
//
// The three frame loops: blocks, batches, both sides, and the delayed frames at the end of the audio.
#include "decision/frame_loops.h"

#include <filesystem>
#include <string>
#include <vector>

#include "decision/scripted_network.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

TEST_F(FrameLoops, NoBlockGivesNoVerdict) {
  for (int (*loop)(TsegInst*, bool) : {wReadProcessDnnFea, wReadProcessLstmFea, wReadProcessLstmFea40}) {
    Make(CFG_VAD(), loop);
    script_.calls.clear();
    EXPECT_EQ(loop(inst_.get(), false), 0);
    EXPECT_EQ(script_.calls, (Calls{"pop A"}));
    EXPECT_EQ(inst_->decision.nFrameIdx, 0);
  }
}

TEST_F(FrameLoops, DnnDecidesOnEveryFrameOfABatch) {
  Make(CFG_VAD(), false);
  script_.side_a = {{1}, {2}, {3}};
  script_.results = {{}, {}, {0.1f, 0.1f, 0.2f, 0.2f, 0.3f, 0.3f, 0.4f, 0.4f}};
  EXPECT_EQ(wReadProcessDnnFea(inst_.get(), false), 0);
  EXPECT_EQ(script_.calls, (Calls{"pop A", "dnn 1 of 825", "pop A", "dnn 2 of 825", "pop A", "dnn 3 of 825", "pop A"}));
  EXPECT_EQ(Decided(), (std::vector<int32_t>{100, 100, 200, 200, 300, 300, 400, 400}));
  EXPECT_EQ(script_.reads, 1);
}

TEST_F(FrameLoops, DnnHandsTheEndOnAsFlush) {
  Make(CFG_VAD(), false);
  script_.side_a = {{1}, {2, true}};
  script_.results = {{}, {0.1f, 0.1f, 0.1f}};
  wReadProcessDnnFea(inst_.get(), true);
  EXPECT_EQ(script_.calls[3], "dnn 2 of 825 eof");
  EXPECT_EQ(inst_->decision.nFrameIdx, 3);
}

TEST_F(FrameLoops, DnnFeedsTheWatchBeforeTheNetwork) {
  Make(CFG_VAD(), false);
  testing_support::TempFolder folder;
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  inst_->diagnostics.pWatch75x11->arm("session", true);
  script_.side_a = {{1}, {2}};
  script_.results = {{}, {}};
  wReadProcessDnnFea(inst_.get(), false);
  EXPECT_EQ(inst_->diagnostics.pWatch75x11->nUsed, 2 * 3300);
  float tag = 0;
  std::memcpy(&tag, inst_->diagnostics.pWatch75x11->pData.data() + 3300, sizeof tag);
  EXPECT_EQ(tag, 2.0f);
  inst_.reset();
  std::filesystem::current_path(previous);
}

TEST_F(FrameLoops, DnnForgetsThePartialBatchOnceTheSessionIsOver) {
  Make(CFG_VAD(), false);
  script_.side_a = {{1}};
  script_.results = {{}};
  wReadProcessDnnFea(inst_.get(), false);
  EXPECT_EQ(CountCalls("forget"), 0);
  inst_->decision.bTimeOut = 1;
  wReadProcessDnnFea(inst_.get(), false);
  EXPECT_EQ(CountCalls("forget"), 1);
  inst_->decision.bTimeOut = 0;
  inst_->decision.bAudioFinish = 1;
  wReadProcessDnnFea(inst_.get(), false);
  EXPECT_EQ(CountCalls("forget"), 2);
}

TEST_F(FrameLoops, NetworkIsLeftAloneWhileFramesOfThePushAreStillToCome) {
  for (int (*loop)(TsegInst*, bool) : {wReadProcessDnnFea, wReadProcessLstmFea, wReadProcessLstmFea40}) {
    Make(CFG_VAD(), loop);
    script_.calls.clear();
    inst_->decision.bAudioFinish = 1;
    inst_->sideA.pFrontEnd->bMore = true;
    loop(inst_.get(), false);
    EXPECT_EQ(CountCalls("forget") + CountCalls("clear all"), 0);
    inst_->sideA.pFrontEnd->bMore = false;
    loop(inst_.get(), true);
    EXPECT_EQ(CountCalls("forget") + CountCalls("clear all"), 1);
  }
}

TEST_F(FrameLoops, TailBeforeAnySpeechLeavesTheWalkRunning) {
  Make(CFG_VAD(), false);
  UseUpTail();
  script_.side_a = {{1}};
  script_.results = {{0, 0, 0, 0, 0, 0, 0, 0}};
  wReadProcessDnnFea(inst_.get(), false);
  EXPECT_EQ(inst_->decision.nFrameIdx, 8);
  EXPECT_EQ(inst_->decision.bAudioFinish, 1);
}

TEST_F(FrameLoops, TailAfterSpeechDropsTheRestOfTheBlockAndTriesTheNext) {
  for (int (*loop)(TsegInst*, bool) : {wReadProcessDnnFea, wReadProcessLstmFea, wReadProcessLstmFea40}) {
    Make(CFG_VAD(), loop);
    UseUpTail();
    inst_->decision.bSpeechFound = 1;
    script_.side_a = {{1}, {2}};
    script_.results = {{0, 0, 0, 0}, {0, 0, 0, 0}};
    loop(inst_.get(), false);
    EXPECT_EQ(inst_->decision.nFrameIdx, 2);
    EXPECT_TRUE(script_.side_a.empty());
  }
}

TEST_F(FrameLoops, GainControlPopsBothAndUsesTheSecond) {
  CFG_VAD cfg;
  cfg.wvad_param_vad_AgcOn = true;
  Make(cfg, false);
  script_.side_a = {{1}, {2}};
  script_.side_b = {{11}};
  wReadProcessDnnFea(inst_.get(), false);
  EXPECT_EQ(script_.calls, (Calls{"pop A", "pop B", "dnn 11 of 825", "pop A", "pop B"}));
}

TEST_F(FrameLoops, EmptyFirstSideStopsTheLoopEvenIfTheSecondHolds) {
  CFG_VAD cfg;
  cfg.wvad_param_vad_AgcOn = true;
  for (int (*loop)(TsegInst*, bool) : {wReadProcessDnnFea, wReadProcessLstmFea, wReadProcessLstmFea40}) {
    Make(cfg, loop);
    script_.calls.clear();
    script_.side_b = {{11}};
    loop(inst_.get(), false);
    EXPECT_EQ(script_.calls, Calls{"pop A"});
    EXPECT_EQ(script_.side_b.size(), 1u);
  }
}

TEST_F(FrameLoops, WholeLastBlockOfLstm75StillYieldsEightDelayedSteps) {
  script_.side_a = {{1, true, 0}};
  script_.results = {{0.1f, 0.2f, 0.3f, 0.4f}};
  wReadProcessLstmFea(inst_.get(), true);
  EXPECT_EQ(script_.calls[1], "lstm75 1 of 300 eof");
  EXPECT_EQ(Decided(), (std::vector<int32_t>{100, 200, 300, 400, 400, 400, 400, 400, 400, 400, 400, 400}));
}

TEST_F(FrameLoops, LastBlockOfLstm75WithOneFrameRunsFiveMoreSteps) {
  script_.side_a = {{1}, {2, true, 3}};
  script_.results = {{0.1f, 0.1f, 0.1f, 0.1f}, {0.1f, 0.2f, 0.3f, 0.4f}};
  wReadProcessLstmFea(inst_.get(), true);
  EXPECT_EQ(Decided(), (std::vector<int32_t>{100, 100, 100, 100, 100, 200, 300, 400, 400, 400, 400, 400, 400}));
}

TEST_F(FrameLoops, EndOfAudioNeedsBothMarks) {
  script_.side_a = {{1, true, 0}};
  script_.results = {{0.1f, 0.2f, 0.3f, 0.4f}};
  wReadProcessLstmFea(inst_.get(), false);
  EXPECT_EQ(inst_->decision.nFrameIdx, 4);
  script_.side_a = {{1, false, 0}};
  script_.results = {{0.1f, 0.2f, 0.3f, 0.4f}};
  wReadProcessLstmFea(inst_.get(), true);
  EXPECT_EQ(inst_->decision.nFrameIdx, 8);
}

TEST_F(FrameLoops, LastBlockWithoutAResultHasNoEndOfAudio) {
  script_.side_a = {{1}, {2, true, 0}};
  script_.results = {{}, {}};
  wReadProcessLstmFea(inst_.get(), true);
  EXPECT_EQ(inst_->decision.nFrameIdx, 0);
  script_.side_a = {{1}, {2, true, 0}};
  wReadProcessLstmFea40(inst_.get(), true);
  EXPECT_EQ(inst_->decision.nFrameIdx, 0);
  EXPECT_EQ(CountCalls("flush"), 0);
}

TEST_F(FrameLoops, DelayedStepsStopAtTheTail) {
  script_.side_a = {{1, true, 0}};
  script_.results = {{0, 0, 0, 0}};
  UseUpTail();
  inst_->decision.bSpeechFound = 1;
  wReadProcessLstmFea(inst_.get(), true);
  EXPECT_EQ(inst_->decision.nFrameIdx, 2);  // one of the walk, one of the end
}

TEST_F(FrameLoops, Lstm40FlushesTwoZeroBlocks) {
  script_.side_a = {{1, true, 0}};
  script_.results = {{0.1f, 0.2f, 0.3f, 0.4f}};
  script_.flush_results = {{0.05f, 0.06f, 0.07f, 0.08f}, {0.11f, 0.12f, 0.13f, 0.14f}};
  wReadProcessLstmFea40(inst_.get(), true);
  EXPECT_EQ(script_.calls, (Calls{"pop A", "lstm40 1 of 160 eof", "flush", "flush", "pop A"}));
  EXPECT_EQ(Decided(), (std::vector<int32_t>{100, 200, 300, 400, 50, 60, 70, 80, 110, 120, 130, 140}));
}

TEST_F(FrameLoops, LastBlockOfLstm40WithOneFrameRunsFiveMoreStepsOnTheFlushes) {
  script_.side_a = {{1, true, 3}};
  script_.results = {{0.1f, 0.2f, 0.3f, 0.4f}};
  script_.flush_results = {{0.05f, 0.06f, 0.07f, 0.08f}, {0.11f, 0.12f, 0.13f, 0.14f}};
  wReadProcessLstmFea40(inst_.get(), true);
  EXPECT_EQ(Decided(), (std::vector<int32_t>{100, 200, 300, 400, 50, 60, 70, 80, 110}));
}

TEST_F(FrameLoops, FlushedStepsStopAtTheTail) {
  script_.side_a = {{1, true, 0}};
  script_.results = {{0, 0, 0, 0}};
  script_.flush_results = {{0, 0, 0, 0}, {0, 0, 0, 0}};
  UseUpTail();
  inst_->decision.bSpeechFound = 1;
  wReadProcessLstmFea40(inst_.get(), true);
  EXPECT_EQ(inst_->decision.nFrameIdx, 2);
}

TEST_F(FrameLoops, Lstm40PrimesBeforeItsFirstBlockOnly) {
  StartLstm40(32);
  wReadProcessLstmFea40(inst_.get(), false);
  EXPECT_EQ(CountCalls("prime"), 0);  // no block, no priming
  script_.calls.clear();
  script_.side_a = {{1}, {2}};
  wReadProcessLstmFea40(inst_.get(), false);
  EXPECT_EQ(script_.calls, (Calls{"pop A", "prime 32", "lstm40 1 of 160", "pop A", "lstm40 2 of 160", "pop A"}));
}

TEST_F(FrameLoops, OtherLoopsDoNotPrime) {
  StartLstm40(32);
  script_.side_a = {{1}};
  wReadProcessLstmFea(inst_.get(), false);
  Make(CFG_VAD(), false);
  script_.side_a = {{1}};
  wReadProcessDnnFea(inst_.get(), false);
  EXPECT_EQ(CountCalls("prime"), 0);
}

TEST_F(FrameLoops, LstmLoopsClearEverythingOnceTheSessionIsOver) {
  for (int (*loop)(TsegInst*, bool) : {wReadProcessLstmFea, wReadProcessLstmFea40}) {
    Make(CFG_VAD(), loop);
    script_.calls.clear();
    loop(inst_.get(), false);
    EXPECT_EQ(CountCalls("clear all"), 0);
    inst_->decision.bAudioFinish = 1;
    loop(inst_.get(), false);
    EXPECT_EQ(CountCalls("clear all"), 1);
    inst_->decision.bAudioFinish = 0;
    inst_->decision.bTimeOut = 1;
    loop(inst_.get(), false);
    EXPECT_EQ(CountCalls("clear all"), 2);
  }
}

}  // namespace
}  // namespace TSEG
