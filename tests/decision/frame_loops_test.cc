// SPDX-License-Identifier: Apache-2.0
//
// The three frame loops against a scripted network and scripted channels: this program brings its own pops and forward functions, which
// stand in for the real ones, and looks at what the loops ask of them and in which order.
#include "decision/frame_loops.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "decision/inst_builder.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

// A block that a channel has ready. `tag` is its first value.
struct Block {
  float tag = 0;
  bool eof = false;
  int32_t padded = 0;
};

// What a read of the network gives: first values of the pairs. Empty for a block that gives no result.
using Scores = std::vector<float>;

struct Script {
  std::deque<Block> side_a, side_b;
  std::deque<Scores> results;        // one an added block
  std::deque<Scores> flush_results;  // one a flush block
  Scores current;
  const FrontEndChannel* channel_a = nullptr;
  std::vector<std::string> calls;
  TsegInst* inst = nullptr;
  std::vector<float> out;  // scratch of the pops
  int reads = 0;
};

Script* script = nullptr;

const float* Pop(FrontEndChannel* channel, size_t floats, uint8_t* bEof, int32_t* nPadded) {
  const bool is_a = channel == script->channel_a;
  script->calls.push_back(is_a ? "pop A" : "pop B");
  std::deque<Block>& side = is_a ? script->side_a : script->side_b;
  if (side.empty()) return nullptr;
  script->out.assign(floats, 0.0f);
  script->out[0] = side.front().tag;
  if (side.front().eof) *bEof = 1;
  if (nPadded != nullptr && side.front().padded > 0) *nPadded = side.front().padded;
  side.pop_front();
  return script->out.data();
}

bool Take(std::deque<Scores>* results) {
  script->current = results->empty() ? Scores() : results->front();
  if (!results->empty()) results->pop_front();
  return !script->current.empty();
}

std::string Added(const char* name, const float* block, int32_t count, bool flush) {
  return std::string(name) + " " + std::to_string(static_cast<int>(block[0])) + " of " + std::to_string(count) + (flush ? " eof" : "");
}

int32_t Read(float* out, int32_t* stride) {
  ++script->reads;
  for (size_t i = 0; i < script->current.size(); ++i) {
    out[2 * i] = script->current[i];
    out[2 * i + 1] = 1.0f - script->current[i];
  }
  *stride = 2;
  return static_cast<int32_t>(script->current.size());
}

}  // namespace

const float* PopDnnBlock(FrontEndChannel* channel, bool, uint8_t* bEof) { return Pop(channel, 825, bEof, nullptr); }
const float* PopLstmBlock75(FrontEndChannel* channel, bool, uint8_t* bEof, int32_t* nPadded) { return Pop(channel, 300, bEof, nPadded); }
const float* PopLstmBlock40(FrontEndChannel* channel, bool, uint8_t* bEof, int32_t* nPadded) { return Pop(channel, 160, bEof, nPadded); }

DnnForward::DnnForward() = default;
void DnnForwardBind(DnnForward* forward, const DnnModel* model) { forward->pModel = model; }
bool DnnForwardAddBlock(DnnForward*, const float* block, int32_t count, bool flush) {
  script->calls.push_back(Added("dnn", block, count, flush));
  return Take(&script->results);
}
int32_t DnnForwardRead(DnnForward*, float* out, int32_t* outStride) { return Read(out, outStride); }
void DnnForwardForget(DnnForward*) { script->calls.push_back("forget"); }

LstmForward::LstmForward() = default;
void LstmForwardBind(LstmForward* forward, const LstmModel* model) { forward->pModel = model; }
bool LstmForwardAddBlock75(LstmForward*, const float* block, int32_t count, bool flush) {
  script->calls.push_back(Added("lstm75", block, count, flush));
  return Take(&script->results);
}
bool LstmForwardAddBlock40(LstmForward*, const float* block, int32_t count, bool flush) {
  script->calls.push_back(Added("lstm40", block, count, flush));
  return Take(&script->results);
}
bool LstmForwardFlushBlock(LstmForward*, const float* block, int32_t count, bool flush) {
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(count, 160);
  EXPECT_TRUE(flush);
  script->calls.push_back("flush");
  return Take(&script->flush_results);
}
int32_t LstmForwardRead(LstmForward*, float* out, int32_t* outStride) { return Read(out, outStride); }
void LstmForwardClearState(LstmForward*) {
  script->calls.push_back("clear state at frame " + std::to_string(script->inst->decision.nFrameIdx) + ", closed " +
                          std::to_string(script->inst->results.pSentences->bitsClosed.size()));
}
void LstmForwardClearAll(LstmForward*) { script->calls.push_back("clear all"); }
void LstmForwardPrime(LstmForward*, int32_t frames) { script->calls.push_back("prime " + std::to_string(frames)); }

namespace {

using Calls = std::vector<std::string>;

class FrameLoops : public ::testing::Test {
 protected:
  void SetUp() override {
    script = &script_;
    Make(CFG_VAD(), true);
  }
  void TearDown() override { script = nullptr; }

  // An instance for recurrent models or for feed-forward ones.
  void Make(CFG_VAD cfg, bool is_lstm) {
    cfg.wvad_param_isVadDegOn = true;  // the score trace tells which pairs were decided on
    cfg.wvad_param_isTsegLstm = is_lstm;
    inst_ = MakeInst(cfg);
    inst_->decision.eScore = std::vector<float>(20000, kLoud);
    inst_->network.Start({&dnn_, &lstm_}, "", 0);
    script_.inst = inst_.get();
    script_.channel_a = inst_->sideA.pFrontEnd.get();
  }
  void Make(CFG_VAD cfg, int (*loop)(TsegInst*, bool)) { Make(std::move(cfg), loop != wReadProcessDnnFea); }
  // A session of "lstm_fb40" begins, primed with `frames` of silence.
  void StartLstm40(int32_t frames) { inst_->network.Start({nullptr, &lstm_}, "lstm_fb40", frames); }

  // First values of the pairs decided on, times 1000.
  std::vector<int32_t> Decided() const {
    std::vector<int32_t> firsts;
    for (size_t i = 0; i < inst_->diagnostics.mScore.size(); i += 2) firsts.push_back(inst_->diagnostics.mScore[i]);
    return firsts;
  }
  int CountCalls(const std::string& text) const {
    int n = 0;
    for (const std::string& call : script_.calls) n += call.find(text) != std::string::npos ? 1 : 0;
    return n;
  }
  // Puts the detector into a pause in which every frame answers that the tail is used up.
  void UseUpTail() {
    inst_->decision.pEndpoint->nState = 2;
    inst_->decision.pEndpoint->nSilFrames = 500;
  }

  DnnModel dnn_;
  LstmModel lstm_;
  Script script_;
  std::unique_ptr<TsegInst> inst_;
};

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
