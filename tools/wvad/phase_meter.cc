// SPDX-License-Identifier: Apache-2.0
#include "wvad/phase_meter.h"

#include <algorithm>
#include <cmath>

namespace TSEG::tool {

void PhaseMeter::Feed(const float* interleaved, size_t frames, size_t channels) {
  const double count = static_cast<double>(channels);
  for (size_t i = 0; i < frames; ++i) {
    double sum = 0;
    double squares = 0;
    for (size_t c = 0; c < channels; ++c) {
      const double value = interleaved[i * channels + c];
      sum += value;
      squares += value * value;
    }
    mix_power_ += sum * sum / (count * count);
    parts_power_ += squares / (count * count);
  }
  frames_ += static_cast<double>(frames);
}

bool PhaseMeter::cancels() const {
  constexpr double kSilence = 1e-8;  // -80 dB
  return frames_ > 0 && parts_power_ / frames_ > kSilence && mix_power_ < 0.1 * parts_power_;
}

double PhaseMeter::loss_db() const {
  constexpr double kFloor = 1e-6;
  return parts_power_ > 0 ? 10 * std::log10(std::max(mix_power_ / parts_power_, kFloor)) : 0;
}

std::string PhaseNote(const PhaseMeter& phase) {
  return "the channels cancel each other out (opposite phase): their mean lies " + std::to_string(std::lround(-phase.loss_db())) +
         " dB too low; listen to one, --channel 1, or to each, --channel all";
}

}  // namespace TSEG::tool
