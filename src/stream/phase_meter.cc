// SPDX-License-Identifier: Apache-2.0
#include "stream/phase_meter.h"

#include <algorithm>
#include <cmath>

namespace TSEG::stream {

void PhaseMeter::Feed(const float* interleaved, size_t frames, size_t channels) {
  for (size_t i = 0; i < frames; ++i) {
    double sum = 0;
    double squares = 0;
    for (size_t c = 0; c < channels; ++c) {
      const double value = interleaved[i * channels + c];
      sum += value;
      squares += value * value;
    }
    AddFrame(sum, squares, channels);
  }
}

bool PhaseMeter::cancels() const {
  constexpr double kSilence = 1e-8;  // -80 dB
  return frames_ > 0 && parts_power_ / frames_ > kSilence && mix_power_ < 0.1 * parts_power_;
}

double PhaseMeter::loss_db() const {
  constexpr double kFloor = 1e-6;
  return parts_power_ > 0 ? 10 * std::log10(std::max(mix_power_ / parts_power_, kFloor)) : 0;
}

}  // namespace TSEG::stream
