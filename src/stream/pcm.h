// SPDX-License-Identifier: Apache-2.0
//
// The engine's samples from float.
#ifndef WVAD_STREAM_PCM_H_
#define WVAD_STREAM_PCM_H_

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace TSEG::stream {

// Nearest, halves to even, saturating; not-a-number becomes silence.
inline int16_t ToSample(float value) {
  const float scaled = value * 32768.0F;
  if (std::isnan(scaled)) return 0;
  return static_cast<int16_t>(std::lrintf(std::clamp(scaled, -32768.0F, 32767.0F)));
}

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_PCM_H_
