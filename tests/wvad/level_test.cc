// SPDX-License-Identifier: Apache-2.0
#include "wvad/level.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace TSEG::tool {
namespace {

std::vector<int16_t> Square(size_t count, int16_t amplitude) {
  std::vector<int16_t> samples(count);
  for (size_t i = 0; i < count; ++i) samples[i] = i % 20 < 10 ? amplitude : static_cast<int16_t>(-amplitude);
  return samples;
}

TEST(Level, LoudestBlockInDecibelsOfFullScale) {
  LevelMeter meter(16000);
  const std::vector<int16_t> samples = Square(1600, 3277);  // a tenth of full scale: -20 dB
  meter.Feed(samples.data(), samples.size());
  EXPECT_NEAR(meter.loudest_db(), -20.0, 0.01);
}

TEST(Level, PiecesOfAnySizeGiveTheSame) {
  const std::vector<int16_t> samples = Square(1600, 1000);
  LevelMeter whole(16000);
  whole.Feed(samples.data(), samples.size());
  LevelMeter pieces(16000);
  for (size_t i = 0; i < samples.size(); i += 7) pieces.Feed(&samples[i], std::min<size_t>(7, samples.size() - i));
  EXPECT_EQ(whole.loudest_db(), pieces.loudest_db());
}

TEST(Level, SilenceIsLeftAlone) {
  LevelMeter meter(16000);
  const std::vector<int16_t> samples(16000, 0);
  meter.Feed(samples.data(), samples.size());
  EXPECT_EQ(meter.loudest_db(), -120.0);
  EXPECT_EQ(meter.AutoGainDb(), 0.0);
}

TEST(Level, QuietRecordingIsRaisedToMinusTwenty) {
  LevelMeter meter(16000);
  const std::vector<int16_t> samples = Square(16000, 33);  // -59.9 dB, in the bin of -60
  meter.Feed(samples.data(), samples.size());
  EXPECT_EQ(meter.AutoGainDb(), 40.0);
}

TEST(Level, SilenceAroundDoesNotCount) {
  LevelMeter meter(16000);
  const std::vector<int16_t> quiet = Square(16000, 1036);  // -30 dB
  const std::vector<int16_t> silence(160000, 0);
  meter.Feed(silence.data(), silence.size());
  meter.Feed(quiet.data(), quiet.size());
  EXPECT_EQ(meter.AutoGainDb(), 10.0);
}

TEST(Level, PeaksLimitTheGain) {
  LevelMeter meter(16000);
  std::vector<int16_t> samples = Square(16000, 328);                    // -40 dB
  for (size_t i = 0; i < samples.size(); i += 160) samples[i] = 16384;  // -6 dB in each block
  meter.Feed(samples.data(), samples.size());
  EXPECT_EQ(meter.AutoGainDb(), 6.0);
}

TEST(Level, LoudRecordingIsNotLowered) {
  LevelMeter meter(16000);
  const std::vector<int16_t> samples = Square(16000, 30000);
  meter.Feed(samples.data(), samples.size());
  EXPECT_EQ(meter.AutoGainDb(), 0.0);
}

}  // namespace
}  // namespace TSEG::tool
