// SPDX-License-Identifier: Apache-2.0
//
// `wvad trim` and `wvad mute`: a recording as a sound file of its own rate, channels and sample depth, without what is no speech, or with
// silence in its place.
//
// The recording is heard to its end, and then read once more to be written; one that can be read only once is kept in a temporary file
// meanwhile. Memory does not grow with it.
#ifndef WVAD_WVAD_RETOUCH_COMMAND_H_
#define WVAD_WVAD_RETOUCH_COMMAND_H_

#include <string>

#include "wvad/sentence_run.h"
#include "wvad/sound_file.h"

namespace TSEG::tool {

struct RetouchOptions : SentenceOptions {
  const SoundFileKind* kind = nullptr;  // null: what the output's ending says
  std::string output;
  bool force = false;  // `output` and `map` may be replaced
  int fade_ms = 5;     // at each joint
  double keep_s = 0;   // trim: of each silence
  std::string map;     // trim: where each stretch has come to stand, ".json" or ".csv"; empty for none
};

// Both give the code of the recording, which is written as far as it could be heard. Throws Failure.
ExitCode RunTrim(const RetouchOptions& options);
ExitCode RunMute(const RetouchOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RETOUCH_COMMAND_H_
