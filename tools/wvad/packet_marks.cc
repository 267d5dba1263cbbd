// SPDX-License-Identifier: Apache-2.0
#include "wvad/packet_marks.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace TSEG::tool {
namespace {

using Head = std::array<unsigned char, 7>;

// The length of a packet that begins so, in bytes; 0 for what is none.
using LengthOf = size_t (*)(const Head& head);

size_t AdtsLength(const Head& head) {
  if (head[0] != 0xFF || (head[1] & 0xF6U) != 0xF0U || (head[2] >> 2 & 15U) > 12) return 0;
  const size_t length = (head[3] & 3U) << 11 | static_cast<size_t>(head[4]) << 3 | head[5] >> 5;
  return length > 7 ? length : 0;
}

size_t Ac3Length(const Head& head) {
  if (head[0] != 0x0B || head[1] != 0x77) return 0;
  if (head[5] >> 3 > 10) return 2 * (((head[2] & 7U) << 8 | head[3]) + 1U);  // E-AC-3
  constexpr std::array<size_t, 19> kKilobits = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 448, 512, 576, 640};
  const unsigned rate = head[4] >> 6;
  const unsigned row = head[4] & 63U;
  if (rate == 3 || row >= 2 * kKilobits.size()) return 0;
  const size_t kilobits = kKilobits[row / 2];
  // 1536 samples in words of two bytes; at 44.1 kHz every other packet has a word more.
  if (rate == 1) return 2 * (kilobits * 96000 / 44100 + row % 2);
  return kilobits * (rate == 0 ? 4 : 6);
}

size_t TransportLength(const Head& head) { return head[0] == 0x47 ? 188 : 0; }

bool Follow(ByteSource& bytes, LengthOf length_of, int packets) {
  uint64_t at = 0;
  for (int i = 0; i < packets; ++i) {
    Head head{};
    if (bytes.ReadAt(at, head.data(), head.size()) < head.size()) return false;
    const size_t length = length_of(head);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

}  // namespace

bool StartsWithMediaPackets(ByteSource& bytes) {
  return Follow(bytes, AdtsLength, 3) || Follow(bytes, Ac3Length, 3) || Follow(bytes, TransportLength, 5);
}

}  // namespace TSEG::tool
