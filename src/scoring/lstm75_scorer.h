// SPDX-License-Identifier: Apache-2.0
//
// Lstm75Scorer: "lstm_fb75". Blocks of four frames of 75 values; the answer to a block comes two blocks later. When the audio ends the last
// pair stands in for what the delay has eaten.
#ifndef WVAD_SCORING_LSTM75_SCORER_H_
#define WVAD_SCORING_LSTM75_SCORER_H_

#include "nn/lstm_forward.h"
#include "scoring/frame_scorer.h"

namespace TSEG {

class Lstm75Scorer : public FrameScorer {
 public:
  explicit Lstm75Scorer(LstmForward* forward) : forward_(forward) {}

  bool bound() const override { return forward_->pModel != nullptr; }
  void Begin(int32_t) override { owed_ = 0; }
  bool Next(const ChannelsInUse& channels, bool last, ScoredFrames* out) override;
  bool recurrent() const override { return true; }
  void ClearState() override { LstmForwardClearState(forward_); }
  void Forget() override { LstmForwardClearAll(forward_); }

 private:
  void RepeatLastPair(ScoredFrames* out);

  LstmForward* forward_;
  int32_t owed_ = 0;  // frames that are still to be given for the last pair
  float last_pair_[2] = {};
};

}  // namespace TSEG

#endif  // WVAD_SCORING_LSTM75_SCORER_H_
