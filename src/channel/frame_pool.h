// SPDX-License-Identifier: Apache-2.0
//
// Memory for frames that come and go: FramePool (raw pieces of one size), RecordPool<T> (constructed records), PointerQueue<T> (a ring of
// pointers to them).
//
// All three keep what they have once allocated, so that a steady flow of frames allocates nothing; growth happens only when more frames are
// out at once than ever before. No locks: each belongs to one thread at a time. Allocation failure leaves as std::bad_alloc.
#ifndef WVAD_CHANNEL_FRAME_POOL_H_
#define WVAD_CHANNEL_FRAME_POOL_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "buffers/aligned_buffer.h"

namespace TSEG {

// Hands out pieces of `stride` elements of `element_bytes` bytes and takes them back. Pieces are cut from blocks of `capacity` elements,
// rounded down to a multiple of the stride (but never below one piece). A request is served from the released pieces, the last one first,
// then from the current block while it lasts, and last by a new block, which becomes the current one: what frames come and go through stays
// small and in the caches, and the rest of the block costs no memory. Pieces are not cleared.
class FramePool {
 public:
  FramePool(int32_t capacity, int32_t stride, size_t element_bytes)
      : capacity_(capacity), stride_(stride < 1 ? 1 : stride), element_bytes_(element_bytes) {
    blocks_.reserve(64);
    AddBlock();
  }
  FramePool(const FramePool&) = delete;
  FramePool& operator=(const FramePool&) = delete;

  void* Take() {
    if (!free_.empty()) {
      void* piece = free_.back();
      free_.pop_back();
      return piece;
    }
    for (;;) {
      Block& block = blocks_[current_];
      if (block.given < block.capacity) {
        void* piece = block.memory.data() + static_cast<size_t>(block.given) * element_bytes_;
        block.given += stride_;
        return piece;
      }
      if (current_ + 1 < blocks_.size()) {  // only after a re-cut of several blocks
        ++current_;
      } else {
        AddBlock();
      }
    }
  }

  // Takes back a piece that Take gave; null is ignored.
  void Give(void* piece) {
    if (piece != nullptr) free_.push_back(piece);
  }

  // Keeps the first block, empties it and frees the others. All pieces that are out become invalid.
  void Reset() {
    blocks_.resize(1);
    blocks_[0].given = 0;
    current_ = 0;
    free_.clear();
  }

  // Changes the size of a piece and cuts every block anew, with nothing given out. All pieces that are out become invalid.
  void SetStride(int32_t stride) {
    stride_ = stride < 1 ? 1 : stride;
    if (stride_ > capacity_) blocks_.clear();  // a block would be shorter than one piece
    size_t pieces = 0;
    for (Block& block : blocks_) {
      block.capacity = CutCapacity();
      block.given = 0;
      pieces += static_cast<size_t>(block.capacity / stride_);
    }
    current_ = 0;
    free_.clear();
    free_.reserve(pieces);
    if (blocks_.empty()) AddBlock();
  }

  int32_t stride() const { return stride_; }
  int32_t block_capacity() const { return CutCapacity(); }  // elements
  size_t blocks() const { return blocks_.size(); }
  size_t released() const { return free_.size(); }

 private:
  struct Block {
    int32_t capacity = 0;  // elements, a multiple of the stride
    int32_t given = 0;     // elements handed out
    AlignedBuffer<std::byte> memory;
  };

  int32_t CutCapacity() const { return capacity_ < stride_ ? stride_ : capacity_ - capacity_ % stride_; }

  // The room is that of the uncut capacity, so that a later stride may use it whole. It is left uninitialised: memory that no frame has
  // reached yet costs nothing.
  void AddBlock() {
    Block block;
    block.capacity = CutCapacity();
    const size_t elements = static_cast<size_t>(capacity_ < stride_ ? stride_ : capacity_);
    block.memory = AlignedBuffer<std::byte>::Uncleared(elements * element_bytes_);
    free_.reserve((blocks_.size() + 1) * static_cast<size_t>(block.capacity / stride_));
    blocks_.push_back(std::move(block));
    current_ = blocks_.size() - 1;
  }

  int32_t capacity_;
  int32_t stride_;
  size_t element_bytes_;
  std::vector<Block> blocks_;
  size_t current_ = 0;
  std::vector<void*> free_;
};

// Hands out records of type T, constructed 32 at a time, and takes them back. A record comes as its last user left it. The one given back
// last is handed out first, which keeps a short queue of frames within the processor's nearest memory. The first block is made by the
// first request.
template <typename T>
class RecordPool {
 public:
  static constexpr size_t kPerBlock = 32;

  RecordPool() = default;
  RecordPool(const RecordPool&) = delete;
  RecordPool& operator=(const RecordPool&) = delete;

  T* Take() {
    if (free_.empty()) AddBlock();
    T* record = free_.back();
    free_.pop_back();
    return record;
  }
  void Give(T* record) { free_.push_back(record); }

  // Keeps the first block and frees the others. All records that are out become invalid.
  void Reset() {
    if (blocks_.empty()) return;
    blocks_.resize(1);
    free_.clear();
    Offer(blocks_[0].get());
  }

  size_t blocks() const { return blocks_.size(); }
  size_t available() const { return free_.size(); }

 private:
  void AddBlock() {
    free_.reserve((blocks_.size() + 1) * kPerBlock);
    blocks_.push_back(std::make_unique<T[]>(kPerBlock));
    Offer(blocks_.back().get());
  }
  void Offer(T* block) {
    for (size_t i = kPerBlock; i > 0; --i) free_.push_back(block + i - 1);
  }

  std::vector<std::unique_ptr<T[]>> blocks_;
  std::vector<T*> free_;
};

// A queue of pointers in a ring whose size is a power of two; it doubles when full and never shrinks. Owns nothing that it points to.
template <typename T>
class PointerQueue {
 public:
  PointerQueue() : ring_(16) {}

  size_t size() const { return tail_ - head_; }
  bool empty() const { return head_ == tail_; }
  T* operator[](size_t i) const { return ring_[(head_ + i) & (ring_.size() - 1)]; }  // 0 is the oldest
  T* front() const { return (*this)[0]; }
  T* back() const { return (*this)[size() - 1]; }
  void push_back(T* p) {
    if (size() == ring_.size()) Grow();
    ring_[tail_ & (ring_.size() - 1)] = p;
    ++tail_;
  }
  void pop_front() { ++head_; }
  void clear() { head_ = tail_ = 0; }

 private:
  void Grow() {
    std::vector<T*> bigger(ring_.size() * 2);
    const size_t n = size();
    for (size_t i = 0; i < n; ++i) bigger[i] = (*this)[i];
    ring_.swap(bigger);
    head_ = 0;
    tail_ = n;
  }

  std::vector<T*> ring_;
  size_t head_ = 0;
  size_t tail_ = 0;
};

}  // namespace TSEG

#endif  // WVAD_CHANNEL_FRAME_POOL_H_
