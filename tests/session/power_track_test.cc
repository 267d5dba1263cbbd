// SPDX-License-Identifier: Apache-2.0
#include "session/power_track.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace TSEG {
namespace {

void Take(PowerTrack* track, const std::vector<int16_t>& samples, int32_t rate) {
  track->Take(reinterpret_cast<const uint8_t*>(samples.data()), static_cast<uint32_t>(2 * samples.size()), rate);
}

std::vector<double> Energies(const PowerTrack& track) {
  std::vector<double> values;
  for (size_t i = 0; i < track.frameEnergy.size(); ++i) values.push_back(track.frameEnergy[i]);
  return values;
}

TEST(PowerTrack, SumsTheSquaresOfEachTenMilliseconds) {
  const struct {
    int32_t rate;
    size_t samples_per_frame;
  } rows[] = {{16000, 160}, {8000, 80}, {6000, 60}};
  for (const auto& row : rows) {
    PowerTrack track;
    std::vector<int16_t> samples(row.samples_per_frame, 3);
    samples.resize(2 * row.samples_per_frame, -5);
    Take(&track, samples, row.rate);
    const auto n = static_cast<double>(row.samples_per_frame);
    EXPECT_EQ(Energies(track), (std::vector<double>{9 * n, 25 * n})) << row.rate;
  }
}

TEST(PowerTrack, LoudestFrameIsExact) {
  PowerTrack track;
  Take(&track, std::vector<int16_t>(160, -32768), 16000);
  EXPECT_EQ(Energies(track), std::vector<double>{160.0 * 1073741824.0});
}

TEST(PowerTrack, PiecesOfAnyLengthGiveTheSameEnergies) {
  std::vector<int16_t> samples(1000);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<int16_t>(i);
  PowerTrack whole;
  Take(&whole, samples, 16000);
  ASSERT_EQ(whole.frameEnergy.size(), 6u);  // 40 samples wait
  EXPECT_EQ(whole.frameEnergy[0], 159.0 * 160 * 319 / 6);
  for (size_t piece = 1; piece <= 400; ++piece) {
    PowerTrack track;
    for (size_t at = 0; at < samples.size(); at += piece) {
      const auto from = samples.begin() + static_cast<std::ptrdiff_t>(at);
      Take(&track, std::vector<int16_t>(from, from + static_cast<std::ptrdiff_t>(std::min(piece, samples.size() - at))), 16000);
    }
    EXPECT_EQ(Energies(track), Energies(whole)) << piece;
    EXPECT_EQ(track.fEnergyAcc, whole.fEnergyAcc) << piece;
  }
}

TEST(PowerTrack, UnfinishedFrameOutlivesTheEndOfTheAudioAndNotThatOfTheSession) {
  PowerTrack track;
  Take(&track, std::vector<int16_t>(200, 2), 16000);
  track.Forget();
  EXPECT_TRUE(track.frameEnergy.empty());
  EXPECT_EQ(track.nEnergySamples, 0u);
  EXPECT_EQ(track.fEnergyAcc, 40 * 4);
  track.End();
  EXPECT_EQ(track.fEnergyAcc, 0);
  Take(&track, std::vector<int16_t>(160, 2), 16000);
  EXPECT_EQ(Energies(track), std::vector<double>{160 * 4});
}

}  // namespace
}  // namespace TSEG
