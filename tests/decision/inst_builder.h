// SPDX-License-Identifier: Apache-2.0
//
// MakeInst: an instance record as a started session has it, for tests of the decision side that run without an engine. Its network has no
// model unless a test binds one.
#ifndef WVAD_TESTS_DECISION_INST_BUILDER_H_
#define WVAD_TESTS_DECISION_INST_BUILDER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "decision/endpoint_detector.h"
#include "decision/frame_decision.h"
#include "decision/sentence_table.h"
#include "session/tseg_inst.h"

namespace TSEG {

inline std::unique_ptr<TsegInst> MakeInst(const CFG_VAD& cfg = CFG_VAD()) {
  auto inst = std::make_unique<TsegInst>(cfg);
  inst->StartParts(1);
  return inst;
}

// Loud enough for the fixed floor of 16.
constexpr float kLoud = 20000.0f;

// What one frame gave.
struct Step {
  FrameVerdict verdict = WVAD_FRAME_GOON;
  int32_t begin = 0;
  int32_t end = 0;
};

// One frame with first value `a` and second 1 - `a`, at energy `energy`.
inline Step StepFrame(TsegInst* inst, float a, float energy = kLoud) {
  const float pair[2] = {a, 1.0f - a};
  while (inst->decision.eScore.size() <= static_cast<size_t>(inst->decision.nFrameIdx)) inst->decision.eScore.push_back(energy);
  Step step;
  step.verdict = wVadFrameStep(inst, pair, 2, &step.begin, &step.end);
  return step;
}

// One frame of clear speech or clear silence, with its verdict entered as the loops do.
inline Step RunFrame(TsegInst* inst, bool speech, float energy = kLoud) {
  const Step step = StepFrame(inst, speech ? 1.0f : 0.0f, energy);
  wVadEmitVerdict(inst, step.verdict, step.begin, step.end);
  return step;
}

// `n` such frames; gives the last one's step.
inline Step RunFrames(TsegInst* inst, int n, bool speech, float energy = kLoud) {
  Step step;
  for (int i = 0; i < n; ++i) step = RunFrame(inst, speech, energy);
  return step;
}

}  // namespace TSEG

#endif  // WVAD_TESTS_DECISION_INST_BUILDER_H_
