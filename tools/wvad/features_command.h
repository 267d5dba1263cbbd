// SPDX-License-Identifier: Apache-2.0
//
// `wvad features`: recordings in, one NumPy array for each sentence out: the frames of 115 values that the engine hands out.
#ifndef WVAD_WVAD_FEATURES_COMMAND_H_
#define WVAD_WVAD_FEATURES_COMMAND_H_

#include <string>

#include "wvad/output_folder.h"
#include "wvad/sentence_run.h"

namespace TSEG::tool {

struct FeaturesOptions : SentenceOptions {
  FolderOptions folder;
  std::string format = "table";  // of what is told on standard output; with `quiet` nothing is
};

// As RunSegment.
ExitCode RunFeatures(const FeaturesOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FEATURES_COMMAND_H_
