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

// What a product takes and how it adds up, for Gemm.
struct Shorts {
  using Frame = int16_t;
  using Weight = int16_t;
  using Out = int32_t;
  using Sum = int32x4_t;
  static constexpr int32_t kWidth = 8;
  static Sum Zero() { return vdupq_n_s32(0); }
  static int16x8_t Load(const int16_t* p) { return vld1q_s16(p); }
  static Sum Add(Sum sum, int16x8_t x, int16x8_t w) { return AddProducts(sum, x, w); }
  static int32x4_t Totals(Sum a, Sum b, Sum c, Sum d) { return vpaddq_s32(vpaddq_s32(a, b), vpaddq_s32(c, d)); }
};
struct Bytes {
  using Frame = uint8_t;
  using Weight = int8_t;
  using Out = int16_t;
  using Sum = int16x8_t;
  static constexpr int32_t kWidth = 16;
  static Sum Zero() { return vdupq_n_s16(0); }
  static Split Load(const uint8_t* p) { return SplitUnsigned(vld1q_u8(p)); }
  static Split Load(const int8_t* p) { return SplitSigned(vld1q_s8(p)); }
  static Sum Add(Sum sum, Split x, Split w) { return vaddq_s16(sum, Pairs(x, w)); }
  static int16x4_t Totals(Sum a, Sum b, Sum c, Sum d) {
    const int16x8_t sums = vpaddq_s16(vpaddq_s16(a, b), vpaddq_s16(c, d));
    return vpadd_s16(vget_low_s16(sums), vget_high_s16(sums));
  }
};
// Where no pair can saturate, all sums wrap at 16 bits alike.
struct ProvedBytes : Bytes {
  static Sum Add(Sum sum, Split x, Split w) { return vmlaq_s16(vmlaq_s16(sum, x.even, w.even), x.odd, w.odd); }
};

// The sums of a frame by four rows, in registers: named one by one, since an array would live in memory.
template <typename Kind>
struct Frame {
  typename Kind::Sum r0 = Kind::Zero(), r1 = r0, r2 = r0, r3 = r0;

  template <typename X, typename W>
  __attribute__((always_inline)) void Add(X x, W w0, W w1, W w2, W w3) {
    r0 = Kind::Add(r0, x, w0);
    r1 = Kind::Add(r1, x, w1);
    r2 = Kind::Add(r2, x, w2);
    r3 = Kind::Add(r3, x, w3);
  }
  __attribute__((always_inline)) void StoreTotals(typename Kind::Out* out, bool all) const {
    const auto totals = Kind::Totals(r0, r1, r2, r3);
    if (all) {
      __builtin_memcpy(out, &totals, sizeof totals);
    } else {
      __builtin_memcpy(out, &totals, sizeof totals / 2);
    }
  }
};

// The products of 4 frames with the rows, which go two at a time: where two are left, they stand in for the two behind them as well.
template <typename Kind>
void Gemm(const typename Kind::Frame* frames, int32_t rows, int32_t cols, const typename Kind::Weight* weights, typename Kind::Out* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~(Kind::kWidth - 1);
  for (int32_t r = 0; r + 2 <= rows; r += 4, weights += 4 * stride, out += 4) {
    const bool all = r + 4 <= rows;
    const auto* const third = all ? weights + 2 * stride : weights;
    Frame<Kind> f0, f1, f2, f3;
    for (int32_t j = 0; j < whole_cols; j += Kind::kWidth) {
      const auto w0 = Kind::Load(weights + j), w1 = Kind::Load(weights + stride + j);
      const auto w2 = Kind::Load(third + j), w3 = Kind::Load(third + stride + j);
      f0.Add(Kind::Load(frames + j), w0, w1, w2, w3);
      f1.Add(Kind::Load(frames + stride + j), w0, w1, w2, w3);
      f2.Add(Kind::Load(frames + 2 * stride + j), w0, w1, w2, w3);
      f3.Add(Kind::Load(frames + 3 * stride + j), w0, w1, w2, w3);
    }
    f0.StoreTotals(out, all);
    f1.StoreTotals(out + rows, all);
    f2.StoreTotals(out + 2 * static_cast<int64_t>(rows), all);
    f3.StoreTotals(out + 3 * static_cast<int64_t>(rows), all);
  }
}

}  // namespace

void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out) {
  Gemm<Shorts>(frames, rows, cols, weights, out);
}

void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  Gemm<Bytes>(frames, rows, cols, weights, out);
}

void DnnGemmInt8Unclipped(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  Gemm<ProvedBytes>(frames, rows, cols, weights, out);
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
