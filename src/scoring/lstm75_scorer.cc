// SPDX-License-Identifier: Apache-2.0
#include "scoring/lstm75_scorer.h"

#include <cstring>

namespace TSEG {

bool Lstm75Scorer::Next(const ChannelsInUse& channels, bool last, ScoredFrames* out) {
  if (owed_ > 0) {
    RepeatLastPair(out);
    return true;
  }
  uint8_t eof = 0;
  int32_t padded = 0;
  const auto pop = [&](FrontEndChannel* channel) {
    padded = 0;
    return PopLstmBlock75(channel, last, &eof, &padded);
  };
  while (const float* block = channels.PopBlock(pop)) {
    if (!LstmForwardAddBlock75(forward_, block, kLstm75BlockFloats, eof != 0)) continue;
    *out = ScoredFrames();
    out->count = LstmForwardRead(forward_, out->scores, &out->stride);
    if (last && eof != 0) {
      // The bound is count times stride less what was padded; sessions of this kind have always ended so.
      owed_ = out->count * out->stride - padded;
      std::memcpy(last_pair_, out->Pair(out->count - 1), sizeof last_pair_);
    }
    return true;
  }
  return false;
}

void Lstm75Scorer::RepeatLastPair(ScoredFrames* out) {
  *out = ScoredFrames();
  out->origin = ScoredFrames::Origin::kRepeated;
  out->count = owed_;
  std::memcpy(out->scores, last_pair_, sizeof last_pair_);
  owed_ = 0;
}

}  // namespace TSEG
