// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the recurrent network: every level gives the bits of the reference.
#include <gtest/gtest.h>

#include <cmath>

#include "nn/kernels/guarded.h"

namespace TSEG {
namespace {

using test::AllFills;
using test::FastLevels;
using test::Fill;
using test::Guarded;

class LstmKernelLevels : public test::FastLevelsTest {};

TEST_F(LstmKernelLevels, ProductsEqualTheReference) {
  std::mt19937 random(21);
  const LstmKernels& ref = ref::kLevel.lstm;
  for (const KernelLevel& level : FastLevels()) {
    const LstmKernels& fast = level.lstm;
    for (int32_t rows : {0, 1, 3, 4, 7, 8, 12, 15, 32}) {
      for (int32_t cols : {0, 7, 8, 15, 16, 24, 31, 32, 40, 48, 63, 64, 72, 96, 320, 480, 496, 1000}) {
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

}  // namespace
}  // namespace TSEG
