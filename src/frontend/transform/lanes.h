// SPDX-License-Identifier: Apache-2.0
//
// The transform on vectors, written once for every number of lanes: the operations of ref.cc, each on several values.
//
// A file for one instruction level supplies `Lanes`, before it includes this one: the vector and how its lanes are moved about. Everything
// here is that file's own, in an unnamed namespace, so that the linker mixes nothing of one level with another.
//
//   Lanes::V                              vector of floats; kLanes of them, 4 or 8
//   Lanes::Load, Store                    from and to a float*, on any address
//   Lanes::All(x)                         x in every lane
//   Lanes::LoadPairs(p, &even, &odd)      the floats p[0], p[2], ... and p[1], p[3], ...
//   Lanes::StorePairs(p, even, odd)       the other way round
//   Lanes::LoadTransposed(p, stride, v)   v[c] lane r = p[r * stride + c], kLanes vectors
//   Lanes::Reversed(v)                    last lane first
#ifndef WVAD_FRONTEND_TRANSFORM_LANES_H_
#define WVAD_FRONTEND_TRANSFORM_LANES_H_

#include "frontend/transform/transform.h"

namespace TSEG::transform {
namespace {

using V = Lanes::V;
constexpr int32_t kLanes = sizeof(V) / sizeof(float);

struct Complex {
  V re;
  V im;
};

// Real parts and imaginary parts apart; the last place is for Z[n].
struct Planes {
  alignas(64) float re[kMostPoints + 1];
  alignas(64) float im[kMostPoints + 1];
};

inline Complex Plus(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
inline Complex Minus(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
inline Complex Times(Complex a, V re, V im) { return {a.re * re - a.im * im, a.re * im + a.im * re}; }
inline Complex MinusTurned(Complex a, Complex b) { return {a.re + b.im, a.im - b.re}; }
inline Complex PlusTurned(Complex a, Complex b) { return {a.re - b.im, a.im + b.re}; }

inline void Dft4(Complex& v0, Complex& v1, Complex& v2, Complex& v3) {
  const Complex sum02 = Plus(v0, v2);
  const Complex difference02 = Minus(v0, v2);
  const Complex sum13 = Plus(v1, v3);
  const Complex difference13 = Minus(v1, v3);
  v0 = Plus(sum02, sum13);
  v1 = MinusTurned(difference02, difference13);
  v2 = Minus(sum02, sum13);
  v3 = PlusTurned(difference02, difference13);
}

// Results in their order: 0, 2, 4, 6 in e, the others in o.
inline void Dft8(Complex* v) {
  const V half_root = Lanes::All(0.70710678118654752440f);
  Complex e0 = Plus(v[0], v[4]), e1 = Plus(v[1], v[5]), e2 = Plus(v[2], v[6]), e3 = Plus(v[3], v[7]);
  Complex o0 = Minus(v[0], v[4]), o1 = Minus(v[1], v[5]), o2 = Minus(v[2], v[6]), o3 = Minus(v[3], v[7]);
  o1 = {(o1.re + o1.im) * half_root, (o1.im - o1.re) * half_root};
  o2 = {o2.im, -o2.re};
  o3 = {(o3.im - o3.re) * half_root, -((o3.re + o3.im) * half_root)};
  Dft4(e0, e1, e2, e3);
  Dft4(o0, o1, o2, o3);
  v[0] = e0, v[1] = o0, v[2] = e1, v[3] = o1, v[4] = e2, v[5] = o2, v[6] = e3, v[7] = o3;
}

template <int kRadix>
inline void Dft(Complex* v) {
  if constexpr (kRadix == 4) {
    Dft4(v[0], v[1], v[2], v[3]);
  } else {
    Dft8(v);
  }
}

inline Complex LoadFrom(const Planes& z, int32_t at) { return {Lanes::Load(z.re + at), Lanes::Load(z.im + at)}; }
inline void StoreTo(Planes& z, int32_t at, Complex v) {
  Lanes::Store(z.re + at, v.re);
  Lanes::Store(z.im + at, v.im);
}

template <int kRadix>
void FirstColumns(const Plan& plan, const float* x, Planes& out) {
  const int32_t step = plan.second * kColumns;
  const float* turn = plan.first_turns;
  for (int32_t p = 0; p < plan.second; ++p, turn += (kRadix - 1) * 2) {
    for (int32_t c = 0; c < kColumns; c += kLanes) {
      Complex v[8];
      for (int32_t h = 0; h < kRadix; ++h) Lanes::LoadPairs(x + 2 * (p * kColumns + c + h * step), &v[h].re, &v[h].im);
      Dft<kRadix>(v);
      for (int32_t h = 1; h < kRadix; ++h) v[h] = Times(v[h], Lanes::All(turn[2 * h - 2]), Lanes::All(turn[2 * h - 1]));
      for (int32_t h = 0; h < kRadix; ++h) StoreTo(out, (kRadix * p + h) * kColumns + c, v[h]);
    }
  }
}

template <int kRadix>
void SecondColumns(const Plan& plan, Planes& z) {
  const int32_t step = plan.first * kColumns;
  for (int32_t at = 0; at < step; at += kLanes) {
    Complex v[8];
    for (int32_t h = 0; h < kRadix; ++h) v[h] = LoadFrom(z, at + h * step);
    Dft<kRadix>(v);
    for (int32_t h = 0; h < kRadix; ++h) StoreTo(z, at + h * step, v[h]);
  }
}

void Rows(const Plan& plan, const Planes& z, Planes& out) {
  for (int32_t k = 0; k < plan.rows; k += kLanes) {
    V re[kColumns];
    V im[kColumns];
    for (int32_t c = 0; c < kColumns; c += kLanes) {
      Lanes::LoadTransposed(z.re + k * kColumns + c, kColumns, re + c);
      Lanes::LoadTransposed(z.im + k * kColumns + c, kColumns, im + c);
    }
    Complex v[kColumns] = {{re[0], im[0]}};
    for (int32_t c = 1; c < kColumns; ++c) {
      const float* turn = plan.row_turns + (c - 1) * 2 * plan.rows + k;
      v[c] = Times({re[c], im[c]}, Lanes::Load(turn), Lanes::Load(turn + plan.rows));
    }
    Dft8(v);
    for (int32_t j = 0; j < kColumns; ++j) StoreTo(out, k + plan.rows * j, v[j]);
  }
}

void Split(const Plan& plan, Planes& z, float* x) {
  const int32_t n = plan.points;
  z.re[n] = z.re[0];
  z.im[n] = z.im[0];
  const V half = Lanes::All(0.5f);
  for (int32_t k = 0; k < n / 2; k += kLanes) {
    const int32_t k_back = n - k - kLanes + 1;  // the lane that belongs to k comes last
    const Complex there = LoadFrom(z, k);
    const Complex back = {Lanes::Reversed(Lanes::Load(z.re + k_back)), Lanes::Reversed(Lanes::Load(z.im + k_back))};
    const Complex even = {(there.re + back.re) * half, (there.im - back.im) * half};
    const Complex twice_odd = {there.im + back.im, there.re - back.re};
    const V turn_re = Lanes::Load(plan.split_turns + k);
    const V turn_im = Lanes::Load(plan.split_turns + n / 2 + k);
    const Complex odd = {twice_odd.re * turn_re + twice_odd.im * turn_im, twice_odd.re * turn_im - twice_odd.im * turn_re};
    Lanes::StorePairs(x + 2 * k, even.re + odd.re, even.im + odd.im);
    Lanes::StorePairs(x + 2 * k_back, Lanes::Reversed(even.re - odd.re), Lanes::Reversed(odd.im - even.im));
  }
  x[n] = z.re[n / 2];
  x[n + 1] = -z.im[n / 2];
}

inline void TransformInLanes(const Plan& plan, const float* x, float* out) {
  Planes a;
  Planes b;
  plan.first == 4 ? FirstColumns<4>(plan, x, a) : FirstColumns<8>(plan, x, a);
  plan.second == 4 ? SecondColumns<4>(plan, a) : SecondColumns<8>(plan, a);
  Rows(plan, a, b);
  Split(plan, b, out);
}

}  // namespace
}  // namespace TSEG::transform

#endif  // WVAD_FRONTEND_TRANSFORM_LANES_H_
