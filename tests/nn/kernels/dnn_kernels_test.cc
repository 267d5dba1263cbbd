// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the feed-forward network: values worked out by hand on the reference, and equality of the other levels with it.
#include <gtest/gtest.h>

#include <cmath>

#include "nn/kernels/guarded.h"

namespace TSEG {
namespace {

using test::AllFills;
using test::AllLevels;
using test::FastLevels;
using test::Fill;
using test::Guarded;

TEST(SigmoidQ30, HoldsSinglePrecisionEntries) {
  EXPECT_EQ(SigmoidQ30()[4096], 536870912);
  EXPECT_EQ(SigmoidQ30()[0], 120);
  for (int i = 1; i < kSigmoidQ30Entries; ++i) ASSERT_GE(SigmoidQ30()[i], SigmoidQ30()[i - 1]) << i;
}

TEST(SigmoidQ30, EqualsItsDefinitionInEveryEntry) {
  // The exponential of the C library, rounded to single at once; the table has one of its own.
  for (int i = 0; i < kSigmoidQ30Entries; ++i) {
    const float x = static_cast<float>(i - 4096) / 256.0f;
    const float e = static_cast<float>(std::exp(-static_cast<double>(x)));
    const float y = static_cast<float>(1.0 / (static_cast<double>(e) + 1.0));
    ASSERT_EQ(SigmoidQ30()[i], static_cast<int32_t>(static_cast<double>(y) * 1073741824.0)) << i;
  }
  EXPECT_EQ(SigmoidQ30()[kSigmoidQ30Entries], 0);
}

TEST(SigmoidTable8, EntryZeroIsNeverUsed) {
  // a = 8: the index is v + 4096. Index 0 gives 0 although its entry is 120, which would round to 1 at b = 23.
  for (const KernelLevel& level : AllLevels()) {
    std::vector<int32_t> in(32, -4096);
    in[1] = -4095;
    std::vector<uint8_t> out(32, 77);
    level.dnn.sigmoid8_of32(in.data(), 32, 8, 23, out.data());
    EXPECT_EQ(out[0], 0) << level.name;
    EXPECT_EQ(out[1], 1) << level.name;
  }
}

TEST(SigmoidTable8, TopOfTheRangeIsOneShiftedByB) {
  // 16.0 at 9 fraction bits is 8192; the index is (8192 + 8192) >> 1 = 8192.
  for (const KernelLevel& level : AllLevels()) {
    const std::vector<int16_t> in(32, 8192);
    std::vector<uint8_t> out(32);
    level.dnn.sigmoid8_of16(in.data(), 32, 9, 7, out.data());
    EXPECT_EQ(out, std::vector<uint8_t>(32, 128)) << level.name;
    level.dnn.sigmoid8_of16(in.data(), 32, 9, 8, out.data());
    EXPECT_EQ(out, std::vector<uint8_t>(32, 0)) << level.name;
    // Zero is the middle: 0.5 at 7 bits.
    const std::vector<int16_t> zero(32, 0);
    level.dnn.sigmoid8_of16(zero.data(), 32, 9, 7, out.data());
    EXPECT_EQ(out, std::vector<uint8_t>(32, 64)) << level.name;
  }
}

TEST(SigmoidTable8, SumWrapsAt32Bits) {
  // 2147483647 + 2^12 wraps to the lowest values, so the largest input gives 0 and not the top.
  for (const KernelLevel& level : AllLevels()) {
    const std::vector<int32_t> in(32, 2147483647);
    std::vector<uint8_t> out(32, 9);
    level.dnn.sigmoid8_of32(in.data(), 32, 8, 7, out.data());
    EXPECT_EQ(out, std::vector<uint8_t>(32, 0)) << level.name;
  }
}

TEST(DnnGemmInt8, DotProductBeyond16BitsWraps) {
  // 160 x 125 + 160 x 125 in a row of 16: each pair is 125 * 160 = 20000 and the two add up to 40000.
  for (const KernelLevel& level : AllLevels()) {
    std::vector<uint8_t> frames(4 * 16, 0);
    frames[0] = frames[2] = 160;
    std::vector<int8_t> weights(2 * 16, 0);
    weights[0] = weights[2] = 125;
    std::vector<int16_t> out(8, 1);
    level.dnn.gemm_int8(frames.data(), 2, 16, weights.data(), out.data());
    EXPECT_EQ(out, (std::vector<int16_t>{-25536, 0, 0, 0, 0, 0, 0, 0})) << level.name;
  }
}

TEST(DnnGemmInt8, PairsSaturateBeforeTheyAreAdded) {
  // 255 * 127 * 2 = 64770 saturates to 32767; 255 * -128 * 2 saturates to -32768; their sum is -1.
  for (const KernelLevel& level : AllLevels()) {
    std::vector<uint8_t> frames(4 * 16, 255);
    std::vector<int8_t> weights(2 * 16, 0);
    weights[0] = weights[1] = 127;
    weights[2] = weights[3] = -128;
    std::vector<int16_t> out(8);
    level.dnn.gemm_int8(frames.data(), 2, 16, weights.data(), out.data());
    for (size_t f = 0; f < 4; ++f) {
      EXPECT_EQ(out[2 * f], -1) << level.name;
      EXPECT_EQ(out[2 * f + 1], 0) << level.name;
    }
  }
}

TEST(DnnGemmInt16, SumsWrapAt32Bits) {
  // -32768 * -32768 * 2 is 2^31, which reads as -2^31; four such pairs are a multiple of 2^32.
  for (const KernelLevel& level : AllLevels()) {
    const std::vector<int16_t> frames(4 * 8, -32768);
    std::vector<int16_t> weights(2 * 8, -32768);
    for (size_t j = 2; j < 8; ++j) weights[j] = 0;
    std::vector<int32_t> out(8, 5);
    level.dnn.gemm_int16(frames.data(), 2, 8, weights.data(), out.data());
    for (size_t f = 0; f < 4; ++f) {
      EXPECT_EQ(out[2 * f], INT32_MIN) << level.name;
      EXPECT_EQ(out[2 * f + 1], 0) << level.name;
    }
  }
}

TEST(DnnBias, EqualBytesGiveTheFactorOne) {
  EXPECT_EQ(DnnBiasFactor(13, 13), 1.0);
  EXPECT_EQ(DnnBiasFactor(13, 15), 4.0);
  EXPECT_EQ(DnnBiasFactor(24, 21), 0.125);
}

TEST(DnnBias, ShortFormWraps) {
  for (const KernelLevel& level : AllLevels()) {
    std::vector<int16_t> values(8, 10000);
    const std::vector<int32_t> bias(8, 30000);
    level.dnn.bias16(values.data(), 1, 8, bias.data(), 11, 11);
    EXPECT_EQ(values, std::vector<int16_t>(8, -25536)) << level.name;
  }
}

TEST(DnnBias, IsCutTowardZero) {
  // bias -3 + 5 * 2^-1 = -0.5, cut to 0; bias 1 + 5 * 2^-1 = 3.5, cut to 3; -3 + -5 / 2 = -5.5, cut to -5.
  for (const KernelLevel& level : AllLevels()) {
    std::vector<int32_t> values = {5, 5, -5, 0};
    const std::vector<int32_t> bias = {-3, 1, -3, 7};
    level.dnn.bias32(values.data(), 1, 4, bias.data(), 12, 11);
    EXPECT_EQ(values, (std::vector<int32_t>{0, 3, -5, 7})) << level.name;
  }
}

TEST(DnnBias, LongFormKeepsTheLow32Bits) {
  // 2147483647 + 2147483647 = 2^32 - 2 reads as -2.
  for (const KernelLevel& level : AllLevels()) {
    std::vector<int32_t> values(4, 2147483647);
    const std::vector<int32_t> bias(4, 2147483647);
    level.dnn.bias32(values.data(), 1, 4, bias.data(), 8, 8);
    EXPECT_EQ(values, std::vector<int32_t>(4, -2)) << level.name;
  }
}

TEST(CutToInt16, KeepsLowBitsWithoutSaturation) {
  // 17.0 * 2048 = 34816 reads as -30720; -0.9 / 2048 is cut to 0; 2^21 * 2048 = 2^32 has no low bits; 2^20 + 1/2048 is not a
  // single, but 4095.9997 * 2048 = 8388607.5 is cut to 8388607 = 0x7FFFFF, low bits -1.
  const float big = std::ldexp(16777215.0f, -12);  // 4095.99976
  for (const KernelLevel& level : AllLevels()) {
    std::vector<float> x(16, 0.0f);
    x[0] = 17.0f;
    x[1] = -0.9f / 2048.0f;
    x[2] = 2097152.0f;
    x[3] = big;
    x[4] = 3e38f;
    x[5] = -std::numeric_limits<float>::infinity();
    x[6] = std::numeric_limits<float>::quiet_NaN();
    x[7] = std::ldexp(1.0f, 21) + 0.25f;  // times 2048: 2^32 + 512
    x[8] = -1.5f / 2048.0f;
    std::vector<int16_t> out(16, 3);
    level.dnn.cut_to_int16(x.data(), 16, 2048.0f, out.data());
    EXPECT_EQ(out, (std::vector<int16_t>{-30720, 0, 0, -1, 0, 0, 0, 512, -1, 0, 0, 0, 0, 0, 0, 0})) << level.name;
  }
}

TEST(CutToInt16, WorksInPlace) {
  for (const KernelLevel& level : AllLevels()) {
    std::vector<float> x(832);
    std::vector<int16_t> expected(832);
    for (size_t j = 0; j < x.size(); ++j) {
      x[j] = static_cast<float>(static_cast<int>(j) - 400) / 2048.0f;
      expected[j] = static_cast<int16_t>(static_cast<int>(j) - 400);
    }
    x[100] = 1e9f;  // 2.048e12 = 10^9 * 2^11, whose low 16 bits are those of 10^9 * 2048
    expected[100] = static_cast<int16_t>(static_cast<uint16_t>((1000000000ull * 2048ull) & 0xFFFFu));
    int16_t* narrow = static_cast<int16_t*>(static_cast<void*>(x.data()));
    level.dnn.cut_to_int16(x.data(), 832, 2048.0f, narrow);
    std::vector<int16_t> got(832);
    std::memcpy(got.data(), x.data(), got.size() * sizeof(int16_t));
    EXPECT_EQ(got, expected) << level.name;
  }
}

class DnnKernelLevels : public test::FastLevelsTest {};

TEST_F(DnnKernelLevels, GemmsEqualTheReference) {
  std::mt19937 random(7);
  const DnnKernels& ref = ref::kLevel.dnn;
  for (const KernelLevel& level : FastLevels()) {
    const DnnKernels& fast = level.dnn;
    for (int32_t rows : {0, 1, 2, 3, 4, 6, 7, 32}) {
      for (int32_t cols : {0, 7, 8, 15, 16, 24, 31, 32, 40, 48, 63, 64, 80, 96, 832}) {
        for (Fill fill : AllFills()) {
          for (Fill weight_fill : AllFills()) {
            const auto m = static_cast<size_t>(rows * cols);
            const auto x = static_cast<size_t>(4 * cols);
            Guarded<int16_t> frames16(x), weights16(m);
            Guarded<uint8_t> frames8(x);
            Guarded<int8_t> weights8(m);
            FillWith(frames16, fill, random);
            FillWith(frames8, fill, random);
            FillWith(weights16, weight_fill, random);
            FillWith(weights8, weight_fill, random);
            Guarded<int32_t> want32(static_cast<size_t>(4 * rows)), got32(static_cast<size_t>(4 * rows));
            Guarded<int16_t> want16(static_cast<size_t>(4 * rows)), got16(static_cast<size_t>(4 * rows));
            ref.gemm_int16(frames16.data(), rows, cols, weights16.data(), want32.data());
            fast.gemm_int16(frames16.data(), rows, cols, weights16.data(), got32.data());
            ref.gemm_int8(frames8.data(), rows, cols, weights8.data(), want16.data());
            fast.gemm_int8(frames8.data(), rows, cols, weights8.data(), got16.data());
            ASSERT_TRUE(want32.Same(got32) && want16.Same(got16)) << level.name << " " << rows << " x " << cols;
            ASSERT_TRUE(want32.Intact() && got32.Intact() && want16.Intact() && got16.Intact());
          }
        }
      }
    }
  }
}

TEST_F(DnnKernelLevels, BiasAndSigmoidEqualTheReference) {
  std::mt19937 random(8);
  const DnnKernels& ref = ref::kLevel.dnn;
  for (const KernelLevel& level : FastLevels()) {
    const DnnKernels& fast = level.dnn;
    for (int32_t width : {0, 1, 3, 4, 7, 8, 31, 32, 33, 64, 75}) {
      for (Fill fill : AllFills()) {
        for (const auto& [p, q] : std::vector<std::pair<int, int>>{{24, 16}, {11, 11}, {8, 12}, {0, 255}, {255, 0}, {13, 14}}) {
          const auto n = static_cast<size_t>(width);
          Guarded<int32_t> bias(n), wide(3 * n);
          Guarded<int16_t> narrow(3 * n);
          FillWith(bias, fill, random);
          FillWith(wide, Fill::kRandom, random);
          FillWith(narrow, Fill::kRandom, random);
          if (fill == Fill::kRandom) {  // within the usual range, where nothing overflows
            for (size_t j = 0; j < n; ++j) bias[j] >>= 18;
          }
          Guarded<int32_t> wide2(wide.values());
          Guarded<int16_t> narrow2(narrow.values());
          ref.bias32(wide.data(), 3, width, bias.data(), p, q);
          fast.bias32(wide2.data(), 3, width, bias.data(), p, q);
          ref.bias16(narrow.data(), 3, width, bias.data(), p, q);
          fast.bias16(narrow2.data(), 3, width, bias.data(), p, q);
          ASSERT_TRUE(wide.Same(wide2) && narrow.Same(narrow2)) << level.name << " width " << width << " p " << p << " q " << q;
          ASSERT_TRUE(wide2.Intact() && narrow2.Intact());
        }
      }
    }
    for (int32_t a : {8, 11, 12, 27}) {
      for (int32_t b : {0, 5, 7, 8, 29}) {
        for (int32_t n : {0, 5, 32, 45, 128}) {
          Guarded<int32_t> wide(static_cast<size_t>(n));
          Guarded<int16_t> narrow(static_cast<size_t>(n));
          FillWith(wide, Fill::kRandom, random);
          FillWith(narrow, Fill::kRandom, random);
          for (size_t j = 0; j < wide.size(); ++j) wide[j] >>= static_cast<int32_t>(j % 20);
          Guarded<uint8_t> want(static_cast<size_t>(n)), got(static_cast<size_t>(n));
          ref.sigmoid8_of32(wide.data(), n, a, b, want.data());
          fast.sigmoid8_of32(wide.data(), n, a, b, got.data());
          ASSERT_TRUE(want.Same(got) && got.Intact()) << level.name << " a " << a << " b " << b;
          ref.sigmoid8_of16(narrow.data(), n, a, b, want.data());
          fast.sigmoid8_of16(narrow.data(), n, a, b, got.data());
          ASSERT_TRUE(want.Same(got) && got.Intact()) << level.name << " a " << a << " b " << b;
        }
      }
    }
  }
}

TEST_F(DnnKernelLevels, SigmoidEqualsTheReferenceOnEveryShortInput) {
  std::vector<int16_t> in(65536);
  for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<int16_t>(static_cast<int>(i) - 32768);
  std::vector<uint8_t> want(in.size()), got(in.size());
  for (const KernelLevel& level : FastLevels()) {
    for (int32_t a : {8, 9, 11, 12}) {
      ref::kLevel.dnn.sigmoid8_of16(in.data(), 65536, a, 7, want.data());
      level.dnn.sigmoid8_of16(in.data(), 65536, a, 7, got.data());
      ASSERT_EQ(want, got) << level.name << " a " << a;
    }
  }
}

TEST_F(DnnKernelLevels, NormalisationEqualsTheReference) {
  std::mt19937 random(9);
  std::normal_distribution<float> normal(0.0f, 20.0f);
  const DnnKernels& ref = ref::kLevel.dnn;
  for (const KernelLevel& level : FastLevels()) {
    const DnnKernels& fast = level.dnn;
    for (int32_t n : {0, 1, 4, 7, 8, 16, 19, 40, 75, 832}) {
      const auto count = static_cast<size_t>(n);
      Guarded<float> x(count), mean(count), inv_std(count);
      for (size_t j = 0; j < count; ++j) {
        x[j] = normal(random);
        mean[j] = normal(random);
        inv_std[j] = normal(random);
      }
      if (n > 16) x[3] = 1e30f;
      if (n > 16) x[11] = std::numeric_limits<float>::quiet_NaN();
      Guarded<float> y(x.values());
      ref.normalise(x.data(), n, mean.data(), inv_std.data());
      fast.normalise(y.data(), n, mean.data(), inv_std.data());
      ASSERT_TRUE(x.Same(y) && y.Intact()) << level.name << " n " << n;
      Guarded<int16_t> want(count), got(count);
      ref.cut_to_int16(x.data(), n, 2048.0f, want.data());
      fast.cut_to_int16(x.data(), n, 2048.0f, got.data());
      ASSERT_TRUE(want.Same(got) && got.Intact()) << level.name << " n " << n;
    }
  }
}

}  // namespace
}  // namespace TSEG
