// SPDX-License-Identifier: Apache-2.0
//
// Quantisers, activations and vector helpers of the recurrent network on 128-bit vectors.
//
// The exponential here is good to some units in the last place of a double. Wherever that could show in the single that is made of it, the
// values go through the reference, so the singles are those of the C library's exponential.
#include <arm_neon.h>

#include "nn/kernels/arm64/levels.h"
#include "nn/kernels/arm64/neon_lanes.h"

namespace TSEG::neon {
namespace {

// x * s rounded half away from zero, saturated to 32 bits; not-a-number gives the lowest value.
int32x4_t Quantise(const float* x, float32x4_t s) {
  const float32x4_t y = vmulq_f32(Load<float32x4_t>(x), s);
  return vbslq_s32(vceqq_f32(y, y), vcvtaq_s32_f32(y), vdupq_n_s32(INT32_MIN));
}

constexpr double kExpLimit = 700.0;    // |x| up to which Exp2 is used
constexpr double kExpError = 0x1p-49;  // more than the relative error of Exp2 and of the library's together

// a * b + c, rounded after each of the two.
float64x2_t MultiplyAdd(float64x2_t a, float64x2_t b, double c) { return vaddq_f64(vmulq_f64(a, b), vdupq_n_f64(c)); }

// exp(x) of two values of |x| <= kExpLimit: 2^k * exp(r) with |r| <= ln(2) / 2, exp(r) by its series. Exact at 0.
float64x2_t Exp2(float64x2_t x) {
  const float64x2_t k = vrndnq_f64(vmulq_f64(x, vdupq_n_f64(0x1.71547652b82fep+0)));
  // ln(2) in two parts, the first with so few bits that its product with k is exact.
  float64x2_t r = vsubq_f64(x, vmulq_f64(k, vdupq_n_f64(0x1.62e42feep-1)));
  r = vsubq_f64(r, vmulq_f64(k, vdupq_n_f64(0x1.a39ef35793c76p-33)));
  float64x2_t series = vdupq_n_f64(1.0 / 479001600);
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
  return vreinterpretq_f64_s64(vaddq_s64(vreinterpretq_s64_f64(series), vshlq_n_s64(vcvtq_s64_f64(k), 52)));
}

// Whether both of `x` may go through Exp2.
bool InExpRange(float64x2_t x) {
  const uint64x2_t in = vcleq_f64(vabsq_f64(x), vdupq_n_f64(kExpLimit));
  return (vgetq_lane_u64(in, 0) & vgetq_lane_u64(in, 1)) != 0;
}
bool Both(uint32x2_t v) { return vminv_u32(v) != 0; }

}  // namespace

void QuantInt16(float* x, int32_t n, float range) {
  const float scale = static_cast<float>(32768.0 / static_cast<double>(range));
  const float32x4_t s = vdupq_n_f32(scale);
  int16_t* out = static_cast<int16_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 4 <= n; j += 4) Store(out + j, vqmovn_s32(Quantise(x + j, s)));
  for (; j < n; ++j) {
    float value[4] = {0, 0, 0, 0};
    __builtin_memcpy(value, x + j, sizeof *value);
    const int16x4_t narrow = vqmovn_s32(Quantise(value, s));
    __builtin_memcpy(out + j, &narrow, sizeof *out);
  }
}

void QuantInt8(float* x, int32_t n, float range) {
  const float scale = static_cast<float>(128.0 / static_cast<double>(range));
  const float32x4_t s = vdupq_n_f32(scale);
  int8_t* out = static_cast<int8_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const int16x4_t low = vqmovn_s32(Quantise(x + j, s));
    Store(out + j, vqmovn_s16(vqmovn_high_s32(low, Quantise(x + j + 4, s))));
  }
  for (; j < n; ++j) {
    float value[4] = {0, 0, 0, 0};
    __builtin_memcpy(value, x + j, sizeof *value);
    const int16x4_t half = vqmovn_s32(Quantise(value, s));
    const int8x8_t narrow = vqmovn_s16(vcombine_s16(half, half));
    __builtin_memcpy(out + j, &narrow, sizeof *out);
  }
}

void VecAdd(float* a, const float* b, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) vst1q_f32(a + k, vaddq_f32(vld1q_f32(a + k), vld1q_f32(b + k)));
  if (k < n) ref::VecAdd(a + k, b + k, n - k);
}

void VecAddWrap16(int16_t* a, const int16_t* b, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) vst1q_s16(a + k, vaddq_s16(vld1q_s16(a + k), vld1q_s16(b + k)));
  if (k < n) ref::VecAddWrap16(a + k, b + k, n - k);
}

