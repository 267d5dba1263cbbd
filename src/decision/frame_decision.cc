// SPDX-License-Identifier: Apache-2.0
//
// wVadProcess and wVadFrameStep.
//
// A score that is not a number is neither below nor above zero here; every comparison below is written so that it stays neither.
#include "decision/frame_decision.h"

#include <cstdio>

#include "base/wrap.h"
#include "decision/checked_subscript.h"
#include "decision/decision_observer.h"
#include "decision/endpoint_detector.h"
#include "decision/energy_floor.h"
#include "log/log.h"

namespace TSEG {
namespace {

// What a frame is set to when it is held to silence. Both count as negative; they differ in the score trace alone.
constexpr float kHeldOver = -0.5f;
constexpr float kForcedSilence = -0.2f;
// After a negative frame so many frames are refused.
constexpr int32_t kHoldOverFrames = 2;
// First frame at which the adaptive floor is computed, and how often after it.
constexpr int32_t kFloorFirstFrame = 300;
constexpr int32_t kFloorEveryFrames = 100;
// Distance from the longest sentence at which silence is held, and beyond which everything is silence.
constexpr int32_t kSpliceFrames = 100;

struct ScoredFrame {
  float a;
  float b;
  float score;

  void Force(float value) { a = b = score = value; }
};

// Gives whether the frame has been refused.
bool HoldOver(TsegInst* inst, ScoredFrame* frame) {
  if (frame->score < 0.0f) {
    inst->decision.nHoldOver = kHoldOverFrames;
  } else if (inst->decision.nHoldOver > 0) {
    --inst->decision.nHoldOver;
    frame->Force(kHeldOver);
    return true;
  }
  return false;
}

double EnergyFloor(TsegInst* inst) {
  if (!inst->pCfg->wvad_param_k4_energy) return static_cast<double>(WrapMul32(inst->pCfg->wvad_param_nEnergyThreshhood, 1000));
  const int32_t n = inst->decision.nFrameIdx;
  if (n >= kFloorFirstFrame && n % kFloorEveryFrames == 0) {
    if (n == kFloorFirstFrame) {
      EnergyThresholdFullUpdate(inst->decision.pEnergyStats.get(), inst->decision.eScore, n);
    } else {
      EnergyThresholdStepUpdate(inst->decision.pEnergyStats.get(), inst->decision.eScore, n);
    }
  }
  return static_cast<double>(inst->decision.pEnergyStats->fThreshold);
}

void Splice(TsegInst* inst, ScoredFrame* frame) {
  frame->Force(kForcedSilence);
  inst->decision.nHoldOver = kHoldOverFrames;
  WVAD_LOG_WARN("wVadProcess | pTsegInst->nCurSpeechFrameNum > pTsegInst->nParamSpeechTimeOut/10, force splice");
}

// Holds silence fast in the last second before the longest sentence, so that a pause can close it, and makes every frame silence a second
// after. Gives whether it did either.
bool ForceSplice(TsegInst* inst, ScoredFrame* frame) {
  const int32_t limit = inst->pCfg->wvad_param_nSpeechTimeOut / 10;
  const bool held = inst->decision.nCurSpeechFrameNum > limit - kSpliceFrames && frame->score < 0.0f;
  if (held) Splice(inst, frame);
  const bool beyond = inst->decision.nCurSpeechFrameNum > limit + kSpliceFrames;
  if (beyond) Splice(inst, frame);
  return held || beyond;
}

// Runs the endpoint state machine on one score, with what follows from its answer on the instance.
EndpointResult StepDetector(TsegInst* inst, float score) {
  EndpointDetector* detector = inst->decision.pEndpoint.get();
  const EndpointResult result = EndpointStep(detector, score, inst->decision.nFrameIdx, inst->decision.nCurFrameGap);
  if (result == EP_RESULT_BEGIN) inst->decision.nCurFrameGap = inst->pCfg->wvad_param_nFrameGap;
  if (result == EP_RESULT_END && inst->pCfg->wvad_param_isVadDegOn) {
    char text[32];
    std::snprintf(text, sizeof text, " %d  %d ", detector->nTraceBegin, detector->nTraceEnd);
    inst->diagnostics.debugText += text;
  }
  return result;
}

// In long sentences a shorter silence ends them. The half is tested before the quarter whatever the two lengths are.
void ShrinkGap(TsegInst* inst, int32_t silence) {
  const CFG_VAD& cfg = *inst->pCfg;
  if (inst->decision.nCurSpeechFrameNum > cfg.wvad_param_nFrameGapFriendyFirst && silence < cfg.wvad_param_nFrameGap / 2) {
    inst->decision.nCurFrameGap = cfg.wvad_param_nFrameGap / 2;
  } else if (inst->decision.nCurSpeechFrameNum > cfg.wvad_param_nFrameGapFriendySecond && silence < cfg.wvad_param_nFrameGap / 4) {
    inst->decision.nCurFrameGap = cfg.wvad_param_nFrameGap / 4;
  }
}

FrameVerdict PickVerdict(TsegInst* inst, EndpointResult result, int32_t silence) {
  if (silence > inst->decision.nCurFrameGap && result == EP_RESULT_END) {
    inst->decision.nState = 2;
    inst->decision.nCurSpeechFrameNum = 0;
    return WVAD_FRAME_PAUSE;
  }
  if (static_cast<uint32_t>(silence) > static_cast<uint32_t>(inst->pCfg->wvad_param_nSpeechTailMS) / 10u) {
    inst->decision.nState = 2;
    return WVAD_FRAME_TAIL;
  }
  if (result == EP_RESULT_BEGIN) {
    inst->decision.bSpeechFound = 1;
    inst->decision.nState = 1;
    inst->decision.nCurSpeechFrameNum = 0;
    return WVAD_FRAME_BEGIN;
  }
  if (inst->decision.bSpeechFound == 0) {
    ++inst->decision.nNoSpeechFrames;
  } else if (inst->decision.pEndpoint->nState == 1) {
    ++inst->decision.nCurSpeechFrameNum;
  }
  return WVAD_FRAME_GOON;
}

// What wVadProcess does. The reasons go to `reasons` where somebody looks; they cost nothing where nobody does.
template <bool kLookedAt>
float Process(TsegInst* inst, float a, float b, [[maybe_unused]] DecidedFrame* reasons) {
  const CFG_VAD& cfg = *inst->pCfg;
  const float threshold = static_cast<float>(2.0 * static_cast<double>(cfg.wvad_param_vad_threshold) - 1.0);
  const double difference = static_cast<double>(a) - static_cast<double>(b);
  const float raw = static_cast<float>(difference - static_cast<double>(threshold));
  ScoredFrame frame{a, b, raw};

  // Before any override: the sum may include frames that are held to silence below.
  if (frame.score > 0.0f) {
    const double energy = static_cast<double>(CheckedSubscript(inst->decision.eScore, inst->decision.nFrameIdx)) / 1000.0;
    inst->decision.fSpeechEnergySum = static_cast<float>(static_cast<double>(inst->decision.fSpeechEnergySum) + energy);
    ++inst->decision.nSpeechEnergyCount;
  }

  const bool held_over = HoldOver(inst, &frame);

  const double energy = static_cast<double>(CheckedSubscript(inst->decision.eScore, inst->decision.nFrameIdx));
  const double floor = EnergyFloor(inst);
  const bool below_floor = floor > energy;
  if (below_floor) {
    frame.Force(kForcedSilence);
    inst->decision.nHoldOver = kHoldOverFrames;
  }

  const bool spliced = ForceSplice(inst, &frame);

  if (cfg.wvad_param_isVadDegOn) {
    inst->diagnostics.mScore.push_back(CutLow32(static_cast<double>(frame.a * 1000.0f)));
    inst->diagnostics.mScore.push_back(CutLow32(static_cast<double>(frame.b * 1000.0f)));
  }
  if constexpr (kLookedAt) *reasons = {a, b, raw, frame.score, energy, floor, held_over, below_floor, spliced};
  return frame.score;
}

// Kept out of the way of those who have no observer.
[[gnu::noinline]] float ProcessLookedAt(TsegInst* inst, float a, float b, DecisionObserver* observer) {
  return Process<true>(inst, a, b, &observer->reasons);
}

}  // namespace

float wVadProcess(TsegInst* inst, float a, float b) { return Process<false>(inst, a, b, nullptr); }

FrameVerdict wVadFrameStep(TsegInst* inst, const float* pair, [[maybe_unused]] int32_t stride, int32_t* outBegin, int32_t* outEnd) {
  if (inst->decision.nNoSpeechFrames > inst->pCfg->wvad_param_nResponseTimeOut / 10) return WVAD_FRAME_NOSPEECH;
  DecisionObserver* observer = inst->decision.pObserver;
  const float score = observer == nullptr ? wVadProcess(inst, pair[0], pair[1]) : ProcessLookedAt(inst, pair[0], pair[1], observer);
  const EndpointResult result = StepDetector(inst, score);
  if (observer != nullptr) observer->OnFrame(*inst, inst->decision.nFrameIdx, observer->reasons, result);
  ++inst->decision.nFrameIdx;
  *outBegin = inst->decision.pEndpoint->nBeginFrame;
  *outEnd = inst->decision.pEndpoint->nEndFrame;
  const int32_t silence = inst->decision.pEndpoint->nSilFrames;
  ShrinkGap(inst, silence);
  return PickVerdict(inst, result, silence);
}

}  // namespace TSEG
