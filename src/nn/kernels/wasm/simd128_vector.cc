// SPDX-License-Identifier: Apache-2.0
//
// Quantisers, activations and vector helpers of the recurrent network on 128-bit vectors.
//
// The exponential here is good to some units in the last place of a double. Wherever that could show in the single that is made of it, the
// values go through the reference, so the singles are those of the C library's exponential.
#include "nn/kernels/wasm/levels.h"
#include "nn/kernels/wasm/simd128_lanes.h"

namespace TSEG::simd128 {
namespace {

// x * s rounded half away from zero, held within low..high; not-a-number gives low. The part behind the point is exact, so no sum is
// rounded.
v128_t Quantise(v128_t x, float s, float low, float high) {
  const v128_t sign_bit = wasm_f32x4_splat(-0.0f);
  const v128_t y = wasm_f32x4_mul(x, wasm_f32x4_splat(s));
  const v128_t whole = wasm_f32x4_trunc(y);
  const v128_t rest = wasm_f32x4_abs(wasm_f32x4_sub(y, whole));
  const v128_t unit = wasm_v128_or(wasm_f32x4_splat(1.0f), wasm_v128_and(y, sign_bit));
  const v128_t rounded = wasm_f32x4_add(whole, wasm_v128_and(unit, wasm_f32x4_ge(rest, wasm_f32x4_splat(0.5f))));
  return wasm_i32x4_trunc_sat_f32x4(wasm_f32x4_pmin(wasm_f32x4_splat(high), wasm_f32x4_pmax(wasm_f32x4_splat(low), rounded)));
}

constexpr double kExpLimit = 700.0;    // |x| up to which Exp2 is used
constexpr double kExpError = 0x1p-49;  // more than the relative error of Exp2 and of the library's together

// a * b + c, rounded after each of the two.
v128_t MultiplyAdd(v128_t a, v128_t b, double c) { return wasm_f64x2_add(wasm_f64x2_mul(a, b), wasm_f64x2_splat(c)); }

// exp(x) of two values of |x| <= kExpLimit: 2^k * exp(r) with |r| <= ln(2) / 2, exp(r) by its series. Exact at 0.
v128_t Exp2(v128_t x) {
  const v128_t k = wasm_f64x2_nearest(wasm_f64x2_mul(x, wasm_f64x2_splat(0x1.71547652b82fep+0)));
  // ln(2) in two parts, the first with so few bits that its product with k is exact.
  v128_t r = wasm_f64x2_sub(x, wasm_f64x2_mul(k, wasm_f64x2_splat(0x1.62e42feep-1)));
  r = wasm_f64x2_sub(r, wasm_f64x2_mul(k, wasm_f64x2_splat(0x1.a39ef35793c76p-33)));
  v128_t series = wasm_f64x2_splat(1.0 / 479001600);
  series = MultiplyAdd(series, r, 1.0 / 39916800);
  series = MultiplyAdd(series, r, 1.0 / 3628800);
  series = MultiplyAdd(series, r, 1.0 / 362880);
  series = MultiplyAdd(series, r, 1.0 / 40320);
  series = MultiplyAdd(series, r, 1.0 / 5040);
  series = MultiplyAdd(series, r, 1.0 / 720);
  series = MultiplyAdd(series, r, 1.0 / 120);
  series = MultiplyAdd(series, r, 1.0 / 24);
  series = MultiplyAdd(series, r, 1.0 / 6);
  series = MultiplyAdd(series, r, 0.5);
  series = MultiplyAdd(series, r, 1.0);
  series = MultiplyAdd(series, r, 1.0);
  const v128_t exponent = wasm_i64x2_shl(wasm_i64x2_extend_low_i32x4(wasm_i32x4_trunc_sat_f64x2_zero(k)), 52);
  return wasm_i64x2_add(series, exponent);
}

// Whether both of `x` may go through Exp2.
bool InExpRange(v128_t x) { return wasm_i64x2_all_true(wasm_f64x2_le(wasm_f64x2_abs(x), wasm_f64x2_splat(kExpLimit))); }

v128_t RoundScaled(v128_t product) {
  return wasm_i32x4_trunc_sat_f32x4(
      wasm_f32x4_nearest(wasm_f32x4_mul(wasm_f32x4_convert_i32x4(product), wasm_f32x4_splat(0.0001220703125f))));
}

}  // namespace

void QuantInt16(float* x, int32_t n, float range) {
  const float s = static_cast<float>(32768.0 / static_cast<double>(range));
  int16_t* out = static_cast<int16_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const v128_t low = Quantise(wasm_v128_load(x + j), s, -32768.0f, 32767.0f);
    const v128_t high = Quantise(wasm_v128_load(x + j + 4), s, -32768.0f, 32767.0f);
    wasm_v128_store(out + j, wasm_i16x8_narrow_i32x4(low, high));
  }
  for (; j < n; ++j) wasm_v128_store16_lane(out + j, Quantise(wasm_v128_load32_zero(x + j), s, -32768.0f, 32767.0f), 0);
}

