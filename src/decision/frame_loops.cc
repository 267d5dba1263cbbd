// SPDX-License-Identifier: Apache-2.0
//
// The loops of "dnn_fb75", "lstm_fb75" and "lstm_fb40". They differ in block, priming, padding and flush; the walk over scored frames is
// one.
#include "decision/frame_loops.h"

#include "base/wrap.h"
#include "decision/frame_decision.h"
#include "decision/sentence_table.h"
#include "log/log.h"

namespace TSEG {
namespace {

constexpr int32_t kBlockDnn = 825;
constexpr int32_t kBlockLstm75 = 300;
constexpr int32_t kBlockLstm40 = 160;
constexpr int32_t kPairsPerRead = 8;  // floats of one read of the recurrent network

// The scores of one read of the network, zero where it gives none.
struct ScoreBlock {
  float scores[16] = {};
  int32_t count = 0;
  int32_t stride = 0;

  // The pair that begins at float `at`; the last one that fits, for what lies beyond.
  const float* Pair(int32_t at) const { return scores + (at < 0 ? 0 : (at > 14 ? 14 : at)); }
};

// Pops a block from the channels in use: with gain control from both, and the second one's block counts. Null when either has none.
template <typename Pop>
const float* PopInUse(TsegInst* inst, Pop pop) {
  const float* block = pop(inst->pFrontEndA.get());
  if (block == nullptr || !inst->pCfg->wvad_param_vad_AgcOn || inst->pFrontEndB == nullptr) return block;
  return pop(inst->pFrontEndB.get());
}

bool ChannelsStand(const TsegInst& inst) { return inst.pFrontEndA != nullptr; }

// An instance whose parameters were turned to a road that it was not made for cannot decide: its frames go, so that the rings stay open.
int DropFrames(TsegInst* inst, const char* loop) {
  if (inst->pFrontEndA != nullptr) DropMovedFrames(inst->pFrontEndA.get());
  if (inst->pFrontEndB != nullptr) DropMovedFrames(inst->pFrontEndB.get());
  WVAD_FAIL(WVAD_ERROR_RESOURCE_TYPE, "WVAD_ERROR_RESOURCE_TYPE", "%s | no network for model type %s", loop,
            inst->pCfg->wvad_param_TsegModelType.c_str());
  return 0;
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
bool WalkEnds(const TsegInst& inst, FrameVerdict verdict) { return verdict == WVAD_FRAME_TAIL && inst.bSpeechFound; }

// Keeps a recurrent state from drifting in long silence: clears it every so many frames in which nothing happens.
void SilenceReset(TsegInst* inst, FrameVerdict verdict) {
  const CFG_VAD& cfg = *inst->pCfg;
  if (verdict == WVAD_FRAME_GOON && inst->nState != 1 && (cfg.wvad_param_isSilenceAutoResetSubsentenceOn || inst->bSpeechFound != 1)) {
    inst->nSilenceResetCount = WrapAdd32(inst->nSilenceResetCount, 1);
    if (inst->nSilenceResetCount >= cfg.wvad_param_nSilenceAutoReset_WinSize) {
      inst->nSilenceResetCount = 0;
      LstmForwardClearState(inst->pLstm.get());
    }
  } else {
    inst->nSilenceResetCount = 0;
  }
}

// Decides on the frames of one read. Resets come after a verdict has been entered, so that a sentence's own end rests on the old state.
void WalkLstmBlock(TsegInst* inst, const ScoreBlock& block) {
  for (int32_t i = 0; i < block.count; ++i) {
    const FrameVerdict verdict = DecideFrame(inst, block.Pair(i * block.stride), block.stride);
    if (WalkEnds(*inst, verdict)) return;
    if (inst->pCfg->wvad_param_isLstmSubsentenceAutoResetOn && verdict == WVAD_FRAME_PAUSE) LstmForwardClearState(inst->pLstm.get());
    if (inst->pCfg->wvad_param_isSilenceAutoResetOn) SilenceReset(inst, verdict);
  }
}

// The network owes two steps at the end of the audio: the last pair stands in for them. The bound is count times stride less what was
// padded, kept on purpose.
void RepeatLastPair(TsegInst* inst, const ScoreBlock& block, int32_t nPadded) {
  const int32_t steps = block.count * block.stride - nPadded;
  for (int32_t i = 0; i < steps; ++i) {
    if (WalkEnds(*inst, DecideFrame(inst, block.Pair((block.count - 1) * block.stride), block.stride))) return;
  }
}

// The same debt paid by the network itself: two blocks of zeros bring out what its ring still holds.
void FlushTwoBlocks(TsegInst* inst, int32_t nPadded) {
  LstmForward* forward = inst->pLstm.get();
  ScoreBlock block;
  float* place = block.scores;
  for (int flush = 0; flush < 2; ++flush) {
    if (!LstmForwardFlushBlock(forward, nullptr, kBlockLstm40, true)) continue;
    block.count += LstmForwardRead(forward, place, &block.stride);
    place += kPairsPerRead;
  }
  const int32_t steps = block.count - nPadded;
  for (int32_t i = 0; i < steps; ++i) {
    if (WalkEnds(*inst, DecideFrame(inst, block.Pair(i * block.stride), block.stride))) return;
  }
}

// Whether frames of the last push are still to come: the ring had no room for all of them, and the loop runs again within the same write.
bool MoreToCome(const TsegInst& inst) {
  return inst.pFrontEndA->bMore || (inst.pCfg->wvad_param_vad_AgcOn && inst.pFrontEndB != nullptr && inst.pFrontEndB->bMore);
}

// The session is over and the loop has run for the last time in this write: what the network still holds will not be asked for.
bool NetworkIsDone(const TsegInst& inst) { return (inst.bAudioFinish || inst.bTimeOut) && !MoreToCome(inst); }

}  // namespace

int wReadProcessDnnFea(TsegInst* inst, bool bLast) {
  DnnForward* forward = inst->pDnn.get();
  if (forward == nullptr || forward->pModel == nullptr || !ChannelsStand(*inst)) return DropFrames(inst, "wReadProcessDnnFea");
  uint8_t bEof = 0;
  const auto pop = [&](FrontEndChannel* channel) { return PopDnnBlock(channel, bLast, &bEof); };
  while (const float* features = PopInUse(inst, pop)) {
    if (inst->pWatch75x11) inst->pWatch75x11->add(features, kBlockDnn * static_cast<int32_t>(sizeof(float)));
    if (!DnnForwardAddBlock(forward, features, kBlockDnn, bEof != 0)) continue;
    ScoreBlock block;
    block.count = DnnForwardRead(forward, block.scores, &block.stride);
    for (int32_t i = 0; i < block.count; ++i) {
      if (WalkEnds(*inst, DecideFrame(inst, block.Pair(i * block.stride), block.stride))) break;
    }
  }
  if (NetworkIsDone(*inst)) DnnForwardForget(forward);
  return 0;
}

int wReadProcessLstmFea(TsegInst* inst, bool bLast) {
  LstmForward* forward = inst->pLstm.get();
  if (forward == nullptr || forward->pModel == nullptr || !ChannelsStand(*inst)) return DropFrames(inst, "wReadProcessLstmFea");
  uint8_t bEof = 0;
  int32_t nPadded = 0;
  const auto pop = [&](FrontEndChannel* channel) {
    nPadded = 0;
    return PopLstmBlock75(channel, bLast, &bEof, &nPadded);
  };
  while (const float* features = PopInUse(inst, pop)) {
    if (!LstmForwardAddBlock75(forward, features, kBlockLstm75, bEof != 0)) continue;
    ScoreBlock block;
    block.count = LstmForwardRead(forward, block.scores, &block.stride);
    WalkLstmBlock(inst, block);
    if (bLast && bEof) RepeatLastPair(inst, block, nPadded);
  }
  if (NetworkIsDone(*inst)) LstmForwardClearAll(forward);
  return 0;
}

int wReadProcessLstmFea40(TsegInst* inst, bool bLast) {
  LstmForward* forward = inst->pLstm.get();
  if (forward == nullptr || forward->pModel == nullptr || !ChannelsStand(*inst)) return DropFrames(inst, "wReadProcessLstmFea40");
  uint8_t bEof = 0;
  int32_t nPadded = 0;
  const auto pop = [&](FrontEndChannel* channel) {
    nPadded = 0;
    return PopLstmBlock40(channel, bLast, &bEof, &nPadded);
  };
  while (const float* features = PopInUse(inst, pop)) {
    if (inst->bFirstBlock) {
      LstmForwardPrime(forward, inst->pCfg->wvad_param_vad_LstmPaddingNum);
      inst->bFirstBlock = 0;
    }
    if (!LstmForwardAddBlock40(forward, features, kBlockLstm40, bEof != 0)) continue;
    ScoreBlock block;
    block.count = LstmForwardRead(forward, block.scores, &block.stride);
    WalkLstmBlock(inst, block);
    if (bLast && bEof) FlushTwoBlocks(inst, nPadded);
  }
  if (NetworkIsDone(*inst)) LstmForwardClearAll(forward);
  return 0;
}

}  // namespace TSEG
