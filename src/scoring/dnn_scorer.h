// SPDX-License-Identifier: Apache-2.0
//
// DnnScorer: "dnn_fb75". A block for each frame, eleven frames wide; eight frames make a batch, of which every second one is computed.
#ifndef WVAD_SCORING_DNN_SCORER_H_
#define WVAD_SCORING_DNN_SCORER_H_

#include "nn/dnn_forward.h"
#include "scoring/frame_scorer.h"

namespace TSEG {

class BlockObserver;

class DnnScorer : public FrameScorer {
 public:
  // `observer`, if there is one, sees each block before the network does.
  DnnScorer(DnnForward* forward, BlockObserver* observer) : forward_(forward), observer_(observer) {}

  bool bound() const override { return forward_->pModel != nullptr; }
  void Begin(int32_t) override {}
  bool Next(const ChannelsInUse& channels, bool last, ScoredFrames* out) override;
  bool recurrent() const override { return false; }
  void ClearState() override {}
  void Forget() override { DnnForwardForget(forward_); }

 private:
  DnnForward* forward_;
  BlockObserver* observer_;
};

}  // namespace TSEG

#endif  // WVAD_SCORING_DNN_SCORER_H_
