// SPDX-License-Identifier: Apache-2.0
//
// `wvad model pack` and `wvad model inspect`: model files made from a folder of arrays, and looked into.
#ifndef WVAD_WVAD_MODEL_COMMAND_H_
#define WVAD_WVAD_MODEL_COMMAND_H_

#include <string>

#include "wvad/exit_codes.h"

namespace TSEG::tool {

struct ModelPackOptions {
  std::string folder;
  std::string output;
  bool force = false;  // `output` may be replaced
  bool quiet = false;
};

struct ModelInspectOptions {
  std::string model;   // a file, or the name of a bundled model
  std::string output;  // empty: standard output
  bool force = false;
  bool json = false;
};

// Writes the model that the folder describes. Throws Failure(kBadModel), Failure(kOutput).
ExitCode RunModelPack(const ModelPackOptions& options);
// Tells what is in the model. Throws Failure(kBadModel), Failure(kOutput).
ExitCode RunModelInspect(const ModelInspectOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MODEL_COMMAND_H_
