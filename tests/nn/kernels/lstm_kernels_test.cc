// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the recurrent network on every level: values worked out by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "nn/kernels/guarded.h"

namespace TSEG {
namespace {

using test::AllLevels;

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