void QuantInt8(float* x, int32_t n, float range) {
  const float s = static_cast<float>(128.0 / static_cast<double>(range));
  int8_t* out = static_cast<int8_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const v128_t low = Quantise(wasm_v128_load(x + j), s, -128.0f, 127.0f);
    const v128_t half = wasm_i16x8_narrow_i32x4(low, Quantise(wasm_v128_load(x + j + 4), s, -128.0f, 127.0f));
    wasm_v128_store64_lane(out + j, wasm_i8x16_narrow_i16x8(half, half), 0);
  }
  for (; j < n; ++j) wasm_v128_store8_lane(out + j, Quantise(wasm_v128_load32_zero(x + j), s, -128.0f, 127.0f), 0);
}

void VecAdd(float* a, const float* b, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) wasm_v128_store(a + k, wasm_f32x4_add(wasm_v128_load(a + k), wasm_v128_load(b + k)));
  if (k < n) ref::VecAdd(a + k, b + k, n - k);
}

void VecAddWrap16(int16_t* a, const int16_t* b, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) wasm_v128_store(a + k, wasm_i16x8_add(wasm_v128_load(a + k), wasm_v128_load(b + k)));
  if (k < n) ref::VecAddWrap16(a + k, b + k, n - k);
}

void VecMulAdd(const float* c, const float* p, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    wasm_v128_store(out + k, wasm_f32x4_add(wasm_v128_load(out + k), wasm_f32x4_mul(wasm_v128_load(c + k), wasm_v128_load(p + k))));
  }
  if (k < n) ref::VecMulAdd(c + k, p + k, out + k, n - k);
}

void VecMul(const float* a, const float* b, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) wasm_v128_store(out + k, wasm_f32x4_mul(wasm_v128_load(a + k), wasm_v128_load(b + k)));
  if (k < n) ref::VecMul(a + k, b + k, out + k, n - k);
}

void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n) {
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const v128_t kept = wasm_f64x2_mul(Load2(f + k), Load2(c + k));
    const v128_t added = wasm_f64x2_mul(Load2(i + k), Load2(g + k));
    Store2(c + k, wasm_f64x2_add(kept, added));
  }
  if (k < n) ref::CellUpdate(f + k, i + k, g + k, c + k, n - k);
}

void Sigmoid(float* x, int32_t n) {
  const v128_t one = wasm_f64x2_splat(1.0);
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const v128_t arg = wasm_f64x2_neg(Load2(x + k));
    const v128_t exact = Exp2(arg);
    const v128_t low = wasm_f32x4_demote_f64x2_zero(wasm_f64x2_mul(exact, wasm_f64x2_splat(1.0 - kExpError)));
    const v128_t high = wasm_f32x4_demote_f64x2_zero(wasm_f64x2_mul(exact, wasm_f64x2_splat(1.0 + kExpError)));
    if (!InExpRange(arg) || !wasm_i32x4_all_true(wasm_f32x4_eq(low, high))) {
      ref::Sigmoid(x + k, 2);
      continue;
    }
    Store2(x + k, wasm_f64x2_div(one, wasm_f64x2_add(wasm_f64x2_promote_low_f32x4(low), one)));
  }
  if (k < n) ref::Sigmoid(x + k, n - k);
}

