// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the recurrent network: values worked out by hand, and equality of every level with the reference.
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

template <typename T>
std::vector<T> FrontOf(const std::vector<float>& packed, size_t n) {
  std::vector<T> values(n);
  std::memcpy(values.data(), packed.data(), n * sizeof(T));
  return values;
}

TEST(QuantInt8, MapsTheRangeTo127AndMinus128) {
  for (const KernelLevel& level : AllLevels()) {
    std::vector<float> x = {4.0f, -4.0f, 0.0f, 1.0f};
    level.lstm.quant_int8(x.data(), 4, 4.0f);
    EXPECT_EQ(FrontOf<int8_t>(x, 4), (std::vector<int8_t>{127, -128, 0, 32})) << level.name;
  }
}

TEST(QuantInt8, RoundsHalvesAwayFromZero) {
  // Range 128 makes the factor 1. The largest single below one half stays 0 although it and one half add up to 1 in single.
  const float below_half = std::nextafter(0.5f, 0.0f);
  for (const KernelLevel& level : AllLevels()) {
    std::vector<float> x = {0.5f, -0.5f, 1.5f, -2.5f, 0.49f, below_half, -below_half, -0.0f};
    level.lstm.quant_int8(x.data(), 8, 128.0f);
    EXPECT_EQ(FrontOf<int8_t>(x, 8), (std::vector<int8_t>{1, -1, 2, -3, 0, 0, 0, 0})) << level.name;
  }
}

TEST(QuantInt16, ClampsTheTrueValue) {
  const float infinity = std::numeric_limits<float>::infinity();
  for (const KernelLevel& level : AllLevels()) {
    std::vector<float> x = {1.0f, -1.0f, 1e30f, -1e30f, infinity, -infinity, 0.25f, std::nanf("")};
    level.lstm.quant_int16(x.data(), 8, 1.0f);
    EXPECT_EQ(FrontOf<int16_t>(x, 8), (std::vector<int16_t>{32767, -32768, 32767, -32768, 32767, -32768, 8192, -32768})) << level.name;
  }
}

TEST(GemvInt16ToFloat, EightColumnsWrapBeforeTheyWiden) {
  // Eight products of 2^30 are 2^33, which wraps to 0; two of them in one group of eight are 2^31, read as -2^31; two groups add up in 64
  // bits to -2^32. The scale is 32767^2 as a single, so s = 1073676288 makes the factor 1.
  for (const KernelLevel& level : AllLevels()) {
    const std::vector<int16_t> x(16, -32768);
    std::vector<int16_t> weights(4 * 16, 0);
    for (size_t j = 0; j < 8; ++j) weights[j] = -32768;                       // row 0
    weights[16] = weights[17] = -32768;                                       // row 1
    weights[32] = weights[33] = weights[32 + 8] = weights[32 + 15] = -32768;  // row 2
    weights[48] = 1;                                                          // row 3
    std::vector<float> y(4, 9.0f);
    level.lstm.gemv_int16(x.data(), 4, 16, weights.data(), y.data(), 1073676288.0f);
    EXPECT_EQ(y, (std::vector<float>{0.0f, -2147483648.0f, -4294967296.0f, -32768.0f})) << level.name;
  }
}

TEST(GemvInt8ToFloat, AddsAnOffsetAndSaturatesTwice) {
  // s = 16384 makes the factor 1. Activations 127 become 255. Row 0: 255 * 127 * 2 saturates to 32767, two of these to 32767 again. Row 1:
  // one pair 32767 and one pair -32768 give -1. Row 2: a zero activation would be 128 * w; here 255 * 1. Row 3: -32768 twice, held there.
  for (const KernelLevel& level : AllLevels()) {
    const std::vector<int8_t> x(16, 127);
    std::vector<int8_t> weights(4 * 16, 0);
    for (size_t j = 0; j < 4; ++j) weights[j] = 127;
    weights[16] = weights[17] = 127;
    weights[18] = weights[19] = -128;
    weights[32 + 7] = 1;
    for (size_t j = 48; j < 52; ++j) weights[j] = -128;
    std::vector<float> y(4);
    level.lstm.gemv_int8(x.data(), 4, 16, weights.data(), y.data(), 16384.0f);
    EXPECT_EQ(y, (std::vector<float>{32767.0f, -1.0f, 255.0f, -32768.0f})) << level.name;
  }
}

