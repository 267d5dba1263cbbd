// SPDX-License-Identifier: Apache-2.0
//
// The line at the foot of a terminal while a microphone is listened to: the time, the level as a bar, the probability of speech, and
// whether somebody speaks.
#ifndef WVAD_WVAD_LIVE_LIVE_LINE_H_
#define WVAD_WVAD_LIVE_LIVE_LINE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace TSEG::tool {

struct LiveState {
  double seconds = 0;           // heard
  double level_db = -100;       // of the last moment, in dB of full scale
  double probability = 0;       // of speech, of the last 10 ms that are decided
  std::optional<double> begun;  // second at which the sentence began that goes on
};

// In no more than `width` columns: what does not fit is left out from the right. The bar goes from -60 to 0 dB.
std::string LiveLine(const LiveState& state, size_t width);

// The mean power of [count] samples in dB of full scale (a full square wave has 0), -100 at least.
double LevelDb(const float* samples, size_t count);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_LIVE_LIVE_LINE_H_
