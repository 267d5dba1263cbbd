// SPDX-License-Identifier: Apache-2.0
//
// Which container a recording comes in, by its first bytes, and where its samples lie in those that say so.
#ifndef WVAD_WVAD_CONTAINER_H_
#define WVAD_WVAD_CONTAINER_H_

#include <cstdint>
#include <optional>

#include "wvad/byte_source.h"
#include "wvad/raw_source.h"

namespace TSEG::tool {

// The last three are for FFmpeg: read forward alone, boxes that may tell at their end what is in them (MP4 and its kin), and whatever else.
enum class Container { kNone, kWave, kAiff, kAu, kFlac, kOgg, kMp3, kOther, kForwardMedia, kBoxedMedia, kMedia };

// Reads no more than the first bytes: 16, or the first frames of what has no other mark.
Container Recognise(ByteSource& bytes);

// A stretch of samples as the header of a WAV, AIFF or AU file declares it.
struct Stretch {
  uint64_t begin = 0;                // byte offset
  std::optional<uint64_t> declared;  // bytes; none where the writer did not know or never came back to say
  bool unclosed = false;             // it should have come back: the header says 0 in a file that goes on
  // The samples' form, for a stretch without a declared end; null where only a decoder knows it.
  const RawForm* form = nullptr;
  int rate_hz = 0;
  int channels = 0;
};

// None where the header cannot be followed to its samples.
std::optional<Stretch> FindStretch(ByteSource& bytes, Container container);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_CONTAINER_H_
