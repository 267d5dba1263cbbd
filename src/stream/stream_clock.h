// SPDX-License-Identifier: Apache-2.0
//
// StreamClock: positions of the engine's samples as positions of the input's frames. Whole numbers, exact to the input's frame, rounded
// down; good for more years than there will be.
#ifndef WVAD_STREAM_STREAM_CLOCK_H_
#define WVAD_STREAM_STREAM_CLOCK_H_

#include <cstdint>

namespace TSEG::stream {

struct StreamClock {
  int64_t input_hz = 16000;
  int64_t engine_hz = 16000;

  // Split, so that no product can overflow.
  int64_t ToInput(int64_t engine_samples) const {
    return engine_samples / engine_hz * input_hz + engine_samples % engine_hz * input_hz / engine_hz;
  }
  int64_t frame_samples() const { return engine_hz / 100; }
  // Engine samples of so many seconds, in whole frames of 10 ms.
  int64_t WholeFrames(double seconds) const { return static_cast<int64_t>(seconds * 100 + 0.5) * frame_samples(); }
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_STREAM_CLOCK_H_
