// SPDX-License-Identifier: Apache-2.0
//
// AlignedBuffer: zeroed, aligned, movable.
#include "buffers/aligned_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
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

TEST(AlignedBuffer, LargeOnesAreZeroAndAlignedTooAlsoOnUsedMemory) {
  for (const size_t alignment : {size_t{1}, size_t{32}, size_t{64}, size_t{4096}}) {
    for (const size_t n : {size_t{65535}, size_t{65536}, size_t{100001}, size_t{3145728}}) {
      for (int round = 0; round < 3; ++round) {
        AlignedBuffer<uint8_t> buffer(n, alignment);
        ASSERT_EQ(reinterpret_cast<uintptr_t>(buffer.data()) % alignment, 0u) << alignment;
        ASSERT_EQ(buffer.size(), n);
        size_t others = 0;
        for (const uint8_t value : buffer) others += value != 0 ? 1u : 0u;
        ASSERT_EQ(others, 0u) << n << " bytes, round " << round;
        for (uint8_t& value : buffer) value = 0xA5;
      }
    }
  }
}

TEST(AlignedBuffer, LargeOnesMoveWithTheirMemory) {
  AlignedBuffer<float> first(50000, 64);
  first[49999] = 7.0f;
  const float* where = first.data();
  AlignedBuffer<float> second(3);
  second = std::move(first);
  EXPECT_EQ(second.data(), where);
  EXPECT_EQ(second[49999], 7.0f);
  EXPECT_EQ(second.size(), 50000u);
}

TEST(AlignedBuffer, MoreThanThereIsLeavesAsBadAlloc) {
  EXPECT_THROW(AlignedBuffer<double>(SIZE_MAX / 8 + 2), std::bad_alloc);
  EXPECT_THROW(AlignedBuffer<double>(PTRDIFF_MAX / 8 + 1), std::bad_alloc);
  EXPECT_THROW(AlignedBuffer<double>::Uncleared(SIZE_MAX / 8 + 2), std::bad_alloc);
}

TEST(AlignedBuffer, UnclearedOnesAreAlignedAndSized) {
  AlignedBuffer<int32_t> buffer = AlignedBuffer<int32_t>::Uncleared(1000000, 4096);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.data()) % 4096, 0u);
  ASSERT_EQ(buffer.size(), 1000000u);
  buffer.clear_to_zero();
  EXPECT_EQ(buffer[999999], 0);
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