TEST(GemvFixed, ResultBeyond16BitsWraps) {
  // 100 * 400 = 40000 with a shift of 0 reads as -25536; -1 >> 1 stays -1.
  for (const KernelLevel& level : AllLevels()) {
    std::vector<int16_t> x(8, 0);
    x[0] = 100;
    x[1] = 1;
    std::vector<int16_t> weights(4 * 8, 0);
    weights[0] = 400;
    weights[9] = -1;
    std::vector<int16_t> y(4, 7);
    level.lstm.gemv_fixed(x.data(), 4, 8, weights.data(), y.data(), 0, 0, 0);
    EXPECT_EQ(y, (std::vector<int16_t>{-25536, -1, 0, 0})) << level.name;
    level.lstm.gemv_fixed(x.data(), 4, 8, weights.data(), y.data(), 1, 0, 0);
    EXPECT_EQ(y, (std::vector<int16_t>{20000, -1, 0, 0})) << level.name;
  }
}

TEST(GemvFixedClamped, HoldsWithin32767OfBothSigns) {
  // -100 * 400 = -40000; +40000; 3 * -0.5 + 0.5 = -1 exactly; 1.5 + 0.5 = 2; -5 / 2 + 0.5 = -2, 5 / 2 + 0.5 = 3; and -1 / 2 + 0.5 = 0.
  for (const KernelLevel& level : AllLevels()) {
    std::vector<int16_t> x(8, 0);
    x[0] = 100;
    x[1] = 1;
    std::vector<int16_t> weights(7 * 8, 0);
    weights[0] = -800;
    weights[8] = 800;
    weights[2 * 8 + 1] = -3;
    weights[3 * 8 + 1] = 3;
    weights[4 * 8 + 1] = -5;
    weights[5 * 8 + 1] = 5;
    weights[6 * 8 + 1] = -1;
    std::vector<int16_t> y(7, 9);
    level.lstm.gemv_fixed_clamped(x.data(), 7, 8, weights.data(), y.data(), 1, 0, 0);
    EXPECT_EQ(y, (std::vector<int16_t>{-32767, 32767, -1, 2, -2, 3, 0})) << level.name;
  }
}

TEST(GemvFixedClamped, SumsNeverWrap) {
  // 64 products of 2^30 are 2^36; by 2^-22 that is 16384, and the half added is cut off.
  for (const KernelLevel& level : AllLevels()) {
    const std::vector<int16_t> x(64, -32768), weights(64, -32768);
    std::vector<int16_t> y(1);
    level.lstm.gemv_fixed_clamped(x.data(), 1, 64, weights.data(), y.data(), 15, 14, 7);
    EXPECT_EQ(y[0], 16384) << level.name;
  }
}

TEST(GemvFloat, LanesAndSingleSumDiffer) {
  // In one running sum 1 + 2^-24 is a tie that rounds to 1, each time. In lanes the three small terms meet 1 in double, and 1 + 3 * 2^-24,
  // half way between 1 + 2^-23 and 1 + 2^-22, rounds to the even one of them.
  const float tiny = std::ldexp(1.0f, -24);
  const std::vector<float> x = {1.0f, tiny, tiny, tiny};
  const std::vector<float> ones(4, 1.0f);
  float lanes = 0.0f, single = 0.0f;
  ref::GemvFloatSse(x.data(), 1, 4, ones.data(), &lanes);
  ref::GemvFloatX87(x.data(), 1, 4, ones.data(), &single);
  EXPECT_EQ(single, 1.0f);
  EXPECT_EQ(lanes, 1.0f + 4 * tiny);
}

