// SPDX-License-Identifier: Apache-2.0
//
// The definition of the transform: one idea a line, every operation in its order.
#include <float.h>

#include "frontend/transform/transform.h"

// Each operation rounds to the type that is written there.
static_assert(FLT_EVAL_METHOD == 0, "this target computes floats with excess precision; on 32-bit x86 add -msse2 -mfpmath=sse");
#ifdef __FAST_MATH__
#error "the order of operations is part of the definition: build without -ffast-math"
#endif

namespace TSEG::transform::ref {
namespace {

struct Complex {
  float re;
  float im;
};

Complex Plus(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
Complex Minus(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
Complex Times(Complex a, Complex b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
// a - i * b and a + i * b.
Complex MinusTurned(Complex a, Complex b) { return {a.re + b.im, a.im - b.re}; }
Complex PlusTurned(Complex a, Complex b) { return {a.re - b.im, a.im + b.re}; }

// The transforms of 4 and of 8 values in place: v[k] = sum over j of v[j] * exp(-2*pi*i*j*k / 4 or 8).
void Dft4(Complex* v) {
  const Complex sum02 = Plus(v[0], v[2]);
  const Complex difference02 = Minus(v[0], v[2]);
  const Complex sum13 = Plus(v[1], v[3]);
  const Complex difference13 = Minus(v[1], v[3]);
  v[0] = Plus(sum02, sum13);
  v[1] = MinusTurned(difference02, difference13);
  v[2] = Minus(sum02, sum13);
  v[3] = PlusTurned(difference02, difference13);
}

void Dft8(Complex* v) {
  constexpr float kHalfRoot = 0.70710678118654752440f;  // sqrt(1/2)
  Complex even[4];
  Complex odd[4];
  for (int j = 0; j < 4; ++j) even[j] = Plus(v[j], v[j + 4]);
  for (int j = 0; j < 4; ++j) odd[j] = Minus(v[j], v[j + 4]);
  odd[1] = {(odd[1].re + odd[1].im) * kHalfRoot, (odd[1].im - odd[1].re) * kHalfRoot};
  odd[2] = {odd[2].im, -odd[2].re};
  odd[3] = {(odd[3].im - odd[3].re) * kHalfRoot, -((odd[3].re + odd[3].im) * kHalfRoot)};
  Dft4(even);
  Dft4(odd);
  for (int j = 0; j < 4; ++j) {
    v[2 * j] = even[j];
    v[2 * j + 1] = odd[j];
  }
}

void Dft(int32_t radix, Complex* v) { radix == 4 ? Dft4(v) : Dft8(v); }

// In row p + second * h, h from 0 to first - 1: to rows first * p + h, turned.
void FirstColumns(const Plan& plan, const Complex* z, Complex* out) {
  for (int32_t p = 0; p < plan.second; ++p) {
    for (int32_t c = 0; c < kColumns; ++c) {
      Complex v[8];
      for (int32_t h = 0; h < plan.first; ++h) v[h] = z[(p + plan.second * h) * kColumns + c];
      Dft(plan.first, v);
      const float* turn = plan.first_turns + p * (plan.first - 1) * 2;
      for (int32_t h = 1; h < plan.first; ++h) v[h] = Times(v[h], {turn[2 * h - 2], turn[2 * h - 1]});
      for (int32_t h = 0; h < plan.first; ++h) out[(plan.first * p + h) * kColumns + c] = v[h];
    }
  }
}

// In place, rows k + first * h.
void SecondColumns(const Plan& plan, Complex* z) {
  for (int32_t at = 0; at < plan.first * kColumns; ++at) {
    Complex v[8];
    for (int32_t h = 0; h < plan.second; ++h) v[h] = z[at + plan.first * kColumns * h];
    Dft(plan.second, v);
    for (int32_t h = 0; h < plan.second; ++h) z[at + plan.first * kColumns * h] = v[h];
  }
}

void Rows(const Plan& plan, const Complex* z, Complex* out) {
  for (int32_t k = 0; k < plan.rows; ++k) {
    Complex v[kColumns];
    for (int32_t c = 0; c < kColumns; ++c) v[c] = z[k * kColumns + c];
    for (int32_t c = 1; c < kColumns; ++c) {
      const float* turn = plan.row_turns + (c - 1) * 2 * plan.rows + k;
      v[c] = Times(v[c], {turn[0], turn[plan.rows]});
    }
    Dft8(v);
    for (int32_t j = 0; j < kColumns; ++j) out[k + plan.rows * j] = v[j];
  }
}

void Put(Complex v, float* at) {
  at[0] = v.re;
  at[1] = v.im;
}

// With E and O for the transforms of even and odd points: Z[k] = E + i * O, conj(Z[n - k]) = E - i * O, X[k] = E + w * O, X[n - k] =
// conj(E - w * O), w = exp(-2*pi*i*k / size). Z[n] is Z[0].
void Split(const Plan& plan, const Complex* z, float* x) {
  const int32_t n = plan.points;
  for (int32_t k = 0; k < n / 2; ++k) {
    const Complex there = z[k];
    const Complex back = z[k == 0 ? 0 : n - k];
    const Complex even = {(there.re + back.re) * 0.5f, (there.im - back.im) * 0.5f};
    const Complex twice_odd = {there.im + back.im, there.re - back.re};  // its imaginary part negated
    const float turn_re = plan.split_turns[k];                           // half of w
    const float turn_im = plan.split_turns[n / 2 + k];
    const Complex odd = {twice_odd.re * turn_re + twice_odd.im * turn_im, twice_odd.re * turn_im - twice_odd.im * turn_re};
    Put(Plus(even, odd), x + 2 * k);
    Put({even.re - odd.re, odd.im - even.im}, x + 2 * (n - k));
  }
  Put({z[n / 2].re, -z[n / 2].im}, x + n);
}

}  // namespace

void Transform(const Plan& plan, const float* x, float* out) {
  Complex a[kMostPoints];
  Complex b[kMostPoints];
  for (int32_t j = 0; j < plan.points; ++j) a[j] = {x[2 * j], x[2 * j + 1]};
  FirstColumns(plan, a, b);
  SecondColumns(plan, b);
  Rows(plan, b, a);
  Split(plan, a, out);
}

}  // namespace TSEG::transform::ref
