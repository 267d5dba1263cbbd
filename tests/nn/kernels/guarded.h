// SPDX-License-Identifier: Apache-2.0
//
// Guarded<T>: a test buffer with a pattern in front and behind, so that a kernel's stray write shows; and ways to fill it.
#ifndef WVAD_NN_KERNELS_GUARDED_H_
#define WVAD_NN_KERNELS_GUARDED_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "nn/kernels/dispatch.h"

namespace TSEG::test {

template <typename T>
class Guarded {
 public:
  explicit Guarded(size_t n) : bytes_(2 * kGuard + n * sizeof(T), kPattern), n_(n) {
    for (size_t i = kGuard; i < bytes_.size() - kGuard; ++i) bytes_[i] = 0;
  }
  explicit Guarded(const std::vector<T>& values) : Guarded(values.size()) {
    if (!values.empty()) std::memcpy(data(), values.data(), values.size() * sizeof(T));
  }
  T* data() { return static_cast<T*>(static_cast<void*>(bytes_.data() + kGuard)); }
  size_t size() const { return n_; }
  T& operator[](size_t i) { return data()[i]; }
  std::vector<T> values() { return std::vector<T>(data(), data() + n_); }
  // Same bytes, not-a-numbers and signed zeros among them.
  bool Same(Guarded& other) { return n_ == other.n_ && std::memcmp(data(), other.data(), n_ * sizeof(T)) == 0; }
  bool Intact() const {
    for (size_t i = 0; i < kGuard; ++i) {
      if (bytes_[i] != kPattern || bytes_[bytes_.size() - 1 - i] != kPattern) return false;
    }
    return true;
  }

 private:
  static constexpr size_t kGuard = 64;
  static constexpr uint8_t kPattern = 0xA5;
  std::vector<uint8_t> bytes_;
  size_t n_;
};

enum class Fill { kRandom, kLowest, kHighest, kAlternating };
inline const std::vector<Fill>& AllFills() {
  static const std::vector<Fill> fills = {Fill::kRandom, Fill::kLowest, Fill::kHighest, Fill::kAlternating};
  return fills;
}

template <typename T>
void FillWith(Guarded<T>& buffer, Fill fill, std::mt19937& random) {
  constexpr T kLow = std::numeric_limits<T>::lowest();
  constexpr T kHigh = std::numeric_limits<T>::max();
  std::uniform_int_distribution<int64_t> any(kLow, kHigh);
  for (size_t i = 0; i < buffer.size(); ++i) {
    const T alternating = i % 2 == 0 ? kLow : kHigh;
    buffer[i] = fill == Fill::kRandom    ? static_cast<T>(any(random))
                : fill == Fill::kLowest  ? kLow
                : fill == Fill::kHighest ? kHigh
                                         : alternating;
  }
}

// The levels that were built in and run on this processor, all of them and those above the reference. There are none above it in a build of
// the reference alone.
inline std::vector<KernelLevel> LevelsFrom(size_t first) {
  std::vector<KernelLevel> levels;
  for (const KernelLevel& level : KernelLevels().subspan(first)) {
    if (RunsOn(level, DetectedCpu())) levels.push_back(level);
  }
  return levels;
}
inline std::vector<KernelLevel> AllLevels() { return LevelsFrom(0); }
inline std::vector<KernelLevel> FastLevels() { return LevelsFrom(1); }

// A test of those above the reference, which says so where there are none.
class FastLevelsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (FastLevels().empty()) GTEST_SKIP() << "no level above the reference was built in and runs here";
  }
};

}  // namespace TSEG::test

#endif  // WVAD_NN_KERNELS_GUARDED_H_
