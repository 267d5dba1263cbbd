// SPDX-License-Identifier: Apache-2.0
//
// AlignedBuffer: zeroed, aligned, movable.
#include "base/aligned_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace TSEG {
namespace {

TEST(AlignedBuffer, StartsAllZeroOnTheStatedAlignment) {
  for (const size_t alignment : {size_t{16}, size_t{32}, size_t{64}, size_t{4096}}) {
    AlignedBuffer<float> buffer(37, alignment);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.data()) % alignment, 0u) << alignment;
    ASSERT_EQ(buffer.size(), 37u);
    for (const float value : buffer) EXPECT_EQ(value, 0.0f);
  }
}

TEST(AlignedBuffer, HoldsWhatIsWrittenUntilItIsCleared) {
  AlignedBuffer<int16_t> buffer(5);
  for (size_t i = 0; i < buffer.size(); ++i) buffer[i] = static_cast<int16_t>(i + 1);
  EXPECT_EQ(buffer[4], 5);
  buffer.clear_to_zero();
  for (const int16_t value : buffer) EXPECT_EQ(value, 0);
}

TEST(AlignedBuffer, MovesWithItsMemory) {
  AlignedBuffer<int8_t> first(3);
  first[1] = 7;
  const int8_t* where = first.data();
  AlignedBuffer<int8_t> second = std::move(first);
  EXPECT_EQ(second.data(), where);
  EXPECT_EQ(second.size(), 3u);
  EXPECT_EQ(second[1], 7);
}

TEST(AlignedBuffer, OfNoElementsIsEmpty) {
  AlignedBuffer<double> none;
  AlignedBuffer<double> zero(0);
  EXPECT_EQ(none.size(), 0u);
  EXPECT_EQ(none.data(), nullptr);
  EXPECT_EQ(zero.size(), 0u);
  EXPECT_EQ(zero.begin(), zero.end());
}

}  // namespace
}  // namespace TSEG
