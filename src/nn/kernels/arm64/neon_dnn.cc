// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the feed-forward network on 128-bit vectors.
//
// Wrapping sums do not depend on their order, and the saturating pairs are the pairs of the reference, so the bits are the same. Narrow
// values may take the place of wide ones, so both go through bytes.
#include <arm_neon.h>

#include "nn/kernels/arm64/levels.h"
#include "nn/kernels/arm64/neon_lanes.h"

namespace TSEG::neon {
namespace {

// Cut toward zero. What does not fit gives a value whose low 32 bits are zero, as those of the lowest 64-bit value are: the conversion
// itself does so for what is too low and for not-a-number.
int64x2_t Cut(float64x2_t v) {
  const uint64x2_t too_high = vcgeq_f64(v, vdupq_n_f64(9223372036854775808.0));
  return vbicq_s64(vcvtq_s64_f64(v), vreinterpretq_s64_u64(too_high));
}
// The low 32 bits of four.
int32x4_t CutLow32(float64x2_t low, float64x2_t high) { return vmovn_high_s64(vmovn_s64(Cut(low)), Cut(high)); }

// bias + value * f in double, cut, the low 32 bits.
int32x4_t Biased(int32x4_t value, const int32_t* bias, float64x2_t f) {
  const int32x4_t b = vld1q_s32(bias);
  const float64x2_t low = vmulq_f64(vcvtq_f64_s64(vmovl_s32(vget_low_s32(value))), f);
  const float64x2_t high = vmulq_f64(vcvtq_f64_s64(vmovl_high_s32(value)), f);
  return CutLow32(vaddq_f64(vcvtq_f64_s64(vmovl_s32(vget_low_s32(b))), low), vaddq_f64(vcvtq_f64_s64(vmovl_high_s32(b)), high));
}

}  // namespace

void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  for (int32_t r = 0; r + 2 <= rows; r += 2, weights += 2 * stride) {
    int32x4_t sum[8];
    for (int32x4_t& s : sum) s = vdupq_n_s32(0);
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const int16x8_t w0 = vld1q_s16(weights + j);
      const int16x8_t w1 = vld1q_s16(weights + stride + j);
      for (int32_t f = 0; f < 4; ++f) {
        const int16x8_t x = vld1q_s16(frames + f * stride + j);
        sum[2 * f] = AddProducts(sum[2 * f], x, w0);
        sum[2 * f + 1] = AddProducts(sum[2 * f + 1], x, w1);
      }
    }
    for (int32_t f = 0; f < 4; ++f) {
      out[static_cast<int64_t>(f) * rows + r] = vaddvq_s32(sum[2 * f]);
      out[static_cast<int64_t>(f) * rows + r + 1] = vaddvq_s32(sum[2 * f + 1]);
    }
  }
}

void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  for (int32_t r = 0; r + 2 <= rows; r += 2, weights += 2 * stride) {
    int16x8_t sum[8];
    for (int16x8_t& s : sum) s = vdupq_n_s16(0);
    for (int32_t j = 0; j < whole_cols; j += 16) {
      const Split w0 = SplitSigned(vld1q_s8(weights + j));
      const Split w1 = SplitSigned(vld1q_s8(weights + stride + j));
      for (int32_t f = 0; f < 4; ++f) {
        const Split x = SplitUnsigned(vld1q_u8(frames + f * stride + j));
        sum[2 * f] = vaddq_s16(sum[2 * f], Pairs(x, w0));
        sum[2 * f + 1] = vaddq_s16(sum[2 * f + 1], Pairs(x, w1));
      }
    }
    for (int32_t f = 0; f < 4; ++f) {
      out[static_cast<int64_t>(f) * rows + r] = vaddvq_s16(sum[2 * f]);
      out[static_cast<int64_t>(f) * rows + r + 1] = vaddvq_s16(sum[2 * f + 1]);
    }
  }
}

void DnnBias32(int32_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const float64x2_t f = vdupq_n_f64(DnnBiasFactor(p, q));
  const int32_t whole = width & ~3;
  for (int32_t r = 0; r < n; ++r, values += width) {
    for (int32_t j = 0; j < whole; j += 4) vst1q_s32(values + j, Biased(vld1q_s32(values + j), bias + j, f));
    if (whole < width) ref::DnnBias32(values + whole, 1, width - whole, bias + whole, p, q);
  }
}

void DnnBias16(int16_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const float64x2_t f = vdupq_n_f64(DnnBiasFactor(p, q));
  const int32_t whole = width & ~3;
  for (int32_t r = 0; r < n; ++r, values += width) {
    for (int32_t j = 0; j < whole; j += 4) vst1_s16(values + j, vmovn_s32(Biased(vmovl_s16(vld1_s16(values + j)), bias + j, f)));
    if (whole < width) ref::DnnBias16(values + whole, 1, width - whole, bias + whole, p, q);
  }
}

void NormaliseRun(float* x, int32_t n, const float* mean, const float* inv_std) {
  int32_t j = 0;
  for (; j + 4 <= n; j += 4) vst1q_f32(x + j, vmulq_f32(vsubq_f32(vld1q_f32(x + j), vld1q_f32(mean + j)), vld1q_f32(inv_std + j)));
  if (j < n) ref::NormaliseRun(x + j, n - j, mean + j, inv_std + j);
}

void CutToInt16(const float* x, int32_t n, float scale, int16_t* out) {
  const float64x2_t s = vdupq_n_f64(static_cast<double>(scale));
  int32_t j = 0;
  for (; j + 4 <= n; j += 4) {
    const float32x4_t v = Load<float32x4_t>(x + j);
    const int32x4_t cut = CutLow32(vmulq_f64(vcvt_f64_f32(vget_low_f32(v)), s), vmulq_f64(vcvt_high_f64_f32(v), s));
    Store(out + j, vmovn_s32(cut));
  }
  if (j < n) ref::CutToInt16(x + j, n - j, scale, out + j);
}

}  // namespace TSEG::neon
