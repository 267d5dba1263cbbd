// SPDX-License-Identifier: Apache-2.0
//
// The options of every command that listens to recordings: which there are, which audio of each, and how it is listened to.
#ifndef WVAD_WVAD_AUDIO_OPTIONS_H_
#define WVAD_WVAD_AUDIO_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "wvad/input.h"

namespace TSEG::tool {

// `input` has to outlive the parsing.
// What a command can do with the audio that it is given.
struct AudioScope {
  bool several;         // recordings in one run
  bool channels_apart;  // each channel by itself, "--channel all"
};

void AddAudio(CLI::App* command, InputOptions& input, const AudioScope& scope);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_AUDIO_OPTIONS_H_
