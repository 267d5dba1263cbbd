// SPDX-License-Identifier: Apache-2.0
#include "blocks/block_source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace TSEG::blocks {
namespace {

// A buzz of changing pitch and level over a little noise, so that no two frames are alike.
std::vector<int16_t> Buzz(size_t n_samples) {
  std::vector<int16_t> samples(n_samples);
  uint32_t state = 12345;
  double phase = 0;
  for (size_t i = 0; i < n_samples; ++i) {
    const double t = static_cast<double>(i) / 16000.0;
    phase += (140.0 + 60.0 * std::sin(2.0 * t)) / 16000.0;
    state = state * 1664525u + 1013904223u;
    const double noise = static_cast<double>(state >> 16) / 65536.0 - 0.5;
    const double saw = phase - std::floor(phase) - 0.5;
    samples[i] = static_cast<int16_t>(6000.0 * saw * (1.0 + std::sin(5.0 * t)) + 300.0 * noise);
  }
  return samples;
}

std::vector<std::vector<float>> Blocks(const BlockOptions& options, const std::vector<int16_t>& samples,
                                       std::vector<bool>* ends = nullptr) {
  BlockSource source(options);
  std::vector<std::vector<float>> blocks;
  const auto floats = static_cast<size_t>(BlockFloats(options.model_type));
  source.Run(samples, [&](const float* block, bool eof) {
    blocks.emplace_back(block, block + floats);
    if (ends != nullptr) ends->push_back(eof);
  });
  return blocks;
}

TEST(BlockSource, CentreFramesSplicedGiveTheBlocks) {
  // 16000 + 123 samples: windows of 800 every 160 give (16123 - 800) / 160 + 1 = 96 frames.
  const auto blocks = Blocks(BlockOptions(), Buzz(16123));
  ASSERT_EQ(blocks.size(), 96u);
  for (int k = 0; k < 96; ++k) {
    for (int j = 0; j < 11; ++j) {
      const auto centre = blocks[static_cast<size_t>(std::clamp(k + j - 5, 0, 95))].begin() + kCentreFirst;
      ASSERT_TRUE(std::equal(centre, centre + kCentreFloats, blocks[static_cast<size_t>(k)].begin() + 75 * j)) << k << " " << j;
    }
  }
}

TEST(BlockSource, ARecordingBeyondTheRingsGivesEveryFrameOnce) {
  // Eight seconds, more frames than a ring holds: (128000 - 800) / 160 + 1 = 796.
  std::vector<bool> ends;
  EXPECT_EQ(Blocks(BlockOptions(), Buzz(128000), &ends).size(), 796u);
  EXPECT_EQ(std::count(ends.begin(), ends.end(), true), 1);
  EXPECT_TRUE(ends.back());
}

TEST(BlockSource, OneSourceServesOneRecordingAfterAnother) {
  BlockSource source{BlockOptions()};
  const std::vector<int16_t> samples = Buzz(20000);
  std::vector<float> first, second;
  source.Run(samples, [&](const float* block, bool) { first.insert(first.end(), block, block + 825); });
  source.Run(samples, [&](const float* block, bool) { second.insert(second.end(), block, block + 825); });
  EXPECT_EQ(first, second);
}

TEST(BlockSource, LessThanAWindowGivesNoBlock) {
  EXPECT_TRUE(Blocks(BlockOptions(), Buzz(799)).empty());
  EXPECT_EQ(Blocks(BlockOptions(), Buzz(800)).size(), 1u);
}

TEST(BlockSource, LastLstmBlockIsPaddedByKind) {
  // 800 + 5 * 160 samples: six frames, a full block and two frames over.
  const std::vector<int16_t> samples = Buzz(1600);
  BlockOptions options;
  options.model_type = "lstm_fb75";
  BlockSource source75(options);
  std::vector<std::vector<float>> blocks;
  source75.Run(samples, [&](const float* block, bool) { blocks.emplace_back(block, block + 300); });
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(source75.padded_frames(), 2);
  EXPECT_TRUE(std::equal(blocks[1].begin() + 75, blocks[1].begin() + 150, blocks[1].begin() + 150));
  EXPECT_TRUE(std::equal(blocks[1].begin() + 75, blocks[1].begin() + 150, blocks[1].begin() + 225));

  options.model_type = "lstm_fb40";
  const auto blocks40 = Blocks(options, Buzz(1280));  // its frames have 25 ms: (1280 - 400) / 160 + 1
  ASSERT_EQ(blocks40.size(), 2u);
  EXPECT_TRUE(std::all_of(blocks40[1].begin() + 80, blocks40[1].end(), [](float v) { return v == 0.0f; }));
  EXPECT_FALSE(std::all_of(blocks40[1].begin(), blocks40[1].begin() + 80, [](float v) { return v == 0.0f; }));
}

TEST(BlockSource, WithoutMeanRemovalStaticValuesAreTheRawOnes) {
  BlockOptions options;
  options.mean_removal = false;
  const auto blocks = Blocks(options, std::vector<int16_t>(1600, 0));
  ASSERT_FALSE(blocks.empty());
  EXPECT_EQ(blocks[0][0], 0.0f);  // digital silence: ln of the floor of 1
  EXPECT_LT(Blocks(BlockOptions(), std::vector<int16_t>(1600, 0))[0][0], -1.0f);
}

TEST(BlockSource, ReadyMeansCountAsSoManyFramesOfTheUsualOnes) {
  // The first frame x less a mean of n usual frames p and itself: n (x - p) / (n + 1).
  const auto first = [](int32_t ready_means) {
    BlockOptions options;
    options.ready_means = ready_means;
    return Blocks(options, Buzz(800)).at(0);
  };
  const std::vector<float> one = first(1), three = first(3);
  const int at = kCentreFirst + 5;
  EXPECT_NEAR(three[at], 2 * one[at] * 3 / 4, 1e-3);
  // The means of a second together, which are the same for each of its frames.
  BlockOptions slow;
  slow.ready_means = 0;
  const auto together = Blocks(slow, Buzz(16000));
  EXPECT_NE(together[0][at], Blocks(BlockOptions(), Buzz(16000))[0][at]);
}

}  // namespace
}  // namespace TSEG::blocks
