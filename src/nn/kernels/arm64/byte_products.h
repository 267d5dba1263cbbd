// SPDX-License-Identifier: Apache-2.0
//
// Products of bytes as plain sums in 32 bits, for weights of which none of the steps that are defined with saturation can saturate. The
// instructions for them differ from level to level and come as `Dot`:
//
//   static uint8x16_t Weights(const int8_t* p)                       or int8x16_t: 16 weights as Add takes them
//   static int32x4_t Add(int32x4_t sum, uint8x16_t x, WeightsType w)  `sum` and 16 products, four in each lane, wrapping
//   static constexpr int32_t kExcess                                  what Weights has added to each weight
//
// An excess adds the same to all rows, kExcess times the sum of the activations, which is taken off at the end: wrapping sums do not depend
// on their order. Included by the files of these levels alone; what stands here has internal linkage, so that no other code can come to use
// it.
#ifndef WVAD_NN_KERNELS_ARM64_BYTE_PRODUCTS_H_
#define WVAD_NN_KERNELS_ARM64_BYTE_PRODUCTS_H_

#include <arm_neon.h>

#include "nn/kernels/arm64/levels.h"

namespace TSEG {
namespace {

// The 32-bit sums of a, b, c, d, wrapping.
int32x4_t Sums32(int32x4_t a, int32x4_t b, int32x4_t c, int32x4_t d) { return vpaddq_s32(vpaddq_s32(a, b), vpaddq_s32(c, d)); }

// Activations as they are, and those that are shifted into 0..255.
[[maybe_unused]] uint8x16_t LoadUnsigned(const uint8_t* p) { return vld1q_u8(p); }
[[maybe_unused]] uint8x16_t LoadUnsigned(const int8_t* p) { return veorq_u8(vreinterpretq_u8_s8(vld1q_s8(p)), vdupq_n_u8(128)); }

// What is too much in the sum of each row, in all lanes.
template <typename Dot, typename X>
int32x4_t Excess(const X* x, int32_t whole_cols) {
  if constexpr (Dot::kExcess == 0) return vdupq_n_s32(0);
  uint32x4_t sum = vdupq_n_u32(0);
  for (int32_t j = 0; j < whole_cols; j += 16) sum = vpadalq_u16(sum, vpaddlq_u8(LoadUnsigned(x + j)));
  return vdupq_n_s32(static_cast<int32_t>(vaddvq_u32(sum) * static_cast<uint32_t>(Dot::kExcess)));
}

// Sums of one vector of activations by four rows.
struct FourRows {
  int32x4_t r0 = vdupq_n_s32(0), r1 = r0, r2 = r0, r3 = r0;

  template <typename Dot, typename Weights>
  __attribute__((always_inline)) void Add(uint8x16_t x, Weights w0, Weights w1, Weights w2, Weights w3) {
    r0 = Dot::Add(r0, x, w0);
    r1 = Dot::Add(r1, x, w1);
    r2 = Dot::Add(r2, x, w2);
    r3 = Dot::Add(r3, x, w3);
  }
  // The four sums less `excess`, in the order of the rows.
  int32x4_t Total(int32x4_t excess) const { return vsubq_s32(Sums32(r0, r1, r2, r3), excess); }
};

// sums * f in double, rounded to single.
float32x4_t Scaled(int32x4_t sums, float64x2_t f) {
  const float64x2_t low = vmulq_f64(vcvtq_f64_s64(vmovl_s32(vget_low_s32(sums))), f);
  const float64x2_t high = vmulq_f64(vcvtq_f64_s64(vmovl_high_s32(sums)), f);
  return vcvt_high_f32_f64(vcvt_f32_f64(low), high);
}

// The product of ref::GemvInt8ToFloat, eight rows at a time; what is left of the rows goes to NEON.
template <typename Dot>
void Gemv(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const float64x2_t f = vdupq_n_f64(static_cast<double>(static_cast<float>(static_cast<double>(s) * 6.103515625e-05)));
  const int32x4_t excess = Excess<Dot>(x, whole_cols);
  int32_t r = 0;
  for (; r + 8 <= rows; r += 8, weights += 8 * stride) {
    FourRows upper, lower;
    for (int32_t j = 0; j < whole_cols; j += 16) {
      const uint8x16_t v = LoadUnsigned(x + j);
      const int8_t* const w = weights + j;
      upper.Add<Dot>(v, Dot::Weights(w), Dot::Weights(w + stride), Dot::Weights(w + 2 * stride), Dot::Weights(w + 3 * stride));
      const int8_t* const below = w + 4 * stride;
      lower.Add<Dot>(v, Dot::Weights(below), Dot::Weights(below + stride), Dot::Weights(below + 2 * stride),
                     Dot::Weights(below + 3 * stride));
    }
    vst1q_f32(y + r, Scaled(upper.Total(excess), f));
    vst1q_f32(y + r + 4, Scaled(lower.Total(excess), f));
  }
  if (r < rows) neon::GemvInt8ToFloat(x, rows - r, cols, weights, y + r, s);
}

// The products of ref::DnnGemmInt8, four rows at a time. Rows go two by two: where two are left, they stand in for the two behind them too.
template <typename Dot>
void Gemm(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const uint8_t* const x0 = frames;
  const uint8_t* const x1 = x0 + stride;
  const uint8_t* const x2 = x1 + stride;
  const uint8_t* const x3 = x2 + stride;
  const int32x4_t e0 = Excess<Dot>(x0, whole_cols), e1 = Excess<Dot>(x1, whole_cols);
  const int32x4_t e2 = Excess<Dot>(x2, whole_cols), e3 = Excess<Dot>(x3, whole_cols);
  for (int32_t r = 0; r + 2 <= rows; r += 4, weights += 4 * stride, out += 4) {
    const bool all = r + 4 <= rows;
    const int8_t* const third = all ? weights + 2 * stride : weights;
    FourRows f0, f1, f2, f3;
    for (int32_t j = 0; j < whole_cols; j += 16) {
      const auto w0 = Dot::Weights(weights + j), w1 = Dot::Weights(weights + stride + j);
      const auto w2 = Dot::Weights(third + j), w3 = Dot::Weights(third + stride + j);
      f0.Add<Dot>(vld1q_u8(x0 + j), w0, w1, w2, w3);
      f1.Add<Dot>(vld1q_u8(x1 + j), w0, w1, w2, w3);
      f2.Add<Dot>(vld1q_u8(x2 + j), w0, w1, w2, w3);
      f3.Add<Dot>(vld1q_u8(x3 + j), w0, w1, w2, w3);
    }
    const auto store = [all, rows, out](int64_t frame, int32x4_t sums) {
      const int16x4_t narrow = vmovn_s32(sums);
      if (all) {
        __builtin_memcpy(out + frame * rows, &narrow, 8);
      } else {
        __builtin_memcpy(out + frame * rows, &narrow, 4);
      }
    };
    store(0, f0.Total(e0));
    store(1, f1.Total(e1));
    store(2, f2.Total(e2));
    store(3, f3.Total(e3));
  }
}

}  // namespace
}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_ARM64_BYTE_PRODUCTS_H_
