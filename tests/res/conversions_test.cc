// SPDX-License-Identifier: Apache-2.0
#include "res/conversions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "res/md5.h"
#include "res/test_models.h"

namespace TSEG {
namespace {

using testing_support::At;

const float kNan = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

TEST(Conversions, QFixedAddsTheHalfToNegativeValuesToo) {
  EXPECT_EQ(QFixed(-0.75F, 1), -1);   // -1.5 + 0.5 = -1.0
  EXPECT_EQ(Fixed16(-0.75F, 1), -2);  // -1.5 - 0.5 = -2.0
  EXPECT_EQ(QFixed(0.75F, 1), 2);
  EXPECT_EQ(QFixed(-0.25F, 1), 0);  // -0.5 + 0.5
  EXPECT_EQ(QFixed(-1.0F, 1), -1);  // -2 + 0.5 = -1.5, cut
}

TEST(Conversions, QFixedKeepsTheLowBitsOfWhatDoesNotFit) {
  EXPECT_EQ(QFixed(1.0F, 15), -32768);  // 32768.5 -> 0x8000
  EXPECT_EQ(QFixed(4.0F, 13), -32768);
  EXPECT_EQ(QFixed(3.0F, 15), -32768);   // 98304 = 0x18000
  EXPECT_EQ(QFixed(-1.0F, 15), -32767);  // -32767.5, cut
  EXPECT_EQ(QFixed(-2.0F, 15), 1);       // -65535.5, cut to -65535 = ...0001
  EXPECT_EQ(QFixed(kNan, 13), 0);        // the lowest 64-bit value has no low bits
}

TEST(Conversions, FixedRoundsHalvesAwayFromZeroAndClips) {
  EXPECT_EQ(Fixed32(0.5F, 0), 1);
  EXPECT_EQ(Fixed32(-0.5F, 0), -1);
  EXPECT_EQ(Fixed32(0.49999997F, 0), 0);  // the half is added in double, so this does not become 1
  EXPECT_EQ(Fixed32(1.25F, 2), 5);
  EXPECT_EQ(Fixed32(3.0e9F, 0), 2147483647);
  EXPECT_EQ(Fixed32(-3.0e9F, 0), -2147483647 - 1);
  EXPECT_EQ(Fixed16(1.0F, 15), 32767);
  EXPECT_EQ(Fixed16(-1.0F, 15), -32768);
  EXPECT_EQ(Fixed8(7.97F, 4), 127);  // 127.52 + 0.5
  EXPECT_EQ(Fixed8(8.5F, 4), 127);
  EXPECT_EQ(Fixed8(-8.5F, 4), -128);
  EXPECT_EQ(Fixed8(kInf, 0), 127);
  EXPECT_EQ(Fixed8(kNan, 0), -128);
}

TEST(Conversions, QuantInt8MapsTheRangeTo128ClippedTo127) {
  EXPECT_EQ(QRange8(0.3F, 0.3F), 127);
  EXPECT_EQ(QRange8(-0.3F, 0.3F), -128);
  EXPECT_EQ(QRange8(1.0F, 2.0F), 64);
  EXPECT_EQ(QRange8(2.5F / 64.0F, 2.0F), 3);    // 2.5, half up
  EXPECT_EQ(QRange8(-2.5F / 64.0F, 2.0F), -3);  // half away from zero
  EXPECT_EQ(QRange8(100.0F, 1.0F), 127);
}

TEST(Conversions, QuantInt16MapsTheRangeTo32768ClippedTo32767) {
  EXPECT_EQ(QRange16(2.0F, 2.0F), 32767);
  EXPECT_EQ(QRange16(-2.0F, 2.0F), -32768);
  EXPECT_EQ(QRange16(0.5F, 2.0F), 8192);
  EXPECT_EQ(QRange16(-1.5F / 16384.0F, 2.0F), -2);
  EXPECT_EQ(QRange16(kNan, 2.0F), -32768);
}

TEST(Conversions, InPlaceFormsFillTheFrontAndLeaveTheOldFloatsBehind) {
  std::vector<float> x = {1.0F, -1.0F, 0.5F, 0.25F, 2.0F};
  QRange8InPlace(x.data(), 5, 2.0F);
  EXPECT_EQ(At<int8_t>(x.data(), 0), 64);
  EXPECT_EQ(At<int8_t>(x.data(), 1), -64);
  EXPECT_EQ(At<int8_t>(x.data(), 2), 32);
  EXPECT_EQ(At<int8_t>(x.data(), 3), 16);
  EXPECT_EQ(At<int8_t>(x.data(), 4), 127);
  EXPECT_EQ(x[2], 0.5F);  // five bytes reach into the second float alone
  EXPECT_EQ(x[3], 0.25F);

  std::vector<float> y = {1.0F, -1.0F, 0.5F, 0.25F};
  QFixedInPlace(y.data(), 4, 13);
  EXPECT_EQ(At<int16_t>(y.data(), 0), 8192);
  EXPECT_EQ(At<int16_t>(y.data(), 1), -8191);  // -8192 + 0.5, cut
  EXPECT_EQ(At<int16_t>(y.data(), 2), 4096);
  EXPECT_EQ(At<int16_t>(y.data(), 3), 2048);
  EXPECT_EQ(y[2], 0.5F);

  std::vector<float> z = {1.0F, -2.0F};
  QRange16InPlace(z.data(), 2, 2.0F);
  EXPECT_EQ(At<int16_t>(z.data(), 0), 16384);
  EXPECT_EQ(At<int16_t>(z.data(), 1), -32768);
  EXPECT_EQ(z[1], -2.0F);
}

// Values around every border of the narrow types, between them, and those that are no numbers.
std::vector<float> AwkwardFloats() {
  std::vector<float> x = {0.0F, -0.0F, kNan, kInf, -kInf, 1.0e30F, -1.0e30F};
  for (const float edge : {0.5F, 1.0F, 127.0F, 127.5F, 128.0F, 32767.0F, 32767.5F, 32768.0F, 65536.0F, 2147483520.0F, 2147483648.0F}) {
    for (const float scale : {1.0F, 1.0F / 128.0F, 1.0F / 8192.0F, 1.0F / 32768.0F}) {
      for (const float near : {std::nextafter(edge, 0.0F), edge, std::nextafter(edge, kInf)}) {
        x.push_back(near * scale);
        x.push_back(-near * scale);
      }
    }
  }
  return x;
}

// All floats of `x` by `row` from an odd address, and by `in_place` where there is one, against `one` for each.
template <typename Narrow, typename One, typename Row, typename InPlace>
void ExpectAllEqual(const std::vector<float>& x, One one, Row row, InPlace in_place) {
  std::vector<unsigned char> odd(x.size() * sizeof(float) + 1);
  std::memcpy(odd.data() + 1, x.data(), x.size() * sizeof(float));
  std::vector<Narrow> y(x.size());
  row(odd.data() + 1, x.size(), y.data());
  std::vector<float> z = x;
  in_place(z.data(), z.size());
  for (size_t i = 0; i < x.size(); ++i) {
    EXPECT_EQ(y[i], one(x[i])) << x[i] << " at " << i;
    EXPECT_EQ(At<Narrow>(z.data(), i), one(x[i])) << x[i] << " in place at " << i;
  }
}

TEST(Conversions, RowsGiveTheValuesOfEachFloatByItself) {
  const auto none = [](auto one) {
    return [one](float* floats, size_t n) {
      for (size_t i = 0; i < n; ++i) {
        const auto y = one(floats[i]);
        std::memcpy(static_cast<unsigned char*>(static_cast<void*>(floats)) + i * sizeof y, &y, sizeof y);
      }
    };
  };
  std::vector<float> x = AwkwardFloats();
  for (int run = 0; run < 2; ++run) {
    for (const int q : {0, 7, 13, 15}) {
      const auto fixed32 = [q](float v) { return Fixed32(v, q); };
      const auto fixed16 = [q](float v) { return Fixed16(v, q); };
      const auto fixed8 = [q](float v) { return Fixed8(v, q); };
      ExpectAllEqual<int32_t>(
          x, fixed32, [q](const void* f, size_t n, int32_t* to) { Fixed32Row(f, n, q, to); }, none(fixed32));
      ExpectAllEqual<int16_t>(
          x, fixed16, [q](const void* f, size_t n, int16_t* to) { Fixed16Row(f, n, q, to); }, none(fixed16));
      ExpectAllEqual<int8_t>(
          x, fixed8, [q](const void* f, size_t n, int8_t* to) { Fixed8Row(f, n, q, to); }, none(fixed8));
      ExpectAllEqual<int16_t>(
          x, [q](float v) { return QFixed(v, q); }, [q](const void* f, size_t n, int16_t* to) { QFixedRow(f, n, q, to); },
          [q](float* f, size_t n) { QFixedInPlace(f, n, q); });
    }
    for (const float range : {1.0F, 0.3F, 2.0F, 128.0F}) {
      ExpectAllEqual<int16_t>(
          x, [range](float v) { return QRange16(v, range); },
          [range](const void* f, size_t n, int16_t* to) { QRange16Row(f, n, range, to); },
          [range](float* f, size_t n) { QRange16InPlace(f, n, range); });
      ExpectAllEqual<int8_t>(
          x, [range](float v) { return QRange8(v, range); }, [range](const void* f, size_t n, int8_t* to) { QRange8Row(f, n, range, to); },
          [range](float* f, size_t n) { QRange8InPlace(f, n, range); });
    }
    // The second time numbers alone: a block that holds a value beyond 31 bits goes another way.
    std::erase_if(x, [](float v) { return !(std::fabs(v) < 1000.0F); });
  }
}

TEST(Conversions, BiasCorrectionTakesOffWhatActivationsPlus128Add) {
  // Four rows of 16: row 0 all 1, row 1 all -2, row 2 a single 5, row 3 zero.
  std::vector<int8_t> w(64, 0);
  for (size_t c = 0; c < 16; ++c) {
    w[c] = 1;
    w[16 + c] = -2;
  }
  w[32 + 7] = 5;
  std::vector<float> correction = {10.0F, 0.0F, 0.0F, -1.0F};
  CorrectBias(w.data(), 4, 16, 16384.0F, correction.data());
  EXPECT_EQ(correction[0], 10.0F - 2048.0F);  // 16 * 128
  EXPECT_EQ(correction[1], 4096.0F);          // 32 * 128 back
  EXPECT_EQ(correction[2], -640.0F);
  EXPECT_EQ(correction[3], -1.0F);
}

TEST(Conversions, BiasCorrectionSaturatesTheSumOfFourBytes) {
  // 127 four times: 32512 and 32512, together clipped to 32767. -128 four times: -32768 twice, clipped to -32768.
  std::vector<int8_t> w(64, 0);
  for (size_t c = 0; c < 4; ++c) {
    w[c] = 127;
    w[16 + c] = -128;
  }
  std::vector<float> correction(4, 0.0F);
  CorrectBias(w.data(), 4, 16, 16384.0F, correction.data());
  EXPECT_EQ(correction[0], -32767.0F);
  EXPECT_EQ(correction[1], 32768.0F);
}

TEST(Conversions, BiasCorrectionPassesOverWhatIsNotAWholeBlock) {
  std::vector<int8_t> w(6 * 20, 1);
  std::vector<float> correction(6, 0.0F);
  CorrectBias(w.data(), 6, 20, 16384.0F, correction.data());
  for (size_t r = 0; r < 4; ++r) EXPECT_EQ(correction[r], -2048.0F) << r;  // 16 of the 20 columns
  EXPECT_EQ(correction[4], 0.0F);
  EXPECT_EQ(correction[5], 0.0F);
}

TEST(Md5, GivesThePublishedDigests) {
  const struct {
    const char* text;
    const char* digest;
  } kRows[] = {{"", "d41d8cd98f00b204e9800998ecf8427e"},
               {"a", "0cc175b9c0f1b6a831c399e269772661"},
               {"abc", "900150983cd24fb0d6963f7d28e17f72"},
               {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
               {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
               {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
               {"12345678901234567890123456789012345678901234567890123456789012345678901234567890", "57edf4a22be3c955ac49da2e2107b67a"}};
  for (const auto& row : kRows) EXPECT_EQ(Md5Hex(row.text, std::strlen(row.text)), row.digest) << row.text;
}

}  // namespace
}  // namespace TSEG
