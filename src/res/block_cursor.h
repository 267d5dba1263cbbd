// SPDX-License-Identifier: Apache-2.0
//
// BlockCursor: hands out the one block of a model record piece by piece.
//
// A model's block has a stated size, worked out from the header. The cursor keeps account against that size, so that what does not fit
// is noticed, and places each piece on 64 bytes, for which the block itself is a little larger.
#ifndef WVAD_RES_BLOCK_CURSOR_H_
#define WVAD_RES_BLOCK_CURSOR_H_

#include <cstddef>
#include <cstdint>
#include <new>

#include "buffers/aligned_buffer.h"

namespace TSEG {

// `factor` times `bytes`, without the part behind the point. std::bad_alloc where no memory is so large, as a damaged header may ask for:
// the conversion of such a number would be undefined.
inline size_t StatedBytes(uint64_t bytes, double factor) {
  const double stated = static_cast<double>(bytes) * factor;
  if (stated >= static_cast<double>(PTRDIFF_MAX)) throw std::bad_alloc();
  return static_cast<size_t>(stated);
}

class BlockCursor {
 public:
  // Replaces `block` by one of `stated_bytes` and the slack for up to 256 pieces; all zero, aligned to 64 bytes.
  BlockCursor(AlignedBuffer<uint8_t>* block, size_t stated_bytes) : left_(stated_bytes) {
    *block = AlignedBuffer<uint8_t>(stated_bytes + 256 * kAlignment, kAlignment);
    next_ = block->data();
    end_ = next_ + block->size();
  }

  // `bytes` of the block, or null when the stated size is spent.
  void* Take(uint64_t bytes) {
    if (bytes > left_ || bytes > static_cast<uint64_t>(end_ - next_)) return nullptr;
    uint8_t* piece = next_;
    left_ -= static_cast<size_t>(bytes);
    const size_t padded = (static_cast<size_t>(bytes) + kAlignment - 1) / kAlignment * kAlignment;
    const size_t room = static_cast<size_t>(end_ - next_);
    next_ += padded < room ? padded : room;
    return piece;
  }
  size_t left() const { return left_; }

 private:
  static constexpr size_t kAlignment = 64;
  size_t left_;
  uint8_t* next_ = nullptr;
  uint8_t* end_ = nullptr;
};

}  // namespace TSEG

#endif  // WVAD_RES_BLOCK_CURSOR_H_
