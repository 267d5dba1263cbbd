// SPDX-License-Identifier: Apache-2.0
//
// FrameHistory<T>: one value for each frame of a session, numbered from 0, of which the oldest may be dropped.
//
//      frame   0 . . . kept_from() . . . size()-1        dropped frames count as before and read as T()
//              dropped | kept
//
// The memory is that of the frames kept, at most doubled, and of kSlack more: values move to the front only when as many have been dropped
// as there are left, so that a frame costs the same on average however long the session is. A steady flow allocates nothing. One thread at
// a time; growth fails with std::bad_alloc.
#ifndef WVAD_CHANNEL_FRAME_HISTORY_H_
#define WVAD_CHANNEL_FRAME_HISTORY_H_

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

namespace TSEG {

template <typename T>
class FrameHistory {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  static constexpr size_t kSlack = 1024;  // values that are let lie before any are moved

  FrameHistory() = default;
  // The values of frames 0 on.
  FrameHistory(std::initializer_list<T> values) : values_(values) {}
  FrameHistory(std::vector<T> values) : values_(std::move(values)) {}

  // Frames so far, those dropped among them.
  size_t size() const { return moved_ + values_.size(); }
  bool empty() const { return size() == 0; }
  size_t kept_from() const { return kept_from_; }
  size_t capacity() const { return values_.capacity(); }
  void reserve(size_t n) { values_.reserve(n); }

  void push_back(T value) { values_.push_back(value); }
  void clear() {
    values_.clear();
    moved_ = kept_from_ = 0;
  }

  // The value of frame `i`, which is below size(); T() if it has been dropped.
  T operator[](size_t i) const { return i < kept_from_ ? T() : values_[i - moved_]; }
  T back() const { return values_.back(); }
  // Gives frame `i`, which has not been dropped, another value.
  void set(size_t i, T value) { values_[i - moved_] = value; }

  // Drops all frames below `n`, but never the newest, and none if `n` is not above kept_from().
  void DropBefore(size_t n) {
    if (values_.empty()) return;
    n = std::min(n, size() - 1);
    if (n <= kept_from_) return;
    kept_from_ = n;
    const size_t dropped = n - moved_;
    if (dropped < kSlack || dropped * 2 < values_.size()) return;
    values_.erase(values_.begin(), values_.begin() + static_cast<std::ptrdiff_t>(dropped));
    moved_ = n;
  }

 private:
  std::vector<T> values_;  // of frames moved_ on
  size_t moved_ = 0;       // frames whose values are no longer in values_
  size_t kept_from_ = 0;   // frames that have been dropped; moved_ or above
};

}  // namespace TSEG

#endif  // WVAD_CHANNEL_FRAME_HISTORY_H_
