// SPDX-License-Identifier: Apache-2.0
//
// The options of every command that listens to recordings: which there are, which audio of each, and how it is listened to.
#ifndef WVAD_WVAD_AUDIO_OPTIONS_H_
#define WVAD_WVAD_AUDIO_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "wvad/input.h"

namespace TSEG::tool {

// `input` has to outlive the parsing.
void AddAudio(CLI::App* command, InputOptions& input);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_AUDIO_OPTIONS_H_
