// SPDX-License-Identifier: Apache-2.0
//
// The loops over a frame, at every level that this processor runs: the values of their definitions, to the bit.
#include "frontend/loops/loops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "frontend/test_audio.h"

namespace TSEG::loops {
namespace {

std::vector<const Loops*> Levels() {
  std::vector<const Loops*> levels = {&base::kLoops};
  if (&LoopsOfThisProcessor() != &base::kLoops) levels.push_back(&LoopsOfThisProcessor());
  return levels;
}

// Of no whole number of vectors, so that what is left over counts too.
constexpr int32_t kLength = 403;

std::vector<float> Floats(uint32_t seed) {
  std::vector<float> values(2 * kLength);
  for (float& v : values) {
    seed = seed * 1664525u + 1013904223u;
    v = std::ldexp(static_cast<float>(seed >> 8) - 8388608.0f, static_cast<int>(seed % 23) - 20);
  }
  return values;
}

TEST(FrameLoops, SumOfTheLoudestFrameIsExact) {
  const std::vector<int16_t> samples(400, -32768);
  for (const Loops* loops : Levels()) EXPECT_EQ(loops->sum(samples.data(), 400), -13107200);
}

TEST(FrameLoops, EachLevelGivesTheValuesOfTheDefinitions) {
  const std::vector<int16_t> samples = testing_support::Noise(kLength, 30000);
  const std::vector<float> x = Floats(1), w = Floats(2);
  for (const Loops* loops : Levels()) {
    int32_t sum = 0;
    for (const int16_t sample : samples) sum += sample;
    EXPECT_EQ(loops->sum(samples.data(), kLength), sum);
    std::vector<float> out(kLength);
    loops->take(samples.data(), kLength, -17.3f, out.data());
    for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], static_cast<float>(samples[i]) - -17.3f) << i;
    loops->window(x.data(), kLength, 0.97f, w.data(), out.data());
    ASSERT_EQ(out[0], x[0] * (1.0f - 0.97f) * w[0]);
    for (size_t i = 1; i < out.size(); ++i) {
      const float before = 0.97f * x[i - 1];
      ASSERT_EQ(out[i], (x[i] - before) * w[i]) << i;
    }
    std::vector<float> lengths(kLength);
    loops->power(x.data(), kLength, out.data());
    loops->magnitude(x.data(), kLength, lengths.data());
    for (size_t i = 0; i < out.size(); ++i) {
      const float re = x[2 * i] * x[2 * i];
      const float im = x[2 * i + 1] * x[2 * i + 1];
      ASSERT_EQ(out[i], re + im) << i;
      ASSERT_EQ(lengths[i], std::sqrt(re + im)) << i;
    }
  }
}

}  // namespace
}  // namespace TSEG::loops
