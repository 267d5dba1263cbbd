// SPDX-License-Identifier: Apache-2.0
//
// Reads a whole recording as 16-bit samples: raw PCM by its file name, anything else by libsndfile.
//
// No resampling and no mixing here: a recording of another rate or of several channels is refused with a reason, since training features
// have to be those of the samples that were labelled. Safe from several threads.
#ifndef WVAD_TOOLS_BLOCKS_AUDIO_INPUT_H_
#define WVAD_TOOLS_BLOCKS_AUDIO_INPUT_H_

#include <cstdint>
#include <string>
#include <vector>

namespace TSEG::blocks {

// Whether the name says raw samples: it ends in ".s16", ".raw" or ".pcm".
bool IsRawName(const std::string& path);

// Fills `*samples` with the recording at `path`, which has to be mono at `rate_hz` (raw PCM is taken to be; an odd last byte is dropped).
// On failure returns false and puts a one-line reason into `*error`.
bool ReadAudio(const std::string& path, int rate_hz, std::vector<int16_t>* samples, std::string* error);

}  // namespace TSEG::blocks

#endif  // WVAD_TOOLS_BLOCKS_AUDIO_INPUT_H_
