// SPDX-License-Identifier: Apache-2.0
#include "base/power_of_two.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace TSEG {
namespace {

TEST(PowerOfTwo, IsExactFromTheSmallestNormalNumberToTheLargestPower) {
  EXPECT_EQ(PowerOfTwo(0), 1.0);
  EXPECT_EQ(PowerOfTwo(10), 1024.0);
  EXPECT_EQ(PowerOfTwo(-1), 0.5);
  EXPECT_EQ(PowerOfTwo(-1022), std::numeric_limits<double>::min());
  EXPECT_EQ(PowerOfTwo(1023), 0x1p1023);
}

TEST(PowerOfTwo, TimesASingleIsWhatTheLibraryMakesOfIt) {
  // Which bits a product has depends on its exponents alone, so every exponent of a single meets every shift that a byte holds: zeros and
  // numbers below the normal ones, infinities and not-a-numbers among them, of either sign, with no, one, some and all bits behind the
  // first.
  for (uint32_t exponent = 0; exponent < 256; ++exponent) {
    for (const uint32_t rest : {0u, 1u, 0x2AAAAAu, 0x400000u, 0x7FFFFFu}) {
      for (const uint32_t sign : {0u, 1u}) {
        const auto x = static_cast<double>(std::bit_cast<float>(sign << 31 | exponent << 23 | rest));
        for (int shift = 0; shift < 256; ++shift) {
          const double product = x * PowerOfTwo(shift);
          const double want = std::ldexp(x, shift);
          ASSERT_EQ(std::bit_cast<uint64_t>(product), std::bit_cast<uint64_t>(want)) << x << " shift " << shift;
        }
      }
    }
  }
}

}  // namespace
}  // namespace TSEG
