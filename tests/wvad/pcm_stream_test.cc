// SPDX-License-Identifier: Apache-2.0
#include "wvad/pcm_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

class Given : public AudioSource {
 public:
  Given(std::vector<float> interleaved, int rate_hz, int channels)
      : data_(std::move(interleaved)), rate_hz_(rate_hz), channels_(channels) {}
  int rate_hz() const override { return rate_hz_; }
  int channels() const override { return channels_; }
  int64_t frames() const override { return -1; }
  size_t Read(float* out, size_t count) override {
    const size_t frames = std::min(count, (data_.size() - next_) / static_cast<size_t>(channels_));
    const size_t values = frames * static_cast<size_t>(channels_);
    std::copy_n(data_.begin() + static_cast<std::ptrdiff_t>(next_), values, out);
    next_ += values;
    return frames;
  }

 private:
  std::vector<float> data_;
  int rate_hz_;
  int channels_;
  size_t next_ = 0;
};

std::vector<int16_t> All(PcmStream& stream) {
  std::vector<int16_t> all;
  for (std::vector<std::vector<int16_t>> pieces; stream.Next(&pieces);) all.insert(all.end(), pieces[0].begin(), pieces[0].end());
  return all;
}

TEST(PcmStream, SixteenBitValuesPassBitForBit) {
  std::vector<float> values;
  std::vector<int16_t> expected;
  for (int v = -32768; v <= 32767; ++v) {
    values.push_back(static_cast<float>(v) / 32768.0F);
    expected.push_back(static_cast<int16_t>(v));
  }
  Given source(values, 16000, 1);
  PcmStream stream(source, "x", kMixChannels, 16000, 100, 0);
  EXPECT_EQ(All(stream), expected);
}

TEST(PcmStream, PiecesAreOfOneSizeButTheLast) {
  Given source(std::vector<float>(4001, 0.0F), 16000, 1);
  PcmStream stream(source, "x", kMixChannels, 16000, 100, 0);
  std::vector<size_t> sizes;
  for (std::vector<std::vector<int16_t>> pieces; stream.Next(&pieces);) sizes.push_back(pieces[0].size());
  EXPECT_EQ(sizes, (std::vector<size_t>{1600, 1600, 801}));
}

TEST(PcmStream, EmptySourceGivesNoPiece) {
  for (const int rate : {16000, 44100}) {
    Given source({}, rate, 1);
    PcmStream stream(source, "x", kMixChannels, 16000, 100, 0);
    EXPECT_TRUE(All(stream).empty()) << rate;
  }
}

TEST(PcmStream, ChannelIsChosenOrAllAreMixed) {
  const std::vector<float> stereo = {0.5F, -0.25F, 0.125F, 0.0F};
  for (const auto& [channel, first, second] : {std::tuple(1, 16384, 4096), std::tuple(2, -8192, 0), std::tuple(kMixChannels, 4096, 2048)}) {
    Given source(stereo, 16000, 2);
    PcmStream stream(source, "x", channel, 16000, 100, 0);
    EXPECT_EQ(All(stream), (std::vector<int16_t>{static_cast<int16_t>(first), static_cast<int16_t>(second)})) << channel;
  }
}

TEST(PcmStream, EachChannelIsALaneOfItsOwn) {
  Given source({0.5F, -0.25F, 0.125F, 0.0F}, 16000, 2);
  PcmStream stream(source, "x", kAllChannels, 16000, 100, 0);
  ASSERT_EQ(stream.lanes(), 2U);
  std::vector<std::vector<int16_t>> pieces;
  ASSERT_TRUE(stream.Next(&pieces));
  EXPECT_EQ(pieces, (std::vector<std::vector<int16_t>>{{16384, 4096}, {-8192, 0}}));
  EXPECT_FALSE(stream.Next(&pieces));
}

TEST(PcmStream, ChannelsInOppositePhaseAreNoticed) {
  std::vector<float> opposite;
  std::vector<float> one_sided;
  std::vector<float> same;
  for (int i = 0; i < 1600; ++i) {
    const float value = i % 2 == 0 ? 0.25F : -0.25F;
    opposite.insert(opposite.end(), {value, -0.9F * value});
    one_sided.insert(one_sided.end(), {value, 0.0F});
    same.insert(same.end(), {value, value});
  }
  for (const auto& [signal, cancels] : {std::pair(opposite, true), std::pair(one_sided, false), std::pair(same, false)}) {
    Given source(signal, 16000, 2);
    PcmStream stream(source, "x", kMixChannels, 16000, 100, 0);
    All(stream);
    EXPECT_EQ(stream.phase().cancels(), cancels);
  }
  // The mean is 0.05 of the one channel, where independent ones would leave sqrt(1 + 0.81) / 2: 20 log10(0.05 / 0.6727) = -22.58 dB.
  Given source(opposite, 16000, 2);
  PcmStream stream(source, "x", kMixChannels, 16000, 100, 0);
  All(stream);
  EXPECT_NEAR(stream.phase().loss_db(), -22.58, 0.01);
}

TEST(PcmStream, MissingChannelIsRefused) {
  Given source({0, 0}, 16000, 2);
  try {
    PcmStream stream(source, "two.wav", 3, 16000, 100, 0);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kBadRate);
    EXPECT_STREQ(failure.what(), "two.wav: there is no channel 3 (the audio has 2)");
  }
}

TEST(PcmStream, OverloadSaturatesAndNotANumberIsSilence) {
  Given source({1.0F, 1.5F, -1.5F, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}, 16000, 1);
  PcmStream stream(source, "x", kMixChannels, 16000, 100, 0);
  EXPECT_EQ(All(stream), (std::vector<int16_t>{32767, 32767, -32768, 0, 32767}));
}

TEST(PcmStream, GainIsInDecibels) {
  Given source({0.01F, 0.5F}, 16000, 1);
  PcmStream stream(source, "x", kMixChannels, 16000, 100, 20);
  EXPECT_EQ(All(stream), (std::vector<int16_t>{3277, 32767}));
}

class Resampled : public ::testing::TestWithParam<int> {};

// A tone of 400 Hz must come out as the same tone, at the same place in time, as long as before.
TEST_P(Resampled, ToneKeepsItsPhaseAndLength) {
  const int rate = GetParam();
  const auto tone = [](double t) { return 0.5 * std::sin(2 * std::numbers::pi * 400 * t); };
  std::vector<float> in(static_cast<size_t>(rate));
  for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(tone(static_cast<double>(i) / rate));
  Given source(in, rate, 1);
  PcmStream stream(source, "x", kMixChannels, 16000, 10, 0);
  const std::vector<int16_t> out = All(stream);
  ASSERT_NEAR(static_cast<double>(out.size()), 16000.0, 1.0);
  for (size_t i = 2000; i < 14000; ++i) {  // away from the edges, where the tone stops short
    ASSERT_NEAR(out[i] / 32768.0, tone(static_cast<double>(i) / 16000), 0.001) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Rates, Resampled, ::testing::Values(8000, 11025, 22050, 32000, 44100, 48000, 96000, 192000));

TEST(Resampler, RatesOutsideTheRangeAreRefused) {
  for (const int rate : {-1, 0, 999, 768001}) {
    try {
      CheckRate("odd.wav", rate);
      ADD_FAILURE() << rate;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::kBadRate);
    }
  }
  EXPECT_NO_THROW(CheckRate("x", 1000));
  EXPECT_NO_THROW(CheckRate("x", 768000));
}

}  // namespace
}  // namespace TSEG::tool
