// SPDX-License-Identifier: Apache-2.0
//
// Lstm40Scorer: "lstm_fb40". Blocks of four frames of 40 values; the answer to a block comes two blocks later. The network is primed with
// silence before the first block of a session, and when the audio ends two blocks without data bring out what its ring still holds. With
// 8-bit weights they bring out less: the output layers then run in their float form over packed weights, and both blocks give the same
// pairs, which mean nothing.
#ifndef WVAD_SCORING_LSTM40_SCORER_H_
#define WVAD_SCORING_LSTM40_SCORER_H_

#include "nn/lstm_forward.h"
#include "scoring/frame_scorer.h"

namespace TSEG {

class Lstm40Scorer : public FrameScorer {
 public:
  explicit Lstm40Scorer(LstmForward* forward) : forward_(forward) {}

  bool bound() const override { return forward_->pModel != nullptr; }
  void Begin(int32_t priming_frames) override;
  bool Next(const ChannelsInUse& channels, bool last, ScoredFrames* out) override;
  bool recurrent() const override { return true; }
  void ClearState() override { LstmForwardClearState(forward_); }
  void Forget() override { LstmForwardClearAll(forward_); }

 private:
  // Whether the audio has ended and what the ring holds has not been asked for.
  enum class Debt { kNone, kTwoBlocks };

  void FlushTwoBlocks(ScoredFrames* out);

  LstmForward* forward_;
  int32_t priming_frames_ = 0;
  bool first_block_ = false;  // the next block is the first of the session
  Debt debt_ = Debt::kNone;
  int32_t padded_ = 0;  // frames that the last block was short of
};

}  // namespace TSEG

#endif  // WVAD_SCORING_LSTM40_SCORER_H_
