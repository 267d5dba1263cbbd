// SPDX-License-Identifier: Apache-2.0
#include "scoring/dnn_scorer.h"

#include "scoring/block_observer.h"

namespace TSEG {

bool DnnScorer::Next(const ChannelsInUse& channels, bool last, ScoredFrames* out) {
  uint8_t eof = 0;
  const auto pop = [&](FrontEndChannel* channel) { return PopDnnBlock(channel, last, &eof); };
  while (const float* block = channels.PopBlock(pop)) {
    if (observer_ != nullptr) observer_->OnBlock(block, kDnnBlockFloats);
    if (!DnnForwardAddBlock(forward_, block, kDnnBlockFloats, eof != 0)) continue;
    *out = ScoredFrames();
    out->count = DnnForwardRead(forward_, out->scores, &out->stride);
    return true;
  }
  return false;
}

}  // namespace TSEG