TEST(GemvFloat, OnlyTheSingleSumTakesTheTail) {
  const std::vector<float> x(7, 1.0f), ones(7, 1.0f);
  float lanes = 0.0f, single = 0.0f;
  ref::GemvFloatSse(x.data(), 1, 7, ones.data(), &lanes);
  ref::GemvFloatX87(x.data(), 1, 7, ones.data(), &single);
  EXPECT_EQ(lanes, 4.0f);
  EXPECT_EQ(single, 7.0f);
}

TEST(Softmax, OfEqualValuesIsHalf) {
  const float x[2] = {0.0f, 0.0f};
  float y[2] = {};
  Softmax(2, x, y);
  EXPECT_EQ(y[0], 0.5f);
  EXPECT_EQ(y[1], 0.5f);
  Softmax(0, x, y);
  EXPECT_EQ(y[0], 0.5f);
}

TEST(FixedActivations, MiddleAndEndsOfTheRange) {
  // sigmoid(0) = 0.5 -> 8192.5, cut. sigmoid(31) is 1 as a single -> 16384.5, cut. sigmoid(-32) -> 0.5, cut.
  std::vector<int16_t> v = {0, 31744, -32768};
  SigmoidFixed10To14(v.data(), 3);
  EXPECT_EQ(v, (std::vector<int16_t>{8192, 16384, 0}));
  // tanh(0.5) = 0.4621172 -> 236.604 + 0.5; tanh(-0.5) -> -236.604 + 0.5 cut toward zero; tanh(31) = 1 -> 512.5, tanh(-32) -> -511.5.
  v = {512, -512, 31744, -32768};
  TanhFixed10To9(v.data(), 4);
  EXPECT_EQ(v, (std::vector<int16_t>{237, -236, 512, -511}));
  // tanh(1) = 0.7615942 -> 12477.96 + 0.5.
  v = {512, 0};
  TanhFixed9To14(v.data(), 2);
  EXPECT_EQ(v, (std::vector<int16_t>{12478, 0}));
}

TEST(FixedActivations, TablesEqualTheDefinitionOnEveryInput) {
  std::vector<int16_t> all(65536);
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<int16_t>(static_cast<int>(i) - 32768);
  std::vector<int16_t> want = all, got = all;
  ref::SigmoidFixed(want.data(), 65536, 10, 14);
  SigmoidFixed10To14(got.data(), 65536);
  EXPECT_EQ(want, got);
  want = got = all;
  ref::TanhFixed(want.data(), 65536, 10, 9);
  TanhFixed10To9(got.data(), 65536);
  EXPECT_EQ(want, got);
  want = got = all;
  ref::TanhFixed(want.data(), 65536, 9, 14);
  TanhFixed9To14(got.data(), 65536);
  EXPECT_EQ(want, got);
}

