// SPDX-License-Identifier: Apache-2.0
//
// The first-sound probe: five active frames in a row, looked at byte by byte over the first half of each piece.
#include "decision/front_back_probe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace TSEG {
namespace {

FrontBackProbe MakeProbe(int32_t rate = 16000) {
  FrontBackProbe probe;
  FrontBackProbeReset(&probe, rate, nullptr);
  return probe;
}

// A piece whose scanned half is `half`.
std::vector<uint8_t> Piece(const std::vector<uint8_t>& half) {
  std::vector<uint8_t> piece = half;
  piece.resize(half.size() * 2, 0);
  return piece;
}

void Scan(FrontBackProbe* probe, const std::vector<uint8_t>& half) {
  const std::vector<uint8_t> piece = Piece(half);
  FrontBackProbeScan(probe, piece.data(), static_cast<int32_t>(piece.size()));
}

TEST(FrontBackProbe, SilenceFindsNothingAndCountsSamples) {
  FrontBackProbe probe = MakeProbe();
  Scan(&probe, std::vector<uint8_t>(3200, 8));
  EXPECT_EQ(probe.nFntState, 0);
  EXPECT_EQ(probe.nScanned, 3200);
  EXPECT_EQ(probe.nTotalSamples, 3200);
  EXPECT_EQ(probe.nHits, 0);
}

TEST(FrontBackProbe, FiveActiveFramesInARowAreTheFirstSound) {
  FrontBackProbe probe = MakeProbe();
  Scan(&probe, std::vector<uint8_t>(160 * 10, 100));
  EXPECT_EQ(probe.nFntState, 1);
  EXPECT_EQ(probe.nRun, 5);
  // The first frame is taken up after 9 positions. What it has beyond those counts towards the next, which is taken up at its first
  // position, and so on: the fifth frame begins at position 640.
  EXPECT_EQ(probe.nScanned, 640);
  EXPECT_EQ(probe.nTotalSamples, 1600);
}

TEST(FrontBackProbe, ScanStopsAtTheFirstSoundButSamplesGoOn) {
  FrontBackProbe probe = MakeProbe();
  probe.nFntState = 1;
  Scan(&probe, std::vector<uint8_t>(100, 100));
  EXPECT_EQ(probe.nScanned, 0);
  EXPECT_EQ(probe.nTotalSamples, 100);
}

TEST(FrontBackProbe, SecondHalfOfAPieceIsNotLookedAt) {
  std::vector<uint8_t> piece(3200, 100);
  std::fill(piece.begin(), piece.begin() + 1600, uint8_t{0});
  FrontBackProbe probe = MakeProbe();
  FrontBackProbeScan(&probe, piece.data(), 3200);
  EXPECT_EQ(probe.nHits, 0);
  EXPECT_EQ(probe.nScanned, 1600);
}

TEST(FrontBackProbe, AmplitudeIsThatOfASignedByte) {
  for (const uint8_t quiet : {uint8_t{0x08}, uint8_t{0xF8}}) {
    FrontBackProbe probe = MakeProbe();
    Scan(&probe, {quiet});
    EXPECT_EQ(probe.nHits, 0);
  }
  for (const uint8_t active : {uint8_t{0x09}, uint8_t{0xF7}, uint8_t{0x80}}) {
    FrontBackProbe probe = MakeProbe();
    Scan(&probe, {active});
    EXPECT_EQ(probe.nHits, 1);
  }
}

TEST(FrontBackProbe, FivePercentOfAFrameIsNotEnough) {
  for (const int32_t rate : {16000, 8000, 6000}) {
    const size_t limit = static_cast<size_t>(rate / 100 / 20);  // exactly 5 %
    FrontBackProbe probe = MakeProbe(rate);
    Scan(&probe, std::vector<uint8_t>(limit, 50));
    EXPECT_EQ(probe.nRun, 0) << rate;
    Scan(&probe, {50});
    EXPECT_EQ(probe.nRun, 1) << rate;
    EXPECT_EQ(probe.nRunFrame, -1) << rate;
    EXPECT_EQ(probe.nHits, 0) << rate;
  }
}

TEST(FrontBackProbe, GapInTheActiveFramesStartsAnewFromFrameZero) {
  FrontBackProbe probe = MakeProbe();
  Scan(&probe, std::vector<uint8_t>(20, 50));  // frame 0 taken up
  ASSERT_EQ(probe.nRun, 1);
  Scan(&probe, std::vector<uint8_t>(400, 0));  // position 420, in frame 2
  Scan(&probe, {50});
  EXPECT_EQ(probe.nRun, 0);
  EXPECT_EQ(probe.nRunFrame, 0);
  EXPECT_EQ(probe.nHits, 0);
}

TEST(FrontBackProbe, FurtherHitsOfATakenFrameCountTowardsTheNext) {
  FrontBackProbe probe = MakeProbe();
  Scan(&probe, std::vector<uint8_t>(29, 50));  // 9 take the frame up, 20 more are kept
  EXPECT_EQ(probe.nRun, 1);
  EXPECT_EQ(probe.nHits, 20);
  Scan(&probe, std::vector<uint8_t>(140, 0));
  Scan(&probe, {50});  // one position of frame 1 is enough with those
  EXPECT_EQ(probe.nRun, 2);
  EXPECT_EQ(probe.nRunFrame, 0);
}

TEST(FrontBackProbe, ResetTakesTheRate) {
  FrontBackProbe probe = MakeProbe();
  Scan(&probe, std::vector<uint8_t>(2000, 100));
  FrontBackProbeReset(&probe, 8000, nullptr);
  EXPECT_EQ(probe.nScanned, 0);
  EXPECT_EQ(probe.nRunFrame, -5);
  EXPECT_EQ(probe.nFntState, 0);
  EXPECT_EQ(probe.nTotalSamples, 0);
  EXPECT_EQ(probe.nSampleRate, 8000);
}

}  // namespace
}  // namespace TSEG
