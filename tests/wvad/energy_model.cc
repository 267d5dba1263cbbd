// SPDX-License-Identifier: Apache-2.0
//
// wvad-energy-model FILE: writes a model that calls every frame speech, whatever its features: all weights are zero, and the output biases
// lean to the speech side. The energy floor alone then tells speech from silence, so that what the engine finds in a made signal can be
// worked out by hand.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "modelfile/modelfile.h"

namespace {

using TSEG::modelfile::Variable;

Variable Filled(const std::string& name, int outer, int inner, std::vector<double> data, int shift) {
  Variable variable;
  variable.name = name;
  variable.outer = outer;
  variable.inner = inner;
  variable.data = std::move(data);
  variable.nShift16 = shift;
  variable.nShift8 = shift;
  return variable;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    constexpr int kHidden = 32;
    constexpr int kInputs = 825;
    const auto zeros = [](size_t n) { return std::vector<double>(n, 0.0); };
    TSEG::modelfile::ModelSpec spec;
    spec.network_type = "MLP_RES_DNN";
    spec.variables = {Filled("mean", 75, 1, zeros(75), 0),
                      Filled("var", 75, 1, std::vector<double>(75, 1.0), 0),
                      Filled("pri", 2, 1, {0.5, 0.5}, 0),
                      Filled("weights12", kHidden, kInputs, zeros(kHidden * kInputs), 12),
                      Filled("bias2", kHidden, 1, zeros(kHidden), 16),
                      Filled("weights23", 2, kHidden, zeros(2 * kHidden), 4),
                      Filled("bias3", 2, 1, {4.0, -4.0}, 11)};
    spec.keys = {{"0", "1"}, {"1", "0"}, {"2", "dnn_fb75"}, {"3", "32"}, {"4", "16000"}, {"5", "0"}, {"6", "0"}};
    TSEG::modelfile::WriteFileBytes(argv[1], TSEG::modelfile::WriteModel(spec));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
