// SPDX-License-Identifier: Apache-2.0
//
// The factors of each size, computed by the compiler: no library's sine, whose last bit differs from system to system, has a part in them.
//
// Angles are counted in 1024ths of the circle. Sine and cosine of the first eighth come from their series in double, to some 1e-16, and are
// rounded to single once; everything else follows by symmetry.
#include "frontend/transform/transform.h"

namespace TSEG::transform {
namespace {

constexpr uint32_t kCircle = 1024;
constexpr double kStep = 2 * 3.14159265358979323846 / kCircle;

// x^2k / (2k)! with signs in turn, k from 0, nested; for the sine (2k + 1)! and one x more.
constexpr double Cosine(double x) {
  double sum = 1;
  for (int k = 18; k > 0; k -= 2) sum = 1 - x * x / ((k - 1) * k) * sum;
  return sum;
}
constexpr double Sine(double x) {
  double sum = 1;
  for (int k = 18; k > 0; k -= 2) sum = 1 - x * x / (k * (k + 1)) * sum;
  return x * sum;
}

struct Turn {
  float re;
  float im;
};

// exp(-2*pi*i * angle / 1024), `angle` from 0.
constexpr Turn TurnBy(uint32_t angle) {
  const uint32_t in_quarter = angle % 256;
  const double x = (in_quarter <= 128 ? in_quarter : 256 - in_quarter) * kStep;
  const double cosine = in_quarter <= 128 ? Cosine(x) : Sine(x);
  const double sine = in_quarter <= 128 ? Sine(x) : Cosine(x);
  double re = cosine;
  double im = -sine;
  for (uint32_t quarter = angle / 256 % 4; quarter > 0; --quarter) {
    const double turned = -re;
    re = im;
    im = turned;
  }
  // Of two zeros the positive one.
  return {static_cast<float>(re + 0.0), static_cast<float>(im + 0.0)};
}

template <uint32_t kPoints, uint32_t kFirst, uint32_t kSecond>
struct Factors {
  static constexpr uint32_t kWidth = kColumns;
  static constexpr uint32_t kRows = kFirst * kSecond;
  static_assert(kRows * kWidth == kPoints && kPoints <= kMostPoints);

  alignas(64) float first[kSecond * (kFirst - 1) * 2] = {};
  alignas(64) float rows[(kWidth - 1) * 2 * kRows] = {};
  alignas(64) float split[kPoints] = {};

  constexpr Factors() {
    uint32_t at = 0;
    for (uint32_t p = 0; p < kSecond; ++p) {
      for (uint32_t h = 1; h < kFirst; ++h) {
        const Turn turn = TurnBy(p * h * (kCircle / kRows));
        first[at++] = turn.re;
        first[at++] = turn.im;
      }
    }
    for (uint32_t c = 1; c < kWidth; ++c) {
      for (uint32_t k = 0; k < kRows; ++k) {
        const Turn turn = TurnBy(k * c * (kCircle / kPoints));
        const uint32_t place = (c - 1) * 2 * kRows + k;
        rows[place] = turn.re;
        rows[place + kRows] = turn.im;
      }
    }
    for (uint32_t k = 0; k < kPoints / 2; ++k) {
      const Turn turn = TurnBy(k * (kCircle / (2 * kPoints)));
      split[k] = 0.5f * turn.re;
      split[k + kPoints / 2] = 0.5f * turn.im;
    }
  }
  constexpr Plan PlanOver() const {
    return {static_cast<int32_t>(kPoints),
            static_cast<int32_t>(kRows),
            static_cast<int32_t>(kFirst),
            static_cast<int32_t>(kSecond),
            first,
            rows,
            split};
  }
};

constexpr Factors<128, 4, 4> kFactors256;
constexpr Factors<256, 4, 8> kFactors512;
constexpr Factors<512, 8, 8> kFactors1024;
constexpr Plan kPlans[] = {kFactors256.PlanOver(), kFactors512.PlanOver(), kFactors1024.PlanOver()};

}  // namespace

const Plan* PlanOf(int32_t size) {
  for (const Plan& plan : kPlans) {
    if (2 * plan.points == size) return &plan;
  }
  return nullptr;
}

}  // namespace TSEG::transform
