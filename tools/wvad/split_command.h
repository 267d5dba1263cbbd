// SPDX-License-Identifier: Apache-2.0
//
// `wvad split`: recordings in, one sound file for each sentence out, cut by the engine: each file holds the PCM that the engine hands out.
#ifndef WVAD_WVAD_SPLIT_COMMAND_H_
#define WVAD_WVAD_SPLIT_COMMAND_H_

#include <string>

#include "wvad/output_folder.h"
#include "wvad/sentence_run.h"

namespace TSEG::tool {

struct SplitOptions : SentenceOptions {
  FolderOptions folder;
  std::string audio = "wav";     // or flac
  std::string format = "table";  // of what is told on standard output; with `quiet` nothing is
};

// As RunSegment.
ExitCode RunSplit(const SplitOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SPLIT_COMMAND_H_