TEST(FixedHelpers, WrapAndSaturateWhereStated) {
  for (const KernelLevel& level : AllLevels()) {
    const LstmKernels& k = level.lstm;
    // Sum wraps: 30000 + 10000 = 40000.
    std::vector<int16_t> a(16, 30000);
    const std::vector<int16_t> b(16, 10000);
    k.add_wrap16(a.data(), b.data(), 16);
    EXPECT_EQ(a, std::vector<int16_t>(16, -25536)) << level.name;
    // Two products of 2^30 wrap to -2^31, >> 14 is -131072, saturated.
    const std::vector<int16_t> low(16, -32768);
    std::vector<int16_t> c(16, -32768);
    k.cell_update_fixed(low.data(), low.data(), low.data(), c.data(), 16);
    EXPECT_EQ(c, std::vector<int16_t>(16, -32768)) << level.name;
    // 16384 * 32767 + 16384 * 512 = 2^14 * 33279: saturated to 32767. And the negative side -16384 * 3 / 16384 = -3, -1 >> 14 = -1.
    const std::vector<int16_t> one(16, 16384), half(16, 512);
    c.assign(16, 32767);
    k.cell_update_fixed(one.data(), one.data(), half.data(), c.data(), 16);
    EXPECT_EQ(c, std::vector<int16_t>(16, 32767)) << level.name;
    // Peephole: -1 * 1 >> 17 is -1; the sum wraps below -32768.
    const std::vector<int16_t> minus(16, -1), plus(16, 1);
    std::vector<int16_t> h(16, -32768);
    k.peephole_fixed(minus.data(), plus.data(), h.data(), 16, 17);
    EXPECT_EQ(h, std::vector<int16_t>(16, 32767)) << level.name;
    // A peephole term saturates: 2^30 >> 10 = 2^20.
    h.assign(16, 0);
    k.peephole_fixed(low.data(), low.data(), h.data(), 16, 10);
    EXPECT_EQ(h, std::vector<int16_t>(16, 32767)) << level.name;
    // m: 16384 * 8192 / 8192 = 16384; halves go to the even side: 3 * 4096 / 8192 = 1.5 -> 2, 1 * 4096 / 8192 = 0.5 -> 0; 2^30 / 2^13
    // saturates.
    std::vector<int16_t> t(16, 0), o(16, 0), m(16, 5);
    t[0] = 16384, o[0] = 8192;
    t[1] = 3, o[1] = 4096;
    t[2] = 1, o[2] = 4096;
    t[3] = -5, o[3] = 4096;  // -2.5 -> -2
    t[4] = -32768, o[4] = -32768;
    t[5] = -32768, o[5] = 32767;
    k.mul_fixed(t.data(), o.data(), m.data(), 16);
    EXPECT_EQ(std::vector<int16_t>(m.begin(), m.begin() + 7), (std::vector<int16_t>{16384, 2, 0, -2, 32767, -32768, 0})) << level.name;
  }
}

class LstmKernelLevels : public test::FastLevelsTest {};

TEST_F(LstmKernelLevels, ProductsEqualTheReference) {
  std::mt19937 random(21);
  const LstmKernels& ref = ref::kLevel.lstm;
  for (const KernelLevel& level : FastLevels()) {
    const LstmKernels& fast = level.lstm;
    for (int32_t rows : {0, 1, 3, 4, 7, 8, 32}) {
      for (int32_t cols : {0, 7, 8, 15, 16, 24, 31, 32, 40, 48, 96, 320}) {
        for (Fill fill : AllFills()) {
          for (Fill weight_fill : AllFills()) {
            const auto m = static_cast<size_t>(rows * cols);
            const auto x = static_cast<size_t>(cols);
            const auto y = static_cast<size_t>(rows);
            Guarded<int16_t> x16(x), w16(m), want16(y), got16(y);
            Guarded<int8_t> x8(x), w8(m);
            Guarded<float> want(y), got(y);
            FillWith(x16, fill, random);
            FillWith(x8, fill, random);
            FillWith(w16, weight_fill, random);
            FillWith(w8, weight_fill, random);
            const auto expect_same = [&](const char* name) {
              ASSERT_TRUE(want.Same(got) && want16.Same(got16) && got.Intact() && got16.Intact())
                  << name << " " << level.name << " " << rows << " x " << cols;
            };
            ref.gemv_int16(x16.data(), rows, cols, w16.data(), want.data(), 0.7f);
            fast.gemv_int16(x16.data(), rows, cols, w16.data(), got.data(), 0.7f);
            expect_same("gemv_int16");
            ref.gemv_int8(x8.data(), rows, cols, w8.data(), want.data(), 0.7f);
            fast.gemv_int8(x8.data(), rows, cols, w8.data(), got.data(), 0.7f);
            expect_same("gemv_int8");
            ref.gemv_fixed(x16.data(), rows, cols, w16.data(), want16.data(), 11, 13, 10);
            fast.gemv_fixed(x16.data(), rows, cols, w16.data(), got16.data(), 11, 13, 10);
            expect_same("gemv_fixed");
            ref.gemv_fixed_clamped(x16.data(), rows, cols, w16.data(), want16.data(), 15, 14, 12);
            fast.gemv_fixed_clamped(x16.data(), rows, cols, w16.data(), got16.data(), 15, 14, 12);
            expect_same("gemv_fixed_clamped");
          }
        }
      }
    }
  }
}

