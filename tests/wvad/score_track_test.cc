// SPDX-License-Identifier: Apache-2.0
#include "wvad/score_track.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace TSEG::tool {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Rows {
  std::vector<float> speech;
  std::vector<bool> held;
  ScoreTrack track{[this](const ScoreTrack::Row& row) {
    EXPECT_EQ(row.frame, static_cast<int64_t>(speech.size()));
    speech.push_back(row.speech);
    held.push_back(row.held);
  }};
  void Add(float speech_score, float other, bool own = true) {
    const float pair[2] = {speech_score, other};
    track.Add(pair, own);
  }
};

TEST(ScoreTrack, WhatIsNotANumberRepeatsTheLastOneAndIsMarked) {
  Rows rows;
  rows.Add(0.25F, 0.75F);
  rows.Add(kNan, kNan);
  rows.Add(0.5F, kNan);
  rows.Add(kInfinity, 0.0F);
  rows.Add(0.75F, 0.25F);
  EXPECT_EQ(rows.speech, (std::vector<float>{0.25F, 0.25F, 0.25F, 0.25F, 0.75F}));
  EXPECT_EQ(rows.held, (std::vector<bool>{false, true, true, true, false}));
}

TEST(ScoreTrack, NothingToRepeatIsZero) {
  Rows rows;
  rows.Add(kNan, kNan);
  EXPECT_FALSE(rows.track.found_any());
  rows.Add(0.5F, 0.5F);
  EXPECT_TRUE(rows.track.found_any());
  EXPECT_EQ(rows.speech, (std::vector<float>{0.0F, 0.5F}));
  EXPECT_EQ(rows.held, (std::vector<bool>{true, false}));
}

TEST(ScoreTrack, StandInsAndMissingHopsAreHeld) {
  Rows rows;
  rows.Add(0.5F, 0.5F);
  rows.Add(0.125F, 0.875F, false);
  rows.track.Finish(4);
  EXPECT_EQ(rows.speech, (std::vector<float>{0.5F, 0.5F, 0.5F, 0.5F}));
  EXPECT_EQ(rows.held, (std::vector<bool>{false, true, true, true}));
  rows.track.Finish(2);
  EXPECT_EQ(rows.track.frames(), 4);
}

}  // namespace
}  // namespace TSEG::tool
