// SPDX-License-Identifier: Apache-2.0
//
// Pages of memory: zeroed, at a multiple of 4096, used up to their last byte, nobody else's, and none where there are none.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "platform/platform.h"

namespace TSEG {
namespace {

TEST(Pages, AreZeroAndAlignedAlsoWhereUsedOnesWereGivenBack) {
  for (const size_t bytes : {size_t{1}, size_t{4096}, size_t{65537}, size_t{3145728}}) {
    for (int round = 0; round < 3; ++round) {
      auto* pages = static_cast<uint8_t*>(platform::TakePages(bytes));
      ASSERT_NE(pages, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(pages) % 4096, 0u);
      size_t others = 0;
      for (size_t i = 0; i < bytes; ++i) others += pages[i] != 0 ? 1u : 0u;
      EXPECT_EQ(others, 0u) << bytes << " bytes, round " << round;
      std::memset(pages, 0xA5, bytes);
      platform::GiveBackPages(pages, bytes);
    }
  }
}

TEST(Pages, OfTwoTakesLieApart) {
  constexpr size_t kBytes = 100000;
  auto* first = static_cast<uint8_t*>(platform::TakePages(kBytes));
  auto* second = static_cast<uint8_t*>(platform::TakePages(kBytes));
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  std::memset(first, 1, kBytes);
  std::memset(second, 2, kBytes);
  EXPECT_EQ(first[kBytes - 1], 1);
  platform::GiveBackPages(first, kBytes);
  EXPECT_EQ(second[0], 2);
  EXPECT_EQ(second[kBytes - 1], 2);
  platform::GiveBackPages(second, kBytes);
}

TEST(Pages, MoreThanThereAreIsNull) { EXPECT_EQ(platform::TakePages(SIZE_MAX / 4), nullptr); }

}  // namespace
}  // namespace TSEG
