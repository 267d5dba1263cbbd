// SPDX-License-Identifier: Apache-2.0
//
// The mel filter bank: where the bins fall, how their power is shared, and what takes no part.
#include "frontend/mel_bank.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace TSEG {
namespace {

struct Shape {
  int filters, n_fft;
  float bin_hz;
};
constexpr Shape kShapes[] = {{24, 512, 31.25f}, {40, 512, 31.25f},   {24, 256, 31.25f},
                             {40, 256, 31.25f}, {24, 256, 23.4375f}, {40, 256, 23.4375f}};

TEST(MelBank, ScaleFollowsItsFormula) {
  EXPECT_EQ(MelOfHz(0.0f), 0.0);
  EXPECT_NEAR(MelOfHz(700.0f), 781.1768, 1e-3);    // 1127 * ln 2
  EXPECT_NEAR(MelOfHz(8000.0f), 2840.0377, 1e-3);  // 1127 * ln(87/7)
}

// The first bins of the bank of 24 at 16 kHz, worked out by hand: the centres lie 2840.0377 / 25 = 113.60151 mel apart.
TEST(MelBank, FirstBinsOfTheBankOf24) {
  MelBank bank;
  bank.Build(24, 512, 31.25f);
  EXPECT_EQ(bank.bin(0), 0);
  EXPECT_EQ(bank.weight(0), 1.0f);
  // 31.25 Hz: 1127 * ln(1.044642857) = 49.2218 mel, before the first centre; (113.60151 - 49.2218) / 113.60151
  EXPECT_EQ(bank.bin(1), 0);
  EXPECT_NEAR(bank.weight(1), 0.566715, 2e-5);
  // 62.5 Hz: 1127 * ln(1.089285714) = 96.3835 mel
  EXPECT_EQ(bank.bin(2), 0);
  EXPECT_NEAR(bank.weight(2), 0.151565, 2e-5);
  // 93.75 Hz: 1127 * ln(1.133928571) = 141.6506 mel, behind the first centre; (227.20302 - 141.6506) / 113.60151
  EXPECT_EQ(bank.bin(3), 1);
  EXPECT_NEAR(bank.weight(3), 0.753092, 2e-5);
}

TEST(MelBank, WeightIsTheDistanceToTheNextCentre) {
  for (const Shape& shape : kShapes) {
    MelBank bank;
    bank.Build(shape.filters, shape.n_fft, shape.bin_hz);
    const double nyquist = shape.n_fft / 2 * static_cast<double>(shape.bin_hz);
    const double spacing = 1127 * std::log(1 + nyquist / 700) / (shape.filters + 1);
    for (int k = 1; k < shape.n_fft / 2; ++k) {
      const double place = 1127 * std::log(1 + k * static_cast<double>(shape.bin_hz) / 700) / spacing;
      EXPECT_EQ(bank.bin(k), static_cast<int>(place)) << shape.filters << " bin " << k;
      EXPECT_NEAR(bank.weight(k), static_cast<int>(place) + 1 - place, 3e-5) << shape.filters << " bin " << k;
    }
  }
}

TEST(MelBank, EachBinFeedsItsTwoNeighbours) {
  for (const Shape& shape : kShapes) {
    MelBank bank;
    bank.Build(shape.filters, shape.n_fft, shape.bin_hz);
    for (int k = 1; k < shape.n_fft / 2; ++k) {
      std::vector<float> power(static_cast<size_t>(shape.n_fft / 2));
      power[static_cast<size_t>(k)] = 1000.0f;
      std::vector<float> out(static_cast<size_t>(shape.filters), -1.0f);
      bank.Apply(power.data(), out.data());
      const int b = bank.bin(k);
      for (int f = 0; f < shape.filters; ++f) {
        float want = 0.0f;
        if (f == b - 1) want = bank.weight(k) * 1000.0f;
        if (f == b) want = (1.0f - bank.weight(k)) * 1000.0f;
        EXPECT_EQ(out[static_cast<size_t>(f)], want) << shape.filters << " bin " << k << " filter " << f;
      }
    }
  }
}

TEST(MelBank, SumsRunInTheOrderOfTheBins) {
  for (const Shape& shape : kShapes) {
    MelBank bank;
    bank.Build(shape.filters, shape.n_fft, shape.bin_hz);
    std::vector<float> power(static_cast<size_t>(shape.n_fft / 2));
    for (size_t k = 0; k < power.size(); ++k) power[k] = std::exp(static_cast<float>(k * 37 % 23));
    std::vector<float> want(static_cast<size_t>(shape.filters), 0.0f);
    for (int k = 1; k < shape.n_fft / 2; ++k) {
      const int b = bank.bin(k);
      const float p = power[static_cast<size_t>(k)];
      if (b > 0) want[static_cast<size_t>(b - 1)] += bank.weight(k) * p;
      if (b < shape.filters) want[static_cast<size_t>(b)] += (1.0f - bank.weight(k)) * p;
    }
    std::vector<float> out(want.size());
    bank.Apply(power.data(), out.data());
    EXPECT_EQ(out, want) << shape.filters << " at " << shape.bin_hz;
  }
}

TEST(MelBank, ConstantPartTakesNoPart) {
  MelBank bank;
  bank.Build(40, 512, 31.25f);
  std::vector<float> power(256);
  power[0] = 1e12f;
  std::vector<float> out(40, -1.0f);
  bank.Apply(power.data(), out.data());
  for (const float v : out) EXPECT_EQ(v, 0.0f);
}

}  // namespace
}  // namespace TSEG