// Singles of all sizes, zeros, infinities and not-a-numbers among them.
void FillWithSingles(Guarded<float>& buffer, std::mt19937& random, bool finite) {
  std::normal_distribution<float> normal(0.0f, 3.0f);
  for (size_t i = 0; i < buffer.size(); ++i) {
    if (!finite && i % 11 == 5) {
      const auto bits = static_cast<uint32_t>(random());
      std::memcpy(&buffer[i], &bits, sizeof bits);
      if (std::isnan(buffer[i])) buffer[i] = -0.0f;  // which of two not-a-numbers a sum keeps is the compiler's choice
    } else {
      buffer[i] = normal(random);
    }
  }
}

TEST_F(LstmKernelLevels, FloatProductEqualsTheReference) {
  std::mt19937 random(22);
  for (const KernelLevel& level : FastLevels()) {
    for (int32_t rows : {0, 1, 3, 4, 5, 8, 31}) {
      for (int32_t cols : {0, 1, 3, 4, 6, 8, 33, 96, 480}) {
        Guarded<float> x(static_cast<size_t>(cols)), w(static_cast<size_t>(rows * cols));
        FillWithSingles(x, random, true);
        FillWithSingles(w, random, true);
        Guarded<float> want(static_cast<size_t>(rows)), got(static_cast<size_t>(rows));
        ref::GemvFloatSse(x.data(), rows, cols, w.data(), want.data());
        level.lstm.gemv_float_sse(x.data(), rows, cols, w.data(), got.data());
        ASSERT_TRUE(want.Same(got) && got.Intact()) << level.name << " " << rows << " x " << cols;
      }
    }
  }
}

