// SPDX-License-Identifier: Apache-2.0
//
// `wvad split`: recordings in, one sound file for each sentence out, cut by the engine: each file holds the PCM that the engine hands out.
#ifndef WVAD_WVAD_SPLIT_COMMAND_H_
#define WVAD_WVAD_SPLIT_COMMAND_H_

#include "wvad/sentence_files.h"
#include "wvad/sound_writer.h"

namespace TSEG::tool {

struct SplitOptions : SaveOptions {
  const SoundKind* audio = SoundKinds().data();
};

ExitCode RunSplit(const SplitOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SPLIT_COMMAND_H_
