// SPDX-License-Identifier: Apache-2.0
//
// Packs a model file from a folder of .npy arrays and a description "model.json" (schema in README.md beside this file).
#ifndef WVAD_MODELFILE_PACK_H_
#define WVAD_MODELFILE_PACK_H_

#include <string>
#include <vector>

#include "modelfile/modelfile.h"

namespace TSEG::modelfile {

// What the folder describes. Throws std::runtime_error with what is wrong, naming the file. `files` gets the paths that were read.
ModelContents ReadFolder(const std::string& folder, std::vector<std::string>* files = nullptr);

}  // namespace TSEG::modelfile

#endif  // WVAD_MODELFILE_PACK_H_
