// SPDX-License-Identifier: Apache-2.0
//
// Samples as the bytes of a sound file (libsndfile): 16 bit, one channel, nothing lost.
#ifndef WVAD_WVAD_SOUND_WRITER_H_
#define WVAD_WVAD_SOUND_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace TSEG::tool {

struct SoundKind {
  const char* name;  // and the file's ending
  const char* words;
  int format;  // libsndfile's
};

// The first one is the default.
std::span<const SoundKind> SoundKinds();

// Throws Failure(kOutput) with libsndfile's reason. (FLAC has no form for no samples at all.)
std::string EncodeSound(const int16_t* samples, size_t count, int rate_hz, const SoundKind& kind);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SOUND_WRITER_H_