void Tanh(float* x, int32_t n) {
  const v128_t one = wasm_f64x2_splat(1.0);
  const v128_t error = wasm_f64x2_splat(2 * kExpError);
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const v128_t value = Load2(x + k);
    const v128_t arg = wasm_f64x2_mul(value, wasm_f64x2_splat(-2.0));
    const v128_t y = wasm_f64x2_sub(wasm_f64x2_div(wasm_f64x2_splat(2.0), wasm_f64x2_add(Exp2(arg), one)), one);
    // The single is certain where the whole range of error rounds to it, and at 0, where the exponential is exact.
    const v128_t low = wasm_f32x4_demote_f64x2_zero(wasm_f64x2_sub(y, error));
    const v128_t high = wasm_f32x4_demote_f64x2_zero(wasm_f64x2_add(y, error));
    const v128_t zero = wasm_f32x4_eq(wasm_v128_load64_zero(x + k), wasm_f32x4_splat(0.0f));
    if (!InExpRange(arg) || !wasm_i32x4_all_true(wasm_v128_or(wasm_f32x4_eq(low, high), zero))) {
      ref::Tanh(x + k, 2);
      continue;
    }
    Store2(x + k, y);
  }
  if (k < n) ref::Tanh(x + k, n - k);
}

void PeepholeFixed(const int16_t* t, const int16_t* p, int16_t* out, int32_t n, int32_t shift) {
  const uint32_t right = static_cast<uint32_t>(shift);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const v128_t a = wasm_v128_load(t + k), b = wasm_v128_load(p + k);
    const v128_t low = wasm_i32x4_shr(wasm_i32x4_extmul_low_i16x8(a, b), right);
    const v128_t high = wasm_i32x4_shr(wasm_i32x4_extmul_high_i16x8(a, b), right);
    wasm_v128_store(out + k, wasm_i16x8_add(wasm_v128_load(out + k), wasm_i16x8_narrow_i32x4(low, high)));
  }
  if (k < n) ref::PeepholeFixed(t + k, p + k, out + k, n - k, shift);
}

void CellUpdateFixed(const int16_t* f, const int16_t* i, const int16_t* g, int16_t* c, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const v128_t vf = wasm_v128_load(f + k), vi = wasm_v128_load(i + k), vg = wasm_v128_load(g + k), vc = wasm_v128_load(c + k);
    const v128_t low = wasm_i32x4_add(wasm_i32x4_extmul_low_i16x8(vf, vc), wasm_i32x4_extmul_low_i16x8(vi, vg));
    const v128_t high = wasm_i32x4_add(wasm_i32x4_extmul_high_i16x8(vf, vc), wasm_i32x4_extmul_high_i16x8(vi, vg));
    wasm_v128_store(c + k, wasm_i16x8_narrow_i32x4(wasm_i32x4_shr(low, 14), wasm_i32x4_shr(high, 14)));
  }
  if (k < n) ref::CellUpdateFixed(f + k, i + k, g + k, c + k, n - k);
}

void VecMulFixed(const int16_t* t, const int16_t* h, int16_t* out, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const v128_t a = wasm_v128_load(t + k), b = wasm_v128_load(h + k);
    const v128_t low = RoundScaled(wasm_i32x4_extmul_low_i16x8(a, b));
    wasm_v128_store(out + k, wasm_i16x8_narrow_i32x4(low, RoundScaled(wasm_i32x4_extmul_high_i16x8(a, b))));
  }
  if (k < n) ref::VecMulFixed(t + k, h + k, out + k, n - k);
}

}  // namespace TSEG::simd128
