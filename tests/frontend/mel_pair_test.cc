// SPDX-License-Identifier: Apache-2.0
//
// Both banks in one pass: the sums of each bank by itself, to the bit.
#include "frontend/mel_pair.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace TSEG {
namespace {

struct Shape {
  int n_fft;
  float bin_hz;
};
constexpr Shape kShapes[] = {{512, 31.25f}, {256, 31.25f}, {256, 23.4375f}, {64, 250.0f}};  // the last has filters without a bin

// The two banks and the pair over them.
struct Banks {
  MelBank bank24, bank40;
  MelPair pair;
  size_t bins;
  explicit Banks(const Shape& shape) : bins(static_cast<size_t>(shape.n_fft / 2)) {
    bank24.Build(24, shape.n_fft, shape.bin_hz);
    bank40.Build(40, shape.n_fft, shape.bin_hz);
    pair.Build(bank24, bank40);
  }
  void ExpectEqual(const std::vector<float>& power) const {
    std::vector<float> want(64, -1.0f), got(64, -1.0f);
    bank24.Apply(power.data(), want.data());
    bank40.Apply(power.data(), want.data() + 24);
    pair.Apply(power.data(), got.data());
    EXPECT_EQ(got, want);
  }
};

TEST(MelPair, SumsAreThoseOfEachBank) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> mantissa(1.0f, 2.0f);
  for (const Shape& shape : kShapes) {
    const Banks banks(shape);
    for (int run = 0; run < 500; ++run) {
      // Of very different sizes, so that every order of additions but the right one rounds otherwise somewhere.
      std::vector<float> power(banks.bins);
      for (float& p : power) p = random() % 8 == 0 ? 0.0f : std::ldexp(mantissa(random), static_cast<int>(random() % 30));
      banks.ExpectEqual(power);
    }
  }
}

TEST(MelPair, EachBinReachesItsFiltersAlone) {
  for (const Shape& shape : kShapes) {
    const Banks banks(shape);
    for (size_t k = 0; k < banks.bins; ++k) {
      std::vector<float> power(banks.bins);
      power[k] = 1000.0f;
      banks.ExpectEqual(power);
    }
  }
}

TEST(MelPair, BuiltAnewItIsThatOfTheNewBanks) {
  Banks banks(kShapes[0]);
  const Banks others(kShapes[2]);
  banks.pair.Build(others.bank24, others.bank40);
  const std::vector<float> power(others.bins, 3.0f);
  std::vector<float> want(64), got(64);
  others.pair.Apply(power.data(), want.data());
  banks.pair.Apply(power.data(), got.data());
  EXPECT_EQ(got, want);
}

}  // namespace
}  // namespace TSEG
