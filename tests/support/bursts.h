// SPDX-License-Identifier: Apache-2.0
//
// A made signal whose sentences can be worked out by hand.
#ifndef WVAD_SUPPORT_BURSTS_H_
#define WVAD_SUPPORT_BURSTS_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace TSEG::testing_support {

constexpr int16_t kLoud = 8000;

// A square wave of amplitude kLoud (period 20 ms) inside the given spans of seconds, digital silence elsewhere.
//
// With the energy model frame f is speech if the 25 ms window from 10 f ms on reaches into a burst: for one from a to b seconds (whole
// frames), frames 100a - 2 to 100b - 1. The engine holds two frames back: its speech begins with frame 100a, and the fall is seen at 100b.
// With margins of 30 and 20 frames that is the sentence from a - 0.30 to b + 0.20.
inline std::vector<int16_t> Bursts(double length_s, const std::vector<std::pair<double, double>>& spans, int rate_hz = 16000) {
  std::vector<int16_t> signal(static_cast<size_t>(length_s * rate_hz + 0.5), 0);
  const int half_period = rate_hz / 100;
  for (const auto& [begin, end] : spans) {
    for (size_t i = static_cast<size_t>(begin * rate_hz + 0.5); i < static_cast<size_t>(end * rate_hz + 0.5) && i < signal.size(); ++i) {
      signal[i] = (static_cast<int>(i) / half_period) % 2 == 0 ? kLoud : static_cast<int16_t>(-kLoud);
    }
  }
  return signal;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_BURSTS_H_
