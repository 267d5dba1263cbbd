// SPDX-License-Identifier: Apache-2.0
//
// MPEG audio frames from outside: their headers, whether a stream is made of them, and what an encoder's note in the first one promises of
// the rest. Sound is decoded elsewhere.
#ifndef WVAD_WVAD_MP3_FRAME_H_
#define WVAD_WVAD_MP3_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <optional>

#include "wvad/byte_source.h"

namespace TSEG::tool {

struct Mp3Frame {
  size_t bytes = 0;  // header included
  int rate_hz = 0;
  int version = 0;  // 1, 2, 25 for 2.5
  int layer = 0;
};

// None for four bytes that are no header, or one of free format.
std::optional<Mp3Frame> ParseMp3Frame(const unsigned char* header);

// Where the bytes behind an ID3v2 tag begin; 0 without one.
uint64_t BehindId3(ByteSource& bytes);

// Three frames of one kind one after another: chance does not bring that about in raw samples.
bool StartsWithMp3Frames(ByteSource& bytes);

// The encoder's note ("Xing" or "Info", and what LAME put behind it): where the sound begins and ends in bytes, and the CRC-16 of it where
// the note's own checksum holds. Some encoders reckon that over other bytes; what they say of the length is good all the same.
struct Mp3Note {
  uint64_t begin = 0;
  uint64_t end = 0;
  std::optional<uint16_t> crc;
};

// None without a note, or with one that does not say.
std::optional<Mp3Note> FindMp3Note(ByteSource& bytes);
// Whether the bytes are those that the note was made of, as far as it says; false also where they are not all there.
bool NoteHolds(ByteSource& bytes, const Mp3Note& note);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MP3_FRAME_H_
