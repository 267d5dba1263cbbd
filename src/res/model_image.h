// SPDX-License-Identifier: Apache-2.0
//
// LoadModelImage: a model by itself, from its bytes or its file, without a resource manager, a configuration or a label.
#ifndef WVAD_RES_MODEL_IMAGE_H_
#define WVAD_RES_MODEL_IMAGE_H_

#include <cstddef>
#include <memory>
#include <string>

#include "res/res_mgr.h"

namespace TSEG {

// The model in `length` bytes, which nothing refers to afterwards. `name` is what the holder calls it. Null with a ResMgrError in `*code`
// for bytes that are no model of this engine: they are refused in every case, and never end the process.
std::unique_ptr<HMMResourceLink> LoadModelImage(const void* data, size_t length, const std::string& name, int* code);
// The same from the file at `path`; kResNotExist where there is no file that can be read.
std::unique_ptr<HMMResourceLink> LoadModelFile(const std::string& path, int* code);

}  // namespace TSEG

#endif  // WVAD_RES_MODEL_IMAGE_H_
