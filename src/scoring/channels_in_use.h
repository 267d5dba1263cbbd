// SPDX-License-Identifier: Apache-2.0
//
// ChannelsInUse: the front-end channels that one network is fed from, driven in step. One channel, or with gain control two, of which the
// second one's blocks count.
//
// Looks at the channels without owning them. No allocation, no failure path.
#ifndef WVAD_SCORING_CHANNELS_IN_USE_H_
#define WVAD_SCORING_CHANNELS_IN_USE_H_

#include "channel/front_end_channel.h"

namespace TSEG {

struct ChannelsInUse {
  FrontEndChannel* first = nullptr;   // the caller's audio
  FrontEndChannel* second = nullptr;  // the gain-controlled audio; null without gain control

  // Pops a block from each: `pop` of a channel gives a block or null. Null when either has none; the second is not asked where the first
  // has none.
  template <typename Pop>
  const float* PopBlock(Pop pop) const {
    const float* block = pop(first);
    return block == nullptr || second == nullptr ? block : pop(second);
  }

  // Whether frames of the last push are still to come: a ring had no room for all of them.
  bool MoreToCome() const { return first->bMore || (second != nullptr && second->bMore); }
  // Lets pushes that stopped short go on, in the room that has been made since.
  void Continue() const {
    FrontEndContinue(first);
    if (second != nullptr) FrontEndContinue(second);
  }
};

// Calls `take` on what a push has finished, and again for as long as the push goes on in the room that this made. It gets `last` in the
// call behind which nothing more comes, and false in those before: none of them closes the session.
template <typename Take>
void TakeWholePush(const ChannelsInUse& channels, bool last, Take take) {
  for (;;) {
    const bool more = channels.MoreToCome();
    take(last && !more);
    if (!more) return;
    channels.Continue();
  }
}

}  // namespace TSEG

#endif  // WVAD_SCORING_CHANNELS_IN_USE_H_
