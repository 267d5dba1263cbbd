// SPDX-License-Identifier: Apache-2.0
//
// FrameIndexQueue: a first-in first-out queue of frame numbers.
//
// A ring whose size is a power of two. It doubles when full and never shrinks, so that a steady flow allocates nothing.
#ifndef WVAD_CHANNEL_FRAME_INDEX_QUEUE_H_
#define WVAD_CHANNEL_FRAME_INDEX_QUEUE_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace TSEG {

class FrameIndexQueue {
 public:
  FrameIndexQueue() : ring_(256) {}

  bool empty() const { return head_ == tail_; }
  size_t size() const { return tail_ - head_; }
  int32_t front() const { return ring_[head_ & (ring_.size() - 1)]; }
  int32_t operator[](size_t i) const { return ring_[(head_ + i) & (ring_.size() - 1)]; }  // 0 is the oldest
  void pop_front() { ++head_; }
  void push_back(int32_t frame) {
    if (size() == ring_.size()) Grow();
    ring_[tail_ & (ring_.size() - 1)] = frame;
    ++tail_;
  }
  void clear() { head_ = tail_ = 0; }
  void swap(FrameIndexQueue& other) {
    ring_.swap(other.ring_);
    std::swap(head_, other.head_);
    std::swap(tail_, other.tail_);
  }

 private:
  void Grow() {
    std::vector<int32_t> bigger(ring_.size() * 2);
    const size_t n = size();
    for (size_t i = 0; i < n; ++i) bigger[i] = (*this)[i];
    ring_.swap(bigger);
    head_ = 0;
    tail_ = n;
  }

  std::vector<int32_t> ring_;
  size_t head_ = 0;  // counts of frames taken out and put in since the last clear
  size_t tail_ = 0;
};

}  // namespace TSEG

#endif  // WVAD_CHANNEL_FRAME_INDEX_QUEUE_H_
