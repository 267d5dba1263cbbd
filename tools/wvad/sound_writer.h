// SPDX-License-Identifier: Apache-2.0
//
// Samples as the bytes of a sound file (libsndfile): 16 bit, one channel, nothing lost.
#ifndef WVAD_WVAD_SOUND_WRITER_H_
#define WVAD_WVAD_SOUND_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace TSEG::tool {

// `format`: "wav" or "flac" (which has no form for no samples at all). Throws Failure(kOutput) with libsndfile's reason.
std::string EncodeSound(const int16_t* samples, size_t count, int rate_hz, const std::string& format);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SOUND_WRITER_H_
