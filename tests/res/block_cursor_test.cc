// SPDX-License-Identifier: Apache-2.0
#include "res/block_cursor.h"

#include <gtest/gtest.h>

#include <limits>

namespace TSEG {
namespace {

TEST(BlockCursor, StatedSizeIsTheProductWithoutItsFraction) {
  EXPECT_EQ(StatedBytes(0, 1.1), 0U);
  EXPECT_EQ(StatedBytes(1, 1.2), 1U);
  EXPECT_EQ(StatedBytes(1004, 1.25), 1255U);
  EXPECT_EQ(StatedBytes(1005, 1.25), 1256U) << "1256.25";
}

TEST(BlockCursor, SizeThatNoMemoryHasIsRefused) {
  const auto most = static_cast<uint64_t>(std::numeric_limits<ptrdiff_t>::max());
  EXPECT_THROW(StatedBytes(most, 1.0), std::bad_alloc);
  EXPECT_THROW(StatedBytes(most, 1.1), std::bad_alloc);
  EXPECT_THROW(StatedBytes(std::numeric_limits<size_t>::max(), 1.1), std::bad_alloc);
  EXPECT_THROW(StatedBytes(std::numeric_limits<uint64_t>::max(), 1.2), std::bad_alloc);
  EXPECT_EQ(StatedBytes(most / 4 + 1, 2.0), static_cast<size_t>(most / 2 + 1));
}

}  // namespace
}  // namespace TSEG
