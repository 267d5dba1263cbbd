// SPDX-License-Identifier: Apache-2.0
//
// The frame loops against a scripted network and scripted channels: pops and forward functions that stand in for the real ones
// (scripted_network.cc), and a fixture that looks at what the loops ask of them and in which order.
#ifndef WVAD_TESTS_DECISION_SCRIPTED_NETWORK_H_
#define WVAD_TESTS_DECISION_SCRIPTED_NETWORK_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "decision/frame_loops.h"
#include "decision/inst_builder.h"

namespace TSEG {

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

// What runs at the moment; null outside of a test.
extern Script* script;

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

}  // namespace TSEG

#endif  // WVAD_TESTS_DECISION_SCRIPTED_NETWORK_H_
