// SPDX-License-Identifier: Apache-2.0
#include "wvad/ffmpeg/timeline.h"

#include <algorithm>
#include <cstdlib>

namespace TSEG::tool {

Timeline::Place Timeline::Put(std::optional<int64_t> at, int64_t count, bool loose) {
  Place place;
  if (at) {
    const int64_t distance = *at - clock_ - reached_;
    const int64_t least = first_ || loose ? rate_hz_ / 500 : rate_hz_ / 10;
    const bool back = reached_ > 0 && distance < -rate_hz_;
    const bool ahead = set_anew_ && reached_ > 0 && distance > rate_hz_;
    if (back || ahead || std::abs(distance) > 3600 * rate_hz_) {
      clock_ += distance;
      place.jump = distance;
    } else if (distance > least) {
      place.silence = distance;
    } else if (distance < -least) {
      place.drop = std::min(count, -distance);
    }
  }
  first_ = false;
  brought_ += count - place.drop;
  reached_ += place.silence + count - place.drop;
  return place;
}

}  // namespace TSEG::tool
