// SPDX-License-Identifier: Apache-2.0
#include "wvad/container.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "wvad/byte_order.h"
#include "wvad/mp3_frame.h"
#include "wvad/packet_marks.h"

namespace TSEG::tool {
namespace {

using namespace std::string_view_literals;

struct Mark {
  std::string_view start;
  size_t form_offset;     // where `form` stands
  std::string_view form;  // empty: the start says enough
  Container container;
};

constexpr Mark kMarks[] = {
    {"RIFF"sv, 8, "WAVE"sv, Container::kWave},
    {"RIFX"sv, 8, "WAVE"sv, Container::kOther},
    {"RF64"sv, 8, "WAVE"sv, Container::kOther},
    {"riff\x2E\x91\xCF\x11"sv, 0, ""sv, Container::kOther},  // W64
    {"FORM"sv, 8, "AIFF"sv, Container::kAiff},
    {"FORM"sv, 8, "AIFC"sv, Container::kAiff},
    {"FORM"sv, 8, "8SVX"sv, Container::kOther},
    {".snd"sv, 0, ""sv, Container::kAu},
    {"caff"sv, 0, ""sv, Container::kOther},
    {"fLaC"sv, 0, ""sv, Container::kFlac},
    {"OggS"sv, 0, ""sv, Container::kOgg},
    {"NIST_1A"sv, 0, ""sv, Container::kOther},
    {"Creative Voi"sv, 0, ""sv, Container::kOther},
    {"ID3\x02"sv, 0, ""sv, Container::kMp3},
    {"ID3\x03"sv, 0, ""sv, Container::kMp3},
    {"ID3\x04"sv, 0, ""sv, Container::kMp3},
    {""sv, 4, "ftyp"sv, Container::kBoxedMedia},
    {""sv, 4, "moov"sv, Container::kBoxedMedia},
    {""sv, 4, "mdat"sv, Container::kBoxedMedia},
    {""sv, 4, "wide"sv, Container::kBoxedMedia},
    {""sv, 4, "skip"sv, Container::kBoxedMedia},
    {"\x1A\x45\xDF\xA3"sv, 0, ""sv, Container::kForwardMedia},                  // Matroska, WebM
    {"\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, 0, ""sv, Container::kForwardMedia},  // ASF: WMA, WMV
    {"#!AMR"sv, 0, ""sv, Container::kForwardMedia},
    {"FLV\x01"sv, 0, ""sv, Container::kForwardMedia},
    {"\x00\x00\x01\xBA"sv, 0, ""sv, Container::kForwardMedia},  // MPEG program stream
    {"RIFF"sv, 8, "AVI "sv, Container::kMedia},
    {".RMF"sv, 0, ""sv, Container::kMedia},
    {"ADIF"sv, 0, ""sv, Container::kForwardMedia},
    {"wvpk"sv, 0, ""sv, Container::kMedia},
    {"MAC "sv, 0, ""sv, Container::kMedia},
    {"TTA1"sv, 0, ""sv, Container::kMedia},
    {"MPCK"sv, 0, ""sv, Container::kMedia},
    {"DSD "sv, 0, ""sv, Container::kMedia},
    {"\x7F\xFE\x80\x01"sv, 0, ""sv, Container::kForwardMedia},  // DTS
    {"#EXTM3U"sv, 0, ""sv, Container::kMedia},
    {"ffconcat version"sv, 0, ""sv, Container::kMedia},
};

// Writers that cannot come back put 0 or something close to the greatest number there.
constexpr uint64_t kUnknownFrom = 0x7FFF0000;

bool Is(const unsigned char* bytes, const char* id) { return std::memcmp(bytes, id, 4) == 0; }

void ReadWaveFormat(ByteSource& bytes, uint64_t at, Stretch* stretch) {
  std::array<unsigned char, 40> chunk{};
  if (bytes.ReadAt(at, chunk.data(), chunk.size()) < 16) return;
  constexpr uint64_t kExtensible = 0xFFFE;  // the format proper stands in the chunk's extension
  const uint64_t tag = Little(chunk.data(), 2);
  const int format = static_cast<int>(tag == kExtensible ? Little(chunk.data() + 24, 2) : tag);
  stretch->channels = static_cast<int>(Little(chunk.data() + 2, 2));
  stretch->rate_hz = static_cast<int>(Little(chunk.data() + 4, 4));
  const auto block = static_cast<size_t>(Little(chunk.data() + 12, 2));
  if (stretch->channels > 0) stretch->form = RawFormOfWave(format, block / static_cast<size_t>(stretch->channels));
}

// Whether a further chunk of RIFF lies at `at`, as after one that is empty by right.
bool ChunkLiesAt(ByteSource& bytes, uint64_t at, uint64_t length) {
  std::array<unsigned char, 8> chunk{};
  if (bytes.ReadAt(at, chunk.data(), chunk.size()) < chunk.size()) return false;
  const bool named = std::all_of(chunk.begin(), chunk.begin() + 4, [](unsigned char c) { return c >= ' ' && c <= '~'; });
  return named && at + chunk.size() + Little(chunk.data() + 4, 4) <= length;
}

std::optional<Stretch> FindInWave(ByteSource& bytes) {
  Stretch stretch;
  std::array<unsigned char, 12> head{};
  if (bytes.ReadAt(0, head.data(), head.size()) < head.size()) return std::nullopt;
  const uint64_t riff_end = Little(head.data() + 4, 4) + 8;
  std::array<unsigned char, 8> chunk{};
  for (uint64_t at = 12; bytes.ReadAt(at, chunk.data(), chunk.size()) == chunk.size();) {
    const uint64_t size = Little(chunk.data() + 4, 4);
    at += chunk.size();
    if (Is(chunk.data(), "fmt ")) ReadWaveFormat(bytes, at, &stretch);
    if (Is(chunk.data(), "data")) {
      stretch.begin = at;
      const std::optional<uint64_t> length = bytes.length();
      const bool goes_on = !length || (*length > at && (*length > riff_end || !ChunkLiesAt(bytes, at, *length)));
      const bool unknown = size >= kUnknownFrom && (!length || at + size > *length);
      if (!unknown && !(size == 0 && goes_on)) stretch.declared = size;
      stretch.unclosed = size == 0 && length && goes_on;
      return stretch;
    }
    at += size + size % 2;
  }
  return std::nullopt;
}

std::optional<Stretch> FindInAiff(ByteSource& bytes) {
  std::array<unsigned char, 8> chunk{};
  for (uint64_t at = 12; bytes.ReadAt(at, chunk.data(), chunk.size()) == chunk.size();) {
    const uint64_t size = Big(chunk.data() + 4, 4);
    constexpr uint64_t kHead = 16;  // of the chunk, with two numbers for blocks of storage media
    if (Is(chunk.data(), "SSND")) return Stretch{at + kHead, std::max(size + 8, kHead) - kHead, false, nullptr, 0, 0};
    at += 8 + size + size % 2;
  }
  return std::nullopt;
}

std::optional<Stretch> FindInAu(ByteSource& bytes) {
  std::array<unsigned char, 12> head{};
  if (bytes.ReadAt(0, head.data(), head.size()) < head.size()) return std::nullopt;
  Stretch stretch;
  stretch.begin = Big(head.data() + 4, 4);
  if (const uint64_t size = Big(head.data() + 8, 4); size < kUnknownFrom) stretch.declared = size;
  return stretch;
}

// A tag is MP3's custom, but stands before FLAC too.
Container BehindTag(ByteSource& bytes, Container container) {
  if (container != Container::kMp3) return container;
  constexpr uint64_t kFurthest = 1 << 19;  // what a stream keeps, however far a decoder then goes
  const uint64_t at = BehindId3(bytes);
  std::array<char, 4> behind{};
  const bool flac =
      at <= kFurthest && bytes.ReadAt(at, behind.data(), behind.size()) == behind.size() && std::memcmp(behind.data(), "fLaC", 4) == 0;
  return flac ? Container::kFlac : container;
}

}  // namespace

Container Recognise(ByteSource& bytes) {
  std::array<char, 16> first{};
  const size_t got = bytes.ReadAt(0, first.data(), first.size());
  const std::string_view start(first.data(), got);
  for (const Mark& mark : kMarks) {
    if (start.substr(0, mark.start.size()) != mark.start) continue;
    if (mark.form.empty() || (got >= 12 && start.substr(mark.form_offset, mark.form.size()) == mark.form))
      return BehindTag(bytes, mark.container);
  }
  if (StartsWithMp3Frames(bytes)) return Container::kMp3;
  return StartsWithMediaPackets(bytes) ? Container::kForwardMedia : Container::kNone;
}

std::optional<Stretch> FindStretch(ByteSource& bytes, Container container) {
  switch (container) {
    case Container::kWave:
      return FindInWave(bytes);
    case Container::kAiff:
      return FindInAiff(bytes);
    case Container::kAu:
      return FindInAu(bytes);
    default:
      return std::nullopt;
  }
}

}  // namespace TSEG::tool
