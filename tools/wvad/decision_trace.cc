// SPDX-License-Identifier: Apache-2.0
#include "wvad/decision_trace.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace TSEG::tool {
namespace {

// What the row's count and need stand for.
struct Stage {
  uint32_t statements = 0;
  int32_t count = 0;
  int32_t need = 0;
};

Stage InSentence(const TsegInst& inst, int32_t index) {
  const EndpointDetector& detector = *inst.decision.pEndpoint;
  const int32_t silent = index - detector.nFloor;
  const int32_t gap = inst.decision.nCurFrameGap;
  if (silent <= 0) return {Bit(Statement::kInSpeech), 0, 0};
  const uint32_t shorter = gap < inst.pCfg->wvad_param_nFrameGap ? Bit(Statement::kGapIsShort) : 0;
  return {Bit(Statement::kInSilence) | shorter, silent, gap};
}

Stage OutsideOfSentence(const TsegInst& inst, int32_t index) {
  const EndpointDetector& detector = *inst.decision.pEndpoint;
  const CFG_VAD& cfg = *inst.pCfg;
  const bool speech = detector.nEdgeState == 2;
  if (speech && cfg.wvad_param_isPostProcessWinSlideOn) {
    return {Bit(Statement::kWaitsForWindow), std::accumulate(std::begin(detector.ring), std::end(detector.ring), 0),
            detector.nWinThreshold};
  }
  if (speech) {
    const int32_t since = detector.bPending != 0 ? detector.nPendBegin : detector.nRiseFrame;
    return {Bit(Statement::kWaitsForSpeech), index - since, cfg.wvad_param_vad_StartPointJudgeWinLen};
  }
  if (detector.bPending != 0) return {Bit(Statement::kRunWaits), index - detector.nPendEnd, cfg.wvad_param_nStartSearchWinGap};
  if (detector.nFallFrame == index) return {Bit(Statement::kRunDropped), index - detector.nRiseFrame, 0};
  return {Bit(Statement::kNoSentence), 0, 0};
}

Stage StageOf(const TsegInst& inst, int32_t index, EndpointResult result) {
  const EndpointDetector& detector = *inst.decision.pEndpoint;
  if (result == EP_RESULT_BEGIN) return {Bit(Statement::kBegins), 0, 0};
  if (result == EP_RESULT_END) return {Bit(Statement::kEnds), detector.nSilFrames - 1, inst.decision.nCurFrameGap};
  return detector.nState == 1 ? InSentence(inst, index) : OutsideOfSentence(inst, index);
}

uint32_t StatementsOf(const DecidedFrame& frame) {
  uint32_t statements = Bit(frame.raw >= 0  ? Statement::kScoreIsSpeech
                            : frame.raw < 0 ? Statement::kScoreIsSilence
                                            : Statement::kScoreIsNone);
  statements |= Bit(frame.below_floor ? Statement::kBelowFloor : Statement::kAboveFloor);
  if (frame.held_over) statements |= Bit(Statement::kHeldOver);
  if (frame.spliced) statements |= Bit(Statement::kSpliced);
  return statements | Bit(frame.score >= 0 ? Statement::kCountsAsSpeech : Statement::kCountsAsSilence);
}

uint16_t Saturated(int32_t frames) { return static_cast<uint16_t>(std::clamp(frames, 0, 65535)); }

}  // namespace

void DecisionTrace::OnFrame(const TsegInst& inst, int32_t index, const DecidedFrame& frame, EndpointResult result) {
  const Place place = place_();
  const int64_t sample = place.session_start + index * frame_samples_;
  if (sample < place.taken_from) return;
  const Stage stage = StageOf(inst, index, result);
  const double unit = inst.pCfg->wvad_param_k4_energy ? 1 : 1000;
  TraceRow row;
  row.probability = static_cast<float>((1.0 + static_cast<double>(frame.speech) - static_cast<double>(frame.other)) / 2);
  row.energy = static_cast<float>(frame.energy / unit);
  row.floor = static_cast<float>(frame.floor / unit);
  row.count = Saturated(stage.count);
  row.need = Saturated(stage.need);
  row.statements = StatementsOf(frame) | stage.statements;
  sink_(sample / frame_samples_, row);
}

}  // namespace TSEG::tool