void VecMulAdd(const float* c, const float* p, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) vst1q_f32(out + k, vaddq_f32(vld1q_f32(out + k), vmulq_f32(vld1q_f32(c + k), vld1q_f32(p + k))));
  if (k < n) ref::VecMulAdd(c + k, p + k, out + k, n - k);
}

void VecMul(const float* a, const float* b, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) vst1q_f32(out + k, vmulq_f32(vld1q_f32(a + k), vld1q_f32(b + k)));
  if (k < n) ref::VecMul(a + k, b + k, out + k, n - k);
}

void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n) {
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const float64x2_t kept = vmulq_f64(vcvt_f64_f32(vld1_f32(f + k)), vcvt_f64_f32(vld1_f32(c + k)));
    const float64x2_t added = vmulq_f64(vcvt_f64_f32(vld1_f32(i + k)), vcvt_f64_f32(vld1_f32(g + k)));
    vst1_f32(c + k, vcvt_f32_f64(vaddq_f64(kept, added)));
  }
  if (k < n) ref::CellUpdate(f + k, i + k, g + k, c + k, n - k);
}

void Sigmoid(float* x, int32_t n) {
  const float64x2_t one = vdupq_n_f64(1.0);
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const float64x2_t arg = vnegq_f64(vcvt_f64_f32(vld1_f32(x + k)));
    const float64x2_t exact = Exp2(arg);
    const float32x2_t low = vcvt_f32_f64(vmulq_f64(exact, vdupq_n_f64(1.0 - kExpError)));
    const float32x2_t high = vcvt_f32_f64(vmulq_f64(exact, vdupq_n_f64(1.0 + kExpError)));
    if (!InExpRange(arg) || !Both(vceq_f32(low, high))) {
      ref::Sigmoid(x + k, 2);
      continue;
    }
    vst1_f32(x + k, vcvt_f32_f64(vdivq_f64(one, vaddq_f64(vcvt_f64_f32(low), one))));
  }
  if (k < n) ref::Sigmoid(x + k, n - k);
}

void Tanh(float* x, int32_t n) {
  const float64x2_t one = vdupq_n_f64(1.0);
  const float64x2_t error = vdupq_n_f64(2 * kExpError);
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const float32x2_t v = vld1_f32(x + k);
    const float64x2_t arg = vmulq_f64(vcvt_f64_f32(v), vdupq_n_f64(-2.0));
    const float64x2_t y = vsubq_f64(vdivq_f64(vdupq_n_f64(2.0), vaddq_f64(Exp2(arg), one)), one);
    // The single is certain where the whole range of error rounds to it, and at 0, where the exponential is exact.
    const uint32x2_t certain = vceq_f32(vcvt_f32_f64(vsubq_f64(y, error)), vcvt_f32_f64(vaddq_f64(y, error)));
    if (!InExpRange(arg) || !Both(vorr_u32(certain, vceqz_f32(v)))) {
      ref::Tanh(x + k, 2);
      continue;
    }
    vst1_f32(x + k, vcvt_f32_f64(y));
  }
  if (k < n) ref::Tanh(x + k, n - k);
}

void PeepholeFixed(const int16_t* t, const int16_t* p, int16_t* out, int32_t n, int32_t shift) {
  const int32x4_t right = vdupq_n_s32(-shift);
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    const int32x4_t product = vmull_s16(vld1_s16(t + k), vld1_s16(p + k));
    vst1_s16(out + k, vadd_s16(vld1_s16(out + k), vqmovn_s32(vshlq_s32(product, right))));
  }
  if (k < n) ref::PeepholeFixed(t + k, p + k, out + k, n - k, shift);
}

void CellUpdateFixed(const int16_t* f, const int16_t* i, const int16_t* g, int16_t* c, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    const int32x4_t sum = vmlal_s16(vmull_s16(vld1_s16(f + k), vld1_s16(c + k)), vld1_s16(i + k), vld1_s16(g + k));
    vst1_s16(c + k, vqmovn_s32(vshrq_n_s32(sum, 14)));
  }
  if (k < n) ref::CellUpdateFixed(f + k, i + k, g + k, c + k, n - k);
}

void VecMulFixed(const int16_t* t, const int16_t* h, int16_t* out, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    const float32x4_t product = vcvtq_f32_s32(vmull_s16(vld1_s16(t + k), vld1_s16(h + k)));
    vst1_s16(out + k, vqmovn_s32(vcvtnq_s32_f32(vmulq_f32(product, vdupq_n_f32(0.0001220703125f)))));
  }
  if (k < n) ref::VecMulFixed(t + k, h + k, out + k, n - k);
}

}  // namespace TSEG::neon
