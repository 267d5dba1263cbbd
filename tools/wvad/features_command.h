// SPDX-License-Identifier: Apache-2.0
//
// `wvad features`: recordings in, one NumPy array for each sentence out: the frames of 115 values that the engine hands out.
#ifndef WVAD_WVAD_FEATURES_COMMAND_H_
#define WVAD_WVAD_FEATURES_COMMAND_H_

#include "wvad/sentence_files.h"

namespace TSEG::tool {

using FeaturesOptions = SaveOptions;

ExitCode RunFeatures(const FeaturesOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FEATURES_COMMAND_H_
