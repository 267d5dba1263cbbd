// SPDX-License-Identifier: Apache-2.0
//
// A model and a signal whose sessions can be worked out by hand.
//
// EnergyModel calls every frame speech, whatever its features: all weights are zero, and the output biases lean to the speech side. The
// energy floor alone then tells speech from silence, and Bursts is far above it or at zero.
#ifndef WVAD_SUPPORT_ENERGY_MODEL_H_
#define WVAD_SUPPORT_ENERGY_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "modelfile/modelfile.h"

namespace TSEG::testing_support {

inline modelfile::Variable Filled(const std::string& name, int outer, int inner, std::vector<double> data, int shift) {
  modelfile::Variable variable;
  variable.name = name;
  variable.outer = outer;
  variable.inner = inner;
  variable.data = std::move(data);
  variable.nShift16 = shift;
  variable.nShift8 = shift;
  return variable;
}

// `rate_hz`: of its sessions, 16000 or 8000.
inline modelfile::ModelContents EnergyModel(int rate_hz = 16000) {
  constexpr int kHidden = 32;
  constexpr int kInputs = 825;
  const auto zeros = [](size_t n) { return std::vector<double>(n, 0.0); };
  modelfile::ModelContents contents;
  contents.network_type = "MLP_RES_DNN";
  contents.variables = {Filled("mean", 75, 1, zeros(75), 0),
                        Filled("var", 75, 1, std::vector<double>(75, 1.0), 0),
                        Filled("pri", 2, 1, {0.5, 0.5}, 0),
                        Filled("weights12", kHidden, kInputs, zeros(kHidden * kInputs), 12),
                        Filled("bias2", kHidden, 1, zeros(kHidden), 16),
                        Filled("weights23", 2, kHidden, zeros(2 * kHidden), 4),
                        Filled("bias3", 2, 1, {4.0, -4.0}, 11)};
  contents.keys = {{"0", "1"}, {"1", "0"}, {"2", "dnn_fb75"}, {"3", "32"}, {"4", std::to_string(rate_hz)}, {"5", "0"}, {"6", "0"}};
  return contents;
}

constexpr int16_t kBurst = 8000;

// A square wave of amplitude kBurst (period 20 ms) inside the given spans of seconds, digital silence elsewhere.
//
// With EnergyModel a burst from a to b seconds is found so, at 16000 Hz: the first frame whose 25 ms window reaches into it is 100a - 2;
// two frames are held over, so the rise is at 100a. It is proved 20 frames later, and begins 30 frames (the begin margin) before it. The
// last window that holds any of it begins at 100b - 1: the fall is at 100b, the end comes 40 silent frames (the gap) later, and the end
// margin of 20 frames follows the fall. `n` samples give (n - 800) / 160 + 1 frames.
inline std::vector<int16_t> Bursts(double length_s, const std::vector<std::pair<double, double>>& spans, int rate_hz = 16000) {
  std::vector<int16_t> signal(static_cast<size_t>(length_s * rate_hz + 0.5), 0);
  const int half_period = rate_hz / 100;
  for (const auto& [begin, end] : spans) {
    for (size_t i = static_cast<size_t>(begin * rate_hz + 0.5); i < static_cast<size_t>(end * rate_hz + 0.5) && i < signal.size(); ++i) {
      signal[i] = (static_cast<int>(i) / half_period) % 2 == 0 ? kBurst : static_cast<int16_t>(-kBurst);
    }
  }
  return signal;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_ENERGY_MODEL_H_
