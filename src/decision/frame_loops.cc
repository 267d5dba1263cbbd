// SPDX-License-Identifier: Apache-2.0
//
// The walk over scored frames, with the resets of the recurrent state that follow from its verdicts.
#include "decision/frame_loops.h"

#include "base/wrap.h"
#include "decision/frame_decision.h"
#include "decision/sentence_table.h"
#include "log/refusal.h"

namespace TSEG {
namespace {

void DropFrames(TsegInst* inst) {
  const ChannelsInUse channels = inst->channels();
  DropMovedFrames(channels.first);
  if (channels.second != nullptr) DropMovedFrames(channels.second);
}

// Decides on one frame and enters the verdict.
FrameVerdict DecideFrame(TsegInst* inst, const float* pair, int32_t stride) {
  int32_t begin = 0;
  int32_t end = 0;
  const FrameVerdict verdict = wVadFrameStep(inst, pair, stride, &begin, &end);
  wVadEmitVerdict(inst, verdict, begin, end);
  return verdict;
}

// Whether the walk over a block ends here: the tail silence of a session with speech is used up.
bool WalkEnds(const TsegInst& inst, FrameVerdict verdict) { return verdict == WVAD_FRAME_TAIL && inst.decision.bSpeechFound; }

// Keeps a recurrent state from drifting in long silence: clears it every so many frames in which nothing happens.
void SilenceReset(TsegInst* inst, FrameScorer* scorer, FrameVerdict verdict) {
  const CFG_VAD& cfg = *inst->pCfg;
  DecisionState& decision = inst->decision;
  if (verdict == WVAD_FRAME_GOON && decision.nState != 1 &&
      (cfg.wvad_param_isSilenceAutoResetSubsentenceOn || decision.bSpeechFound != 1)) {
    decision.nSilenceResetCount = WrapAdd32(decision.nSilenceResetCount, 1);
    if (decision.nSilenceResetCount >= cfg.wvad_param_nSilenceAutoReset_WinSize) {
      decision.nSilenceResetCount = 0;
      scorer->ClearState();
    }
  } else {
    decision.nSilenceResetCount = 0;
  }
}

// Decides on the frames of one answer. Resets come after a verdict has been entered, so that a sentence's own end rests on the old state;
// frames that stand in for the network's delay at the end of the audio cause none.
void WalkFrames(TsegInst* inst, FrameScorer* scorer, const ScoredFrames& frames) {
  const bool resets = scorer->recurrent() && frames.origin == ScoredFrames::Origin::kComputed;
  for (int32_t i = 0; i < frames.count; ++i) {
    const FrameVerdict verdict = DecideFrame(inst, frames.Pair(i), frames.stride);
    if (WalkEnds(*inst, verdict)) return;
    if (!resets) continue;
    if (inst->pCfg->wvad_param_isLstmSubsentenceAutoResetOn && verdict == WVAD_FRAME_PAUSE) scorer->ClearState();
    if (inst->pCfg->wvad_param_isSilenceAutoResetOn) SilenceReset(inst, scorer, verdict);
  }
}

void RunLoop(TsegInst* inst, FrameScorer* scorer, bool last) {
  const ChannelsInUse channels = inst->channels();
  ScoredFrames frames;
  while (scorer->Next(channels, last, &frames)) WalkFrames(inst, scorer, frames);
  // The session is over and the loop has run for the last time in this write: what the network still holds will not be asked for.
  if (inst->decision.over() && !channels.MoreToCome()) scorer->Forget();
}

int RunLoopOf(TsegInst* inst, NetworkKindIndex kind, bool last) {
  FrameScorer* scorer = inst->network.ScorerOf(kind);
  if (scorer != nullptr && scorer->bound()) {
    RunLoop(inst, scorer, last);
    return 0;
  }
  // An instance whose parameters were turned to a network that it was not made for cannot decide: its frames go, so that the rings stay
  // open.
  DropFrames(inst);
  WVAD_REFUSE(WVAD_ERROR_RESOURCE_TYPE, "%s | no network for model type %s", NetworkKindAt(kind).loop,
              inst->pCfg->wvad_param_TsegModelType.c_str());
  return 0;
}

}  // namespace

void DecideOnFrames(TsegInst* inst, bool last) {
  if (FrameScorer* scorer = inst->network.scorer()) {
    RunLoop(inst, scorer, last);
    return;
  }
  WVAD_REFUSE(WVAD_ERROR_RESOURCE_TYPE, "wVadAudioWrite | wReadProcess %d", WVAD_ERROR_RESOURCE_TYPE);
  DropFrames(inst);
}

int wReadProcessDnnFea(TsegInst* inst, bool last) { return RunLoopOf(inst, kKindDnn75, last); }
int wReadProcessLstmFea(TsegInst* inst, bool last) { return RunLoopOf(inst, kKindLstm75, last); }
int wReadProcessLstmFea40(TsegInst* inst, bool last) { return RunLoopOf(inst, kKindLstm40, last); }

}  // namespace TSEG
