// SPDX-License-Identifier: Apache-2.0
//
// The adaptive energy floor: clustering, the choice of the floor, the degenerate sessions, and a history against reference numbers.
#include "decision/energy_floor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

namespace TSEG {
namespace {

std::vector<float> TwoLevels(int low_count, float low, int high_count, float high) {
  std::vector<float> history(static_cast<size_t>(low_count), low);
  history.insert(history.end(), static_cast<size_t>(high_count), high);
  return history;
}

TEST(EnergyFloor, FollowsReferenceHistory) {
  std::ifstream in(std::string(WVAD_TEST_DATA_DIR) + "/decision/energy_floor_history.txt");
  std::vector<float> history;
  for (float x = 0; in >> x;) history.push_back(x);
  ASSERT_EQ(history.size(), 500u);
  EnergyStats stats;
  EnergyThresholdFullUpdate(&stats, history, 300);
  EXPECT_NEAR(stats.fThreshold, 60.19467544555664, 1e-4);
  EnergyThresholdStepUpdate(&stats, history, 400);
  EXPECT_NEAR(stats.fThreshold, 60.38829040527344, 1e-4);
  EnergyThresholdStepUpdate(&stats, history, 500);
  EXPECT_NEAR(stats.fThreshold, 60.47597885131836, 1e-4);
}

TEST(EnergyFloor, OnePassIsEnoughWhenTheCentresStandAtOnce) {
  // 150 and 150 values: the first split is already the clustering.
  EnergyStats stats;
  EnergyThresholdFullUpdate(&stats, TwoLevels(150, 40.0f, 150, 60.0f), 300);
  EXPECT_EQ(stats.fCentreLow, 40.0f);
  EXPECT_EQ(stats.fCentreHigh, 60.0f);
  EXPECT_EQ(stats.nClusterCount[0], 150);
  EXPECT_EQ(stats.nClusterCount[1], 150);
  EXPECT_EQ(stats.fOwnDevSum, 0.0f);  // that pass's sum alone: every value stands on its centre
  EXPECT_EQ(stats.fSpreadAll, 1.0f);  // mean deviation 10 over sigma 10
  EXPECT_EQ(stats.fSpreadOwn, 0.0f);
  EXPECT_EQ(stats.nLastFrame, 300);
  EXPECT_FLOAT_EQ(stats.fThreshold, 44.0f);  // a fifth of the way up
}

TEST(EnergyFloor, CentresOfTheRecordAreThoseTheLastPassStartedFrom) {
  // First split of 4 values: {0, 1} and {2, 9}, centres 0.5 and 5.5. The pass puts 2 with the low ones, so centres 1 and 9 follow, then
  // stand.
  EnergyStats stats;
  EnergyThresholdFullUpdate(&stats, {9.0f, 0.0f, 2.0f, 1.0f}, 4);
  EXPECT_EQ(stats.fCentreLow, 1.0f);
  EXPECT_EQ(stats.fCentreHigh, 9.0f);
  EXPECT_EQ(stats.nClusterCount[0], 3);
  EXPECT_EQ(stats.fClusterSum[0], 3.0f);
  EXPECT_EQ(stats.fOwnDevSum, 2.0f);  // |0-1| + |1-1| + |2-1| + |9-9|
}

TEST(EnergyFloor, ValueInTheMiddleGoesToTheHighCluster) {
  // Sorted {0, 0, 2, 4}; the first split gives centres 0 and 3. Then 2 is nearer to 3; centres stay. A step with 1.5 lies in the middle.
  EnergyStats stats;
  std::vector<float> history = {0.0f, 4.0f, 2.0f, 0.0f};
  EnergyThresholdFullUpdate(&stats, history, 4);
  ASSERT_EQ(stats.fCentreLow, 0.0f);
  ASSERT_EQ(stats.fCentreHigh, 3.0f);
  history.push_back(1.5f);
  EnergyThresholdStepUpdate(&stats, history, 5);
  EXPECT_EQ(stats.nClusterCount[0], 2);
  EXPECT_EQ(stats.nClusterCount[1], 3);
  EXPECT_EQ(stats.fCentreHigh, 2.5f);
}

TEST(EnergyFloor, StepUpdateAddsToTheSumsOfTheWholeSession) {
  std::vector<float> history = TwoLevels(150, 40.0f, 150, 60.0f);
  EnergyStats stats;
  EnergyThresholdFullUpdate(&stats, history, 300);
  history.insert(history.end(), 100, 62.0f);
  EnergyThresholdStepUpdate(&stats, history, 400);
  EXPECT_EQ(stats.nClusterCount[0], 150);
  EXPECT_EQ(stats.nClusterCount[1], 250);
  EXPECT_EQ(stats.fSum, 15000.0f + 6200.0f);
  EXPECT_EQ(stats.fCentreLow, 40.0f);
  EXPECT_FLOAT_EQ(stats.fCentreHigh, 15200.0f / 250.0f);
  EXPECT_EQ(stats.fOwnDevSum, 200.0f);  // 100 times |62 - 60|, against the centre before the step
  // Mean 53: the new frames lie 9 from it, the old ones are kept at their 10.
  EXPECT_EQ(stats.fAbsDevSum, 3000.0f + 900.0f);
  EXPECT_EQ(stats.fSqDevSum, 30000.0f + 8100.0f);
  EXPECT_EQ(stats.nLastFrame, 400);
}

TEST(EnergyFloor, SwappedCentresLeaveTheSlotsWhereTheyAre) {
  // Slot 0 holds 2 frames around 30, slot 1 holds 2 around 20: the swap is made, the slots stay, the next step adds by slot.
  EnergyStats stats;
  stats.nLastFrame = 4;
  stats.fCentreLow = 28.0f;
  stats.fCentreHigh = 24.0f;
  stats.fClusterSum[0] = 60.0f;
  stats.fClusterSum[1] = 40.0f;
  stats.nClusterCount[0] = 2;
  stats.nClusterCount[1] = 2;
  EnergyThresholdStepUpdate(&stats, {0, 0, 0, 0, 30.0f, 20.0f}, 6);
  // 30 is nearer to 28 (slot 0, now 90 over 3), 20 nearer to 24 (slot 1, now 60 over 3).
  EXPECT_EQ(stats.nClusterCount[0], 3);
  EXPECT_EQ(stats.nClusterCount[1], 3);
  EXPECT_EQ(stats.fClusterSum[0], 90.0f);
  EXPECT_EQ(stats.fClusterSum[1], 60.0f);
  EXPECT_EQ(stats.fCentreLow, 20.0f);
  EXPECT_EQ(stats.fCentreHigh, 30.0f);
  // By slot from here on: 19 is nearer to the low centre and goes to slot 0, which holds the loud sum.
  EnergyThresholdStepUpdate(&stats, {0, 0, 0, 0, 0, 0, 19.0f}, 7);
  EXPECT_EQ(stats.fClusterSum[0], 109.0f);
  EXPECT_EQ(stats.nClusterCount[0], 4);
}

TEST(EnergyFloor, SessionOfOneEnergyFallsToTheLastRows) {
  EnergyStats stats;
  EnergyThresholdFullUpdate(&stats, std::vector<float>(300, 50.0f), 300);
  EXPECT_TRUE(std::isnan(stats.fSpreadAll));
  EXPECT_TRUE(std::isnan(stats.fSpreadOwn));
  // The first pass puts every value, a tie, into the high cluster, and the empty low one has no centre from then on.
  EXPECT_TRUE(std::isnan(stats.fCentreLow));
  EXPECT_EQ(stats.fThreshold, 52.0f);  // mean + 2
}

struct PickRow {
  const char* name;
  float low, high, all, own, mean;
  float expected;
};

TEST(EnergyThresholdPick, RowsAreTestedInOrder) {
  const PickRow rows[] = {
      {"close and poorly separated", 50.0f, 53.0f, 0.5f, 0.5f, 51.0f, 54.0f},
      {"distance of 3.5 is not close", 50.0f, 53.5f, 0.5f, 0.5f, 52.0f, 52.0f},
      {"clearly separated", 40.0f, 60.0f, 0.9f, 0.25f, 45.0f, 44.0f},
      {"distance of 12 is not clear", 40.0f, 52.0f, 0.9f, 0.25f, 45.0f, 42.0f},
      {"a fifth up lies below the mean", 50.0f, 60.0f, 0.9f, 0.1f, 55.0f, 52.0f},
      {"a fifth up lies above the mean", 50.0f, 60.0f, 0.9f, 0.1f, 51.0f, 53.0f},
      {"spread equal to neither side", 50.0f, 70.0f, 0.5f + 0.3f, 0.5f, 60.0f, 52.0f},
  };
  for (const PickRow& row : rows) {
    EnergyStats stats;
    stats.fCentreLow = row.low;
    stats.fCentreHigh = row.high;
    stats.fSpreadAll = row.all;
    stats.fSpreadOwn = row.own;
    EXPECT_FLOAT_EQ(EnergyThresholdPick(stats, row.mean), row.expected) << row.name;
  }
}

TEST(EnergyThresholdPick, CapLooksAtTheTestValue) {
  EnergyStats stats;  // close centres: t is mean + 3, v is mean + 2
  stats.fCentreLow = 70.0f;
  stats.fCentreHigh = 71.0f;
  EXPECT_EQ(EnergyThresholdPick(stats, 78.5f), 80.0f);  // v 80.5
  EXPECT_EQ(EnergyThresholdPick(stats, 78.0f), 81.0f);  // v 80.0 is not above
  stats.fCentreHigh = 80.0f;                            // distance 10, a fifth up 72
  EXPECT_EQ(EnergyThresholdPick(stats, 71.0f), 73.0f);
  stats.fCentreLow = 78.5f;
  stats.fCentreHigh = 88.0f;
  EXPECT_EQ(EnergyThresholdPick(stats, 85.0f), 80.5f);  // v 79.5, t 80.5
}

TEST(EnergyThresholdPick, NotANumberFallsToTheLastRow) {
  EnergyStats stats;
  stats.fSpreadAll = stats.fSpreadOwn = stats.fCentreLow = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(EnergyThresholdPick(stats, 30.0f), 32.0f);
}

TEST(EnergyStatsReset, RestoresTheValuesOfAFreshSession) {
  EnergyStats stats;
  EnergyThresholdFullUpdate(&stats, TwoLevels(150, 40.0f, 150, 60.0f), 300);
  EnergyStatsReset(&stats);
  EXPECT_EQ(stats.nLastFrame, 0);
  EXPECT_EQ(stats.fSum, 0.0f);
  EXPECT_EQ(stats.fThreshold, 65.0f);
  EXPECT_EQ(stats.nClusterCount[1], 0);
}

}  // namespace
}  // namespace TSEG
