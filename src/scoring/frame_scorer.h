// SPDX-License-Identifier: Apache-2.0
//
// FrameScorer: blocks of features out of the channels, through a network, back as one pair of scores for each 10 ms frame.
//
// There is one class for each kind of network (network_kinds.h). They differ in block, priming and in how they pay what the network's delay
// still owes when the audio ends; whoever takes the frames sees none of that. A scorer serves one instance on its writing thread, looks at
// the forward object of the instance without owning it, and allocates nothing after it has been made.
#ifndef WVAD_SCORING_FRAME_SCORER_H_
#define WVAD_SCORING_FRAME_SCORER_H_

#include <cstdint>

#include "scoring/channels_in_use.h"

namespace TSEG {

// What a scorer gives at a time: the pairs of up to 8 frames, in the order of the frames.
struct ScoredFrames {
  static constexpr int32_t kFloats = 16;

  enum class Origin {
    kComputed,  // the network's answer to a block
    kFlushed,   // its answer to a block without data, behind the last one
    kRepeated,  // the last answer once more, in place of one that the network does not give any more
  };

  float scores[kFloats] = {};  // pairs, speech first; zero where the network gave none
  int32_t count = 0;           // frames
  int32_t stride = 0;          // floats from one frame's pair to the next; 0 where one pair stands for all
  Origin origin = Origin::kComputed;

  // The pair of frame `i`; the last one that fits, for what lies beyond.
  const float* Pair(int32_t i) const {
    const int32_t at = i * stride;
    return scores + (at < 0 ? 0 : (at > kFloats - 2 ? kFloats - 2 : at));
  }
};

class FrameScorer {
 public:
  FrameScorer() = default;
  virtual ~FrameScorer() = default;
  FrameScorer(const FrameScorer&) = delete;
  FrameScorer& operator=(const FrameScorer&) = delete;

  // Whether there is a network to ask.
  virtual bool bound() const = 0;
  // A session begins. `priming_frames`: frames of silence that a network which asks for them hears before the first block.
  virtual void Begin(int32_t priming_frames) = 0;
  // Takes blocks from `channels` until the network answers. False when no block is to be had and nothing is owed. `last` opens the
  // held-back frames at the end of the session's audio.
  virtual bool Next(const ChannelsInUse& channels, bool last, ScoredFrames* out) = 0;
  // Whether the network carries a state from block to block.
  virtual bool recurrent() const = 0;
  // Clears that state and keeps the position in the stream. Nothing for a network without one.
  virtual void ClearState() = 0;
  // Lets go of all that the network still holds.
  virtual void Forget() = 0;
};

}  // namespace TSEG

#endif  // WVAD_SCORING_FRAME_SCORER_H_
