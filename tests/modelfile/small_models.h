// SPDX-License-Identifier: Apache-2.0
//
// A model of two variables, and the message with which something fails.
#ifndef WVAD_TESTS_MODELFILE_SMALL_MODELS_H_
#define WVAD_TESTS_MODELFILE_SMALL_MODELS_H_

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "modelfile/modelfile.h"

namespace TSEG::modelfile {

// The message of the runtime_error that `action` throws.
inline std::string ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "(no error)";
}

inline Variable Floats(const std::string& name, int32_t outer, int32_t inner, std::vector<double> data) {
  Variable v;
  v.name = name;
  v.outer = outer;
  v.inner = inner;
  v.data = std::move(data);
  return v;
}

inline ModelContents Tiny() {
  ModelContents contents;
  contents.network_type = "MLP_RES_DNN";
  contents.keys = {{"0", "1"}, {"is_ctc", "true"}};
  contents.variables = {Floats("mean", 3, 1, {1, 2, 3}), Floats("w", 2, 3, {0.5, -0.5, 0.25, 1, -4, 2})};
  contents.variables[1].nShift16 = 10;
  contents.variables[1].nAux16 = 11;
  contents.variables[1].nShift8 = 8;
  contents.variables[1].nAux8 = 9;
  return contents;
}

}  // namespace TSEG::modelfile

#endif  // WVAD_TESTS_MODELFILE_SMALL_MODELS_H_
