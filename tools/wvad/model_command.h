// SPDX-License-Identifier: Apache-2.0
//
// `wvad model pack` and `wvad model inspect`: model files made from a folder of arrays, and looked into.
#ifndef WVAD_WVAD_MODEL_COMMAND_H_
#define WVAD_WVAD_MODEL_COMMAND_H_

#include <string>

namespace TSEG::tool {

// Writes the model that the folder `folder` describes to `output`. Throws Failure(kBadModel), Failure(kOutput).
void RunModelPack(const std::string& folder, const std::string& output, bool quiet);
// Prints what is in the model `file`. Throws Failure(kBadModel).
void RunModelInspect(const std::string& file, bool json);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MODEL_COMMAND_H_
