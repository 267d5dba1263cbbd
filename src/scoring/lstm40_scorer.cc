// SPDX-License-Identifier: Apache-2.0
#include "scoring/lstm40_scorer.h"

namespace TSEG {

void Lstm40Scorer::Begin(int32_t priming_frames) {
  priming_frames_ = priming_frames;
  first_block_ = true;
  debt_ = Debt::kNone;
}

bool Lstm40Scorer::Next(const ChannelsInUse& channels, bool last, ScoredFrames* out) {
  // Asked for behind the frames of the last block: whoever decided on them may have cleared the state that is flushed here.
  if (debt_ == Debt::kTwoBlocks) {
    FlushTwoBlocks(out);
    if (out->count > 0) return true;
  }
  uint8_t eof = 0;
  const auto pop = [&](FrontEndChannel* channel) {
    padded_ = 0;
    return PopLstmBlock40(channel, last, &eof, &padded_);
  };
  while (const float* block = channels.PopBlock(pop)) {
    if (first_block_) LstmForwardPrime(forward_, priming_frames_);
    first_block_ = false;
    if (!LstmForwardAddBlock40(forward_, block, kLstm40BlockFloats, eof != 0)) continue;
    *out = ScoredFrames();
    out->count = LstmForwardRead(forward_, out->scores, &out->stride);
    if (last && eof != 0) debt_ = Debt::kTwoBlocks;
    return true;
  }
  return false;
}

void Lstm40Scorer::FlushTwoBlocks(ScoredFrames* out) {
  debt_ = Debt::kNone;
  *out = ScoredFrames();
  out->origin = ScoredFrames::Origin::kFlushed;
  float* place = out->scores;
  for (int flush = 0; flush < 2; ++flush) {
    if (!LstmForwardFlushBlock(forward_, nullptr, kLstm40BlockFloats, true)) continue;
    out->count += LstmForwardRead(forward_, place, &out->stride);
    place += ScoredFrames::kFloats / 2;
  }
  out->count -= padded_;
}

}  // namespace TSEG
