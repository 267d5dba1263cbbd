// SPDX-License-Identifier: Apache-2.0
#include "wvad/second_container.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "wvad/byte_order.h"

namespace TSEG::tool {
namespace {

using namespace std::string_view_literals;

constexpr size_t kHead = 24;  // the longest, of an object of ASF
using Head = std::array<unsigned char, kHead>;

// What a part's head says: that another recording begins with it, or else how long the part is; 0 where that is open.
struct Part {
  bool another = false;
  uint64_t length = 0;
};

bool Is(const Head& head, size_t at, std::string_view mark) { return std::memcmp(head.data() + at, mark.data(), mark.size()) == 0; }

class Boxes {
 public:
  static constexpr uint64_t kFirst = 0;
  Part Look(const Head& head) {
    if (Is(head, 4, "ftyp"sv) && described_ && sound_ && (!fragments_ || closed_)) return {true, 0};
    described_ |= Is(head, 4, "moov"sv);
    sound_ |= Is(head, 4, "mdat"sv);
    fragments_ |= Is(head, 4, "moof"sv);
    closed_ |= Is(head, 4, "mfra"sv);
    const uint64_t length = Big(head.data(), 4);
    return {false, length == 1 ? Big(head.data() + 8, 8) : length};
  }

 private:
  bool described_ = false, sound_ = false, fragments_ = false, closed_ = false;
};

class Objects {
 public:
  static constexpr uint64_t kFirst = 0;
  Part Look(const Head& head) {
    constexpr std::string_view kHeader = "\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv;
    constexpr std::string_view kData = "\x36\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv;
    if (Is(head, 0, kHeader) && sound_) return {true, 0};
    sound_ |= Is(head, 0, kData);
    return {false, Little(head.data() + 16, 8)};
  }

 private:
  bool sound_ = false;
};

class Chunks {
 public:
  static constexpr uint64_t kFirst = 8;  // behind the file's own head
  Part Look(const Head& head) {
    if (Is(head, 0, "caff\0\1\0\0desc"sv) && sound_) return {true, 0};
    sound_ |= Is(head, 0, "data"sv);
    constexpr uint64_t kOwn = 12;
    const uint64_t size = Big(head.data() + 4, 8);
    return {false, size <= UINT64_MAX - kOwn ? kOwn + size : 0};
  }

 private:
  bool sound_ = false;
};

template <typename Parts>
std::optional<uint64_t> Walk(ByteSource& bytes, uint64_t known) {
  constexpr int kMost = 1'000'000;  // of parts: ten fragments a second for half a day
  constexpr uint64_t kLeast = 8;    // bytes of one
  Parts parts;
  Head head{};
  uint64_t at = Parts::kFirst;
  for (int i = 0; i < kMost && at < known && known - at >= kHead; ++i) {
    if (bytes.ReadAt(at, head.data(), head.size()) < head.size()) return std::nullopt;
    const Part part = parts.Look(head);
    if (part.another) return at;
    if (part.length < kLeast || part.length > known - at) return std::nullopt;
    at += part.length;
  }
  return std::nullopt;
}

}  // namespace

std::optional<uint64_t> BeginOfSecond(ByteSource& bytes, Container container, uint64_t known) {
  if (container == Container::kBoxedMedia) return Walk<Boxes>(bytes, known);
  Head head{};
  if (bytes.ReadAt(0, head.data(), head.size()) < head.size()) return std::nullopt;
  if (Is(head, 0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv)) return Walk<Objects>(bytes, known);
  if (Is(head, 0, "caff"sv)) return Walk<Chunks>(bytes, known);
  return std::nullopt;
}

}  // namespace TSEG::tool
