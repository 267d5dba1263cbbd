// SPDX-License-Identifier: Apache-2.0
#include "scoring/frame_scorer.h"

#include <gtest/gtest.h>

namespace TSEG {
namespace {

// The place of frame `i`'s pair among the floats.
int64_t PlaceOf(const ScoredFrames& frames, int32_t i) { return frames.Pair(i) - frames.scores; }

TEST(ScoredFrames, PairsStandAStrideApart) {
  ScoredFrames frames;
  frames.stride = 2;
  for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(PlaceOf(frames, i), 2 * i);
  frames.stride = 4;
  EXPECT_EQ(PlaceOf(frames, 3), 12);
}

TEST(ScoredFrames, OnePairStandsForAllFramesWithStrideZero) {
  ScoredFrames frames;
  frames.stride = 0;
  for (const int32_t i : {0, 1, 7, 100}) EXPECT_EQ(PlaceOf(frames, i), 0);
}

TEST(ScoredFrames, PairBeyondTheRoomIsTheLastAndBeforeItTheFirst) {
  ScoredFrames frames;
  frames.stride = 2;
  EXPECT_EQ(PlaceOf(frames, 8), 14);
  EXPECT_EQ(PlaceOf(frames, 1000), 14);
  EXPECT_EQ(PlaceOf(frames, -1), 0);
  frames.stride = 3;
  EXPECT_EQ(PlaceOf(frames, 4), 12);
  EXPECT_EQ(PlaceOf(frames, 5), 14);  // 15 would leave half a pair
}

}  // namespace
}  // namespace TSEG
