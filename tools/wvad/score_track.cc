// SPDX-License-Identifier: Apache-2.0
#include "wvad/score_track.h"

#include <cmath>

namespace TSEG::tool {

void ScoreTrack::Add(const float* pair, bool own) {
  const bool usable = own && std::isfinite(pair[0]) && std::isfinite(pair[1]);
  if (usable) {
    last_ = pair[0];
    found_any_ = true;
  }
  Put(!usable);
}

void ScoreTrack::Finish(int64_t hops) {
  while (next_ < hops) Put(true);
}

void ScoreTrack::Put(bool held) { sink_({next_++, last_, held}); }

}  // namespace TSEG::tool
