// SPDX-License-Identifier: Apache-2.0
#include "res/state_map.h"

#include <gtest/gtest.h>

namespace TSEG {
namespace {

using Words = std::vector<int32_t>;

TEST(StateMap, RunsFillRowsOfEightClosedByMinusOne) {
  const StateMap map = UnpackStateMap({1, 2, 3, -1, 4, -1}, 100, SilenceTest::kPlain);
  EXPECT_EQ(map.rows, (Words{1, 2, 3, -1, -1, -1, -1, -1, 4, -1, -1, -1, -1, -1, -1, -1}));
  EXPECT_EQ(map.silence_row, -1);
}

TEST(StateMap, ARunOfMoreThanEightGoesOnInTheNextRow) {
  const StateMap map = UnpackStateMap({0, 1, 2, 3, 4, 5, 6, 7, 8, -1}, 100, SilenceTest::kPlain);
  EXPECT_EQ(map.rows, (Words{0, 1, 2, 3, 4, 5, 6, 7, 8, -1, -1, -1, -1, -1, -1, -1}));
}

TEST(StateMap, ThreeOfTheHighestStatesMakeTheSilenceRow) {
  // 10 priors: states 7, 8 and 9 are silence.
  EXPECT_EQ(UnpackStateMap({1, 2, -1, 7, 8, 9, -1, 7, 8, 9, -1}, 10, SilenceTest::kPlain).silence_row, 1);
  EXPECT_EQ(UnpackStateMap({7, 8, -1, 0, 9, 8, 7, -1}, 10, SilenceTest::kPlain).silence_row, 1);
  EXPECT_EQ(UnpackStateMap({7, 8, 6, -1}, 10, SilenceTest::kPlain).silence_row, -1);
}

TEST(StateMap, OnlyAClosedRowIsTested) {
  EXPECT_EQ(UnpackStateMap({7, 8, 9}, 10, SilenceTest::kPlain).silence_row, -1);
  // Eight places fill the row without a -1 in it; the -1 that follows closes an empty row.
  EXPECT_EQ(UnpackStateMap({7, 8, 9, 1, 1, 1, 1, 1, -1}, 10, SilenceTest::kPlain).silence_row, -1);
}

TEST(StateMap, TheClosingMinusOneIsNoState) {
  // With 2 priors everything from -1 on is a silence state, but the -1 that closes is none.
  EXPECT_EQ(UnpackStateMap({0, 1, -1}, 2, SilenceTest::kPlain).silence_row, -1);
  EXPECT_EQ(UnpackStateMap({0, 1, 0, -1}, 2, SilenceTest::kPlain).silence_row, 0);
}

TEST(StateMap, TheCtcTestTakesOneEqualState) {
  EXPECT_EQ(UnpackStateMap({7, 9, -1, 8, -1}, 10, SilenceTest::kCtc).silence_row, 1);
  EXPECT_EQ(UnpackStateMap({7, 9, -1}, 10, SilenceTest::kCtc).silence_row, -1);
}

TEST(StateMap, AnEmptyListHasNoRows) {
  const StateMap map = UnpackStateMap({}, 10, SilenceTest::kPlain);
  EXPECT_TRUE(map.rows.empty());
  EXPECT_EQ(map.silence_row, -1);
}

TEST(SilenceRowOfTable, IsTheFirstRowWithExactlyThreeAboveTheLargestMinusThree) {
  // The largest is 20: words above 17 count.
  EXPECT_EQ(FindSilenceRow({18, 19, 20, 18, -1, -1, -1, -1, 18, 19, 20, 17, -1, 20, 20, 20}), 1);
  EXPECT_EQ(FindSilenceRow({18, 19, 17, -1, -1, -1, -1, -1, 20}), -1);
}

TEST(SilenceRowOfTable, StopsARowAtItsFirstNegativeWord) {
  EXPECT_EQ(FindSilenceRow({20, 19, -1, 18, -1, -1, -1, -1, 20, 19, 18, -1, 20, -1, -1, -1}), 1);
}

TEST(SilenceRowOfTable, OfNothingIsMinusOne) {
  EXPECT_EQ(FindSilenceRow({}), -1);
  EXPECT_EQ(FindSilenceRow({-5, -6, -7}), -1);
}

}  // namespace
}  // namespace TSEG
