// SPDX-License-Identifier: Apache-2.0
//
// Which file a --model stands for, and where bundled models lie.
#ifndef WVAD_WVAD_MODEL_FINDER_H_
#define WVAD_WVAD_MODEL_FINDER_H_

#include <string>
#include <vector>

namespace TSEG::tool {

constexpr const char* kDefaultModel = "lstm_fb75";
constexpr const char* kBundledModels[] = {kDefaultModel, "lstm_fb40", "dnn_fb75", "lstm_fb75_8k", "lstm_fb40_8k"};

// The folders that are looked through: `models_dir` alone if it is given, else $WVAD_MODELS_DIR alone if that is set, else the "vad"
// folders of the library beside the running program.
std::vector<std::string> ModelFolders(const std::string& models_dir);

// The path of `model`: a path if it contains a separator, otherwise a name, with or without ".bin", in the folders, and at last a file of
// that name in the current folder. Throws Failure(kBadModel) naming the folders.
std::string FindModel(const std::string& model, const std::string& models_dir);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MODEL_FINDER_H_