TEST_F(LstmKernelLevels, VectorsEqualTheReference) {
  std::mt19937 random(23);
  const LstmKernels& ref = ref::kLevel.lstm;
  for (const KernelLevel& level : FastLevels()) {
    const LstmKernels& fast = level.lstm;
    for (int32_t n = 0; n < 70; ++n) {
      const auto count = static_cast<size_t>(n);
      Guarded<float> a(count), b(count), c(count), d(count), want(count);
      for (Guarded<float>* v : {&a, &b, &c, &d}) FillWithSingles(*v, random, true);
      FillWithSingles(want, random, false);
      const auto both = [&](auto call) {
        Guarded<float> expected(want.values()), got(want.values());
        call(ref, expected.data());
        call(fast, got.data());
        ASSERT_TRUE(expected.Same(got) && got.Intact() && expected.Intact()) << level.name << " n " << n;
      };
      both([&](const LstmKernels& k, float* v) { k.add(v, a.data(), n); });
      both([&](const LstmKernels& k, float* v) { k.mul_add(a.data(), b.data(), v, n); });
      both([&](const LstmKernels& k, float* v) { k.mul(a.data(), b.data(), v, n); });
      both([&](const LstmKernels& k, float* v) { k.cell_update(a.data(), b.data(), c.data(), v, n); });
      both([&](const LstmKernels& k, float* v) { k.sigmoid(v, n); });
      both([&](const LstmKernels& k, float* v) { k.tanh(v, n); });
      both([&](const LstmKernels& k, float* v) { k.quant_int16(v, n, 4.0f); });
      both([&](const LstmKernels& k, float* v) { k.quant_int8(v, n, 4.0f); });

      for (Fill fill : AllFills()) {
        Guarded<int16_t> p(count), q(count), r(count), start(count);
        FillWith(p, fill, random);
        FillWith(q, Fill::kRandom, random);
        FillWith(r, fill, random);
        FillWith(start, fill == Fill::kAlternating ? Fill::kRandom : fill, random);
        const auto both16 = [&](auto call) {
          Guarded<int16_t> expected(start.values()), got(start.values());
          call(ref, expected.data());
          call(fast, got.data());
          ASSERT_TRUE(expected.Same(got) && got.Intact()) << level.name << " n " << n;
        };
        both16([&](const LstmKernels& k, int16_t* v) { k.add_wrap16(v, p.data(), n); });
        both16([&](const LstmKernels& k, int16_t* v) { k.peephole_fixed(p.data(), q.data(), v, n, 17); });
        both16([&](const LstmKernels& k, int16_t* v) { k.peephole_fixed(p.data(), r.data(), v, n, 13); });
        both16([&](const LstmKernels& k, int16_t* v) { k.cell_update_fixed(p.data(), r.data(), r.data(), v, n); });
        both16([&](const LstmKernels& k, int16_t* v) { k.cell_update_fixed(p.data(), q.data(), r.data(), v, n); });
        both16([&](const LstmKernels& k, int16_t* v) { k.mul_fixed(p.data(), r.data(), v, n); });
        both16([&](const LstmKernels& k, int16_t* v) { k.mul_fixed(p.data(), q.data(), v, n); });
      }
    }
  }
}

TEST_F(LstmKernelLevels, ActivationsGiveTheSinglesOfTheDefinition) {
  // Every 9973rd bit pattern of a single, and the neighbourhoods of zero and of the ends.
  std::vector<float> in;
  for (uint64_t bits = 0; bits <= 0xFFFFFFFFu; bits += 9973) {
    const auto word = static_cast<uint32_t>(bits);
    float v;
    std::memcpy(&v, &word, sizeof v);
    if (!std::isnan(v)) in.push_back(v);
  }
  for (float v : {0.0f, 1e-40f, 1e-9f, 16.6f, 17.4f, 88.0f, 88.8f, 103.0f, 104.0f, 350.0f, 700.0f, 710.0f}) {
    for (int i = 0; i < 50; ++i) {
      in.push_back(v);
      in.push_back(-v);
      v = std::nextafter(v, 1000.0f);
    }
  }
  const auto n = static_cast<int32_t>(in.size());
  std::vector<float> want_sigmoid = in, want_tanh = in;
  ref::Sigmoid(want_sigmoid.data(), n);
  ref::Tanh(want_tanh.data(), n);
  for (const KernelLevel& level : FastLevels()) {
    std::vector<float> got = in;
    level.lstm.sigmoid(got.data(), n);
    EXPECT_EQ(std::memcmp(got.data(), want_sigmoid.data(), in.size() * sizeof(float)), 0) << level.name;
    got = in;
    level.lstm.tanh(got.data(), n);
    EXPECT_EQ(std::memcmp(got.data(), want_tanh.data(), in.size() * sizeof(float)), 0) << level.name;
  }
}

TEST(Activations, PassNotANumberOn) {
  for (const KernelLevel& level : AllLevels()) {
    std::vector<float> v(8, 0.0f);
    v[3] = std::nanf("");
    std::vector<float> w = v;
    level.lstm.sigmoid(v.data(), 8);
    level.lstm.tanh(w.data(), 8);
    EXPECT_TRUE(std::isnan(v[3]) && std::isnan(w[3])) << level.name;
    EXPECT_EQ(v[2], 0.5f);
    EXPECT_EQ(w[2], 0.0f);
  }
}

}  // namespace
}  // namespace TSEG
