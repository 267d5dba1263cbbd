// SPDX-License-Identifier: Apache-2.0
//
// ByteView: a bounds-checked look at bytes that came from outside, little-endian. Every read states its extent first; a read that does
// not fit gives nothing. Owns nothing, allocates nothing.
#ifndef WVAD_BASE_BYTE_CURSOR_H_
#define WVAD_BASE_BYTE_CURSOR_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace TSEG {

class ByteView {
 public:
  ByteView() = default;
  ByteView(const void* data, size_t size) : data_(static_cast<const uint8_t*>(data)), size_(size) {}

  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  // Whether `length` bytes stand at `offset`.
  bool holds(uint64_t offset, uint64_t length) const { return offset <= size_ && length <= size_ - offset; }

  // The bytes [offset, offset + length), or nothing.
  std::optional<ByteView> sub(uint64_t offset, uint64_t length) const {
    if (!holds(offset, length)) return std::nullopt;
    return ByteView(data_ + offset, static_cast<size_t>(length));
  }
  std::optional<uint16_t> u16(uint64_t offset) const {
    if (!holds(offset, 2)) return std::nullopt;
    return static_cast<uint16_t>(data_[offset] | (data_[offset + 1] << 8));
  }
  std::optional<uint32_t> u32(uint64_t offset) const {
    if (!holds(offset, 4)) return std::nullopt;
    return static_cast<uint32_t>(data_[offset]) | (static_cast<uint32_t>(data_[offset + 1]) << 8) |
           (static_cast<uint32_t>(data_[offset + 2]) << 16) | (static_cast<uint32_t>(data_[offset + 3]) << 24);
  }
  // Whether the bytes at `offset` begin with `text` and its NUL, within `limit` bytes (strncmp over `limit`). False where they do not fit.
  bool matches(uint64_t offset, const char* text, size_t limit) const {
    const size_t n = std::strlen(text) + 1 < limit ? std::strlen(text) + 1 : limit;
    return holds(offset, n) && std::memcmp(data_ + offset, text, n) == 0;
  }

 private:
  const uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace TSEG

#endif  // WVAD_BASE_BYTE_CURSOR_H_
