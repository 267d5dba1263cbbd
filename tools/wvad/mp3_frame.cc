// SPDX-License-Identifier: Apache-2.0
#include "wvad/mp3_frame.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "wvad/byte_order.h"

namespace TSEG::tool {
namespace {

constexpr int kBitRates[5][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // version 1, layer I
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // version 1, layer II
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // version 1, layer III
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // version 2, layer I
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},          // version 2, layers II and III
};

// The CRC-16 of the polynomial 0x8005, least significant bit first, from 0.
uint16_t UpdateCrc(uint16_t crc, const unsigned char* bytes, size_t count) {
  static const std::array<uint16_t, 256> kTable = [] {
    std::array<uint16_t, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
      unsigned value = i;
      for (int bit = 0; bit < 8; ++bit) value = (value & 1U) != 0 ? value >> 1 ^ 0xA001U : value >> 1;
      table[i] = static_cast<uint16_t>(value);
    }
    return table;
  }();
  for (size_t i = 0; i < count; ++i) crc = static_cast<uint16_t>(crc >> 8 ^ kTable[(crc ^ bytes[i]) & 0xFFU]);
  return crc;
}

}  // namespace

std::optional<Mp3Frame> ParseMp3Frame(const unsigned char* header) {
  if (header[0] != 0xFF || (header[1] & 0xE0U) != 0xE0U) return std::nullopt;
  const unsigned version_bits = header[1] >> 3 & 3U;
  const unsigned layer_bits = header[1] >> 1 & 3U;
  const unsigned bit_rate = header[2] >> 4;
  const unsigned rate = header[2] >> 2 & 3U;
  if (version_bits == 1 || layer_bits == 0 || bit_rate == 0 || bit_rate == 15 || rate == 3) return std::nullopt;
  constexpr int kRates[] = {44100, 48000, 32000};
  Mp3Frame frame;
  frame.version = version_bits == 3 ? 1 : version_bits == 2 ? 2 : 25;
  frame.layer = 4 - static_cast<int>(layer_bits);
  frame.rate_hz = kRates[rate] / (frame.version == 1 ? 1 : frame.version == 2 ? 2 : 4);
  const bool first = frame.version == 1;
  const int row = first ? frame.layer - 1 : frame.layer == 1 ? 3 : 4;
  const int bits = kBitRates[row][bit_rate] * 1000;
  const int padding = header[2] >> 1 & 1;
  if (frame.layer == 1) {
    frame.bytes = static_cast<size_t>(12 * bits / frame.rate_hz + padding) * 4;
  } else {
    frame.bytes = static_cast<size_t>((frame.layer == 3 && !first ? 72 : 144) * bits / frame.rate_hz + padding);
  }
  return frame;
}

uint64_t BehindId3(ByteSource& bytes) {
  std::array<unsigned char, 10> head{};
  if (bytes.ReadAt(0, head.data(), head.size()) < head.size() || std::memcmp(head.data(), "ID3", 3) != 0) return 0;
  uint64_t size = 0;
  for (size_t i = 6; i < 10; ++i) size = size << 7 | (head[i] & 0x7FU);
  constexpr unsigned char kFooter = 0x10;
  return head.size() + size + ((head[5] & kFooter) != 0 ? head.size() : 0);
}

bool StartsWithMp3Frames(ByteSource& bytes) {
  std::optional<Mp3Frame> before;
  uint64_t at = 0;
  for (int i = 0; i < 3; ++i) {
    std::array<unsigned char, 4> header{};
    if (bytes.ReadAt(at, header.data(), header.size()) < header.size()) return false;
    const std::optional<Mp3Frame> frame = ParseMp3Frame(header.data());
    if (!frame) return false;
    if (before && (frame->version != before->version || frame->layer != before->layer || frame->rate_hz != before->rate_hz)) return false;
    at += frame->bytes;
    before = frame;
  }
  return true;
}

std::optional<Mp3Note> FindMp3Note(ByteSource& bytes) {
  constexpr size_t kTagOffsets[] = {13, 21, 36};  // behind the side information, which has three sizes
  constexpr size_t kToBytes = 12, kToLength = 148, kToCrc = 152, kToCheck = 154, kToEnd = 156;
  std::array<unsigned char, 36 + kToEnd> frame{};
  const uint64_t begin = BehindId3(bytes);
  if (bytes.ReadAt(begin, frame.data(), frame.size()) < frame.size()) return std::nullopt;
  const std::optional<Mp3Frame> header = ParseMp3Frame(frame.data());
  if (!header) return std::nullopt;
  for (const size_t offset : kTagOffsets) {
    const unsigned char* tag = frame.data() + offset;
    if (std::memcmp(tag, "Xing", 4) != 0 && std::memcmp(tag, "Info", 4) != 0) continue;
    constexpr uint64_t kAllFields = 15;  // the note stands where it does only behind all four: frames, bytes, ...
    if ((Big(tag + 4, 4) & kAllFields) != kAllFields) return std::nullopt;
    // The tag has a checksum of its own, over everything of the frame before it.
    if (UpdateCrc(0, frame.data(), offset + kToCheck) == Big(tag + kToCheck, 2)) {
      return Mp3Note{begin + header->bytes, begin + Big(tag + kToLength, 4), static_cast<uint16_t>(Big(tag + kToCrc, 2))};
    }
    return Mp3Note{begin + header->bytes, begin + Big(tag + kToBytes, 4), std::nullopt};
  }
  return std::nullopt;
}

bool NoteHolds(ByteSource& bytes, const Mp3Note& note) {
  if (!note.crc) return true;
  std::vector<unsigned char> piece(1 << 16);
  uint16_t crc = 0;
  for (uint64_t at = note.begin; at < note.end;) {
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(piece.size(), note.end - at));
    if (bytes.ReadAt(at, piece.data(), wanted) < wanted) return false;
    crc = UpdateCrc(crc, piece.data(), wanted);
    at += wanted;
  }
  return crc == *note.crc;
}

}  // namespace TSEG::tool
