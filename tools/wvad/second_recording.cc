// SPDX-License-Identifier: Apache-2.0
#include "wvad/second_recording.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "wvad/byte_order.h"
#include "wvad/mp3_frame.h"

namespace TSEG::tool {
namespace {

// What lies at `begin` and behind it, as if nothing were before it and nothing behind `end`.
class Rest : public ByteSource {
 public:
  Rest(ByteSource& bytes, uint64_t begin, uint64_t end) : bytes_(bytes), begin_(begin), end_(std::max(begin, end)) {}
  size_t ReadAt(uint64_t offset, void* out, size_t count) override {
    const uint64_t there = end_ - begin_;
    if (offset >= there) return 0;
    return bytes_.ReadAt(begin_ + offset, out, static_cast<size_t>(std::min<uint64_t>(count, there - offset)));
  }
  std::optional<uint64_t> length() const override { return end_ - begin_; }

 private:
  ByteSource& bytes_;
  uint64_t begin_, end_;
};

// By a mark that is no tag's: a tag may also stand at the end of what it describes.
bool IsRecording(ByteSource& rest) {
  switch (Recognise(rest)) {
    case Container::kWave:
    case Container::kAiff:
    case Container::kAu:
    case Container::kFlac:
    case Container::kOgg:
      return true;
    default:
      return false;
  }
}

// How long the tag at the begin of `rest` is; 0 where there is none.
uint64_t TagLength(ByteSource& rest) {
  constexpr uint64_t kId3v1 = 128, kApeHeader = 32;
  std::array<unsigned char, 16> head{};
  if (rest.ReadAt(0, head.data(), head.size()) < head.size()) return 0;
  if (std::memcmp(head.data(), "TAG", 3) == 0) return kId3v1;
  if (std::memcmp(head.data(), "APETAGEX", 8) == 0) return kApeHeader + Little(head.data() + 12, 4);
  return BehindId3(rest);
}

// How long the chunk at the begin of `rest` is, with what fills it up to an even length; 0 where there is none, or not all of it.
uint64_t ChunkLength(ByteSource& rest, Container container) {
  if (container != Container::kWave && container != Container::kAiff) return 0;
  std::array<unsigned char, 8> head{};
  if (rest.ReadAt(0, head.data(), head.size()) < head.size()) return 0;
  if (!std::all_of(head.begin(), head.begin() + 4, [](unsigned char c) { return c >= ' ' && c <= '~'; })) return 0;
  const uint64_t size = container == Container::kAiff ? Big(head.data() + 4, 4) : Little(head.data() + 4, 4);
  return head.size() + size <= *rest.length() ? head.size() + size + size % 2 : 0;
}

}  // namespace

bool AnotherBegins(ByteSource& bytes, Container container, uint64_t end, uint64_t known) {
  constexpr int kMost = 1000;  // of chunks and tags
  // Not everyone fills a chunk up.
  if (Rest unfilled(bytes, end, known); IsRecording(unfilled)) return true;
  uint64_t at = end + (container == Container::kWave || container == Container::kAiff ? end % 2 : 0);
  for (int i = 0; i < kMost && at < known; ++i) {
    Rest rest(bytes, at, known);
    if (IsRecording(rest)) return true;
    const uint64_t chunk = ChunkLength(rest, container);
    const uint64_t length = chunk > 0 ? chunk : TagLength(rest);
    if (length == 0) return false;
    at += length;
  }
  return false;
}

}  // namespace TSEG::tool
