// SPDX-License-Identifier: Apache-2.0
//
// Samples as the bytes of a sound file (libsndfile): one channel, 16 bit and nothing lost, or compressed for listening.
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

// For listening alone: Opus in Ogg, which browsers play. Where the rate is none of Opus's own (6000 Hz) it is WAV.
const SoundKind& ListeningKind(int rate_hz);

// Throws Failure(kOutput) with libsndfile's reason. (FLAC has no form for no samples at all.)
std::string EncodeSound(const int16_t* samples, size_t count, int rate_hz, const SoundKind& kind);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SOUND_WRITER_H_
