// SPDX-License-Identifier: Apache-2.0
//
// The transform against values known by formula, and planning from many threads.
#include "frontend/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <thread>
#include <vector>

#include "buffers/aligned_buffer.h"

namespace TSEG {
namespace {

constexpr int kSizes[] = {256, 512, 1024};

TEST(RealFft, DelayedImpulseTurnsThroughTheCircle) {
  for (const int n : kSizes) {
    const RealFft fft(n);
    ASSERT_TRUE(fft.planned()) << n;
    AlignedBuffer<float> in(static_cast<size_t>(n));
    AlignedBuffer<std::complex<float>> out(static_cast<size_t>(n));
    in[1] = 1.0f;
    fft.Execute(in.data(), out.data());
    for (int k = 0; k <= n / 2; ++k) {
      const double angle = -2 * std::numbers::pi * k / n;
      EXPECT_NEAR(out[static_cast<size_t>(k)].real(), std::cos(angle), 1e-6) << n << " bin " << k;
      EXPECT_NEAR(out[static_cast<size_t>(k)].imag(), std::sin(angle), 1e-6) << n << " bin " << k;
    }
  }
}

TEST(RealFft, CosineFallsIntoOneBinWithHalfTheSize) {
  for (const int n : kSizes) {
    const RealFft fft(n);
    AlignedBuffer<float> in(static_cast<size_t>(n));
    AlignedBuffer<std::complex<float>> out(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) in[static_cast<size_t>(i)] = static_cast<float>(std::cos(2 * std::numbers::pi * 5 * i / n));
    fft.Execute(in.data(), out.data());
    for (int k = 0; k <= n / 2; ++k) EXPECT_NEAR(std::abs(out[static_cast<size_t>(k)]), k == 5 ? n / 2 : 0, 1e-3) << n << " bin " << k;
  }
}

TEST(RealFft, ErrorAgainstADirectSumInDoubleIsBelowOneInAMillion) {
  for (const int n : kSizes) {
    const RealFft fft(n);
    AlignedBuffer<float> in(static_cast<size_t>(n));
    AlignedBuffer<std::complex<float>> out(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) in[static_cast<size_t>(i)] = static_cast<float>(static_cast<int64_t>(i) * i * 7919 % 60013 - 30006) / 8;
    fft.Execute(in.data(), out.data());
    double error = 0;
    double power = 0;
    for (int k = 0; k <= n / 2; ++k) {
      std::complex<double> sum = 0;
      for (int i = 0; i < n; ++i)
        sum += static_cast<double>(in[static_cast<size_t>(i)]) * std::polar(1.0, -2 * std::numbers::pi * (i * k % n) / n);
      error += std::norm(sum - std::complex<double>(out[static_cast<size_t>(k)]));
      power += std::norm(sum);
    }
    EXPECT_LE(std::sqrt(error), 1e-6 * std::sqrt(power)) << n;
  }
}

TEST(RealFft, InputKeepsItsValues) {
  for (const int n : kSizes) {
    const RealFft fft(n);
    AlignedBuffer<float> in(static_cast<size_t>(n));
    AlignedBuffer<std::complex<float>> out(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) in[static_cast<size_t>(i)] = static_cast<float>(i * i % 91);
    fft.Execute(in.data(), out.data());
    for (int i = 0; i < n; ++i) ASSERT_EQ(in[static_cast<size_t>(i)], static_cast<float>(i * i % 91));
  }
}

TEST(RealFft, UnplannedDoesNothing) {
  const RealFft fft;
  EXPECT_FALSE(fft.planned());
  AlignedBuffer<float> in(16);
  AlignedBuffer<std::complex<float>> out(16);
  in[0] = 1.0f;
  fft.Execute(in.data(), out.data());
  EXPECT_EQ(out[0], std::complex<float>(0, 0));
}

TEST(RealFft, PlanMovesWithItsObject) {
  RealFft first(256);
  RealFft second(std::move(first));
  EXPECT_FALSE(first.planned());
  EXPECT_TRUE(second.planned());
  first = std::move(second);
  EXPECT_TRUE(first.planned());
  EXPECT_EQ(first.size(), 256);
}

TEST(RealFft, ManyThreadsPlanAndTransformAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> good(8, 0);
  for (size_t t = 0; t < good.size(); ++t) {
    threads.emplace_back([&good, t] {
      for (int round = 0; round < 20; ++round) {
        const int n = kSizes[(t + static_cast<size_t>(round)) % 3];
        const RealFft fft(n);
        AlignedBuffer<float> in(static_cast<size_t>(n));
        AlignedBuffer<std::complex<float>> out(static_cast<size_t>(n));
        in[0] = 3.0f;
        fft.Execute(in.data(), out.data());
        if (out[static_cast<size_t>(n / 2)].real() == 3.0f) ++good[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int n : good) EXPECT_EQ(n, 20);
}

}  // namespace
}  // namespace TSEG
