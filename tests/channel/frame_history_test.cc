// SPDX-License-Identifier: Apache-2.0
//
// FrameHistory: numbers that stay, values that go, memory that stays with the frames kept.
#include "channel/frame_history.h"

#include <gtest/gtest.h>

namespace TSEG {
namespace {

TEST(FrameHistory, DroppedFramesCountAndReadAsNothing) {
  FrameHistory<int> history = {10, 11, 12, 13, 14};
  history.DropBefore(3);
  EXPECT_EQ(history.size(), 5u);
  EXPECT_EQ(history.kept_from(), 3u);
  EXPECT_EQ(history[0], 0);
  EXPECT_EQ(history[2], 0);
  EXPECT_EQ(history[3], 13);
  EXPECT_EQ(history.back(), 14);
  history.push_back(15);
  EXPECT_EQ(history.size(), 6u);
  EXPECT_EQ(history[5], 15);
}

TEST(FrameHistory, DroppingGoesForwardOnlyAndLeavesTheNewest) {
  FrameHistory<int> history = {1, 2, 3, 4};
  history.DropBefore(2);
  history.DropBefore(1);
  EXPECT_EQ(history.kept_from(), 2u);
  EXPECT_EQ(history[2], 3);
  history.DropBefore(1000);
  EXPECT_EQ(history.kept_from(), 3u);
  EXPECT_EQ(history[3], 4);
  FrameHistory<int> none;
  none.DropBefore(7);
  EXPECT_TRUE(none.empty());
  none.push_back(9);
  EXPECT_EQ(none[0], 9);
}

TEST(FrameHistory, ClearBeginsAtFrameZeroAgain) {
  FrameHistory<int> history(std::vector<int>(5000, 7));
  history.DropBefore(4500);
  history.clear();
  EXPECT_TRUE(history.empty());
  EXPECT_EQ(history.kept_from(), 0u);
  history.push_back(3);
  EXPECT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0], 3);
}

// At every distance between the newest frame and the oldest one kept, through many movings of the values.
TEST(FrameHistory, ValuesKeepTheirNumbersHoweverMuchIsDropped) {
  for (const size_t window : {size_t{1}, size_t{3}, size_t{1000}, size_t{1024}, size_t{5000}}) {
    FrameHistory<size_t> history;
    for (size_t f = 0; f < 30000; ++f) {
      history.push_back(f * 3 + 1);
      if (f >= window) history.DropBefore(f + 1 - window);
      if (f % 97 != 0) continue;
      const size_t first = f >= window ? f + 1 - window : 0;
      ASSERT_EQ(history.size(), f + 1);
      ASSERT_EQ(history.kept_from(), first);
      ASSERT_EQ(history[first], first * 3 + 1) << window;
      ASSERT_EQ(history[(first + f) / 2], (first + f) / 2 * 3 + 1) << window;
      ASSERT_EQ(history[f], f * 3 + 1) << window;
      if (first > 0) {
        ASSERT_EQ(history[first - 1], 0u) << window;
      }
    }
  }
}

TEST(FrameHistory, SetChangesOneFrame) {
  FrameHistory<int> history(std::vector<int>(3000, 1));
  history.DropBefore(2000);
  history.set(2500, 9);
  EXPECT_EQ(history[2499], 1);
  EXPECT_EQ(history[2500], 9);
}

TEST(FrameHistory, MemoryIsThatOfTheFramesKept) {
  FrameHistory<double> history;
  for (size_t f = 0; f < 1000000; ++f) {
    history.push_back(1.0);
    if (f >= 300) history.DropBefore(f - 300);
  }
  EXPECT_EQ(history.size(), 1000000u);
  EXPECT_LE(history.capacity(), 4096u);
}

}  // namespace
}  // namespace TSEG
