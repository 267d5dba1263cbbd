// SPDX-License-Identifier: Apache-2.0
//
// TrailingHistory: the last part of an endless sequence, under the numbers that its values have had from the start.
//
// Room is given back when most of what is held is not wanted any more, so that appending costs a constant on average and does not allocate
// once the usual length has been reached.
#ifndef WVAD_STREAM_TRAILING_HISTORY_H_
#define WVAD_STREAM_TRAILING_HISTORY_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace TSEG::stream {

template <typename T>
class TrailingHistory {
 public:
  // One behind the last value.
  int64_t end() const { return first_ + static_cast<int64_t>(values_.size()); }
  // The first that is still there.
  int64_t begin() const { return std::max(first_, wanted_from_); }

  void Add(T value) { values_.push_back(value); }
  void Add(const T* values, size_t count) { values_.insert(values_.end(), values, values + count); }
  // The value of a number from begin() to end() - 1.
  T& at(int64_t number) { return values_[static_cast<size_t>(number - first_)]; }
  const T& at(int64_t number) const { return values_[static_cast<size_t>(number - first_)]; }
  // The numbers [from, to), as far as they are there.
  std::vector<T> Copy(int64_t from, int64_t to) const {
    from = std::clamp(from, begin(), end());
    to = std::clamp(to, from, end());
    return std::vector<T>(Place(from), Place(to));
  }
  // What lies before `number` is not wanted any more.
  void ForgetBefore(int64_t number) {
    wanted_from_ = std::clamp(number, wanted_from_, end());
    const int64_t dead = wanted_from_ - first_;
    if (dead < kSlack || dead * 2 < static_cast<int64_t>(values_.size())) return;
    values_.erase(values_.begin(), Place(wanted_from_));
    first_ = wanted_from_;
  }

 private:
  static constexpr int64_t kSlack = 1024;

  auto Place(int64_t number) const { return values_.begin() + static_cast<std::ptrdiff_t>(number - first_); }

  std::vector<T> values_;
  int64_t first_ = 0;  // the number of values_[0]
  int64_t wanted_from_ = 0;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_TRAILING_HISTORY_H_
