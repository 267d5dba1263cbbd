// SPDX-License-Identifier: Apache-2.0
//
// The matrix products of the recurrent network on 128-bit vectors, four rows side by side.
//
// Wrapping sums do not depend on their order; where a sum saturates, is widened or is of floats, the steps are those of the reference. The
// tails that a block of work leaves are left here too.
#include <arm_neon.h>

#include "nn/kernels/arm64/byte_products.h"
#include "nn/kernels/arm64/levels.h"
#include "nn/kernels/arm64/neon_lanes.h"

namespace TSEG::neon {
namespace {

// Products of eight, those of elements 0-3 and 4-7 added, wrapping.
int32x4_t Products(int16x8_t a, int16x8_t b) { return vmlal_high_s16(vmull_s16(vget_low_s16(a), vget_low_s16(b)), a, b); }

// `sum` and the products of 16 columns: pairs saturate to 16 bits, and pairs of these too.
int32x4_t AddBytes(int32x4_t sum, Split x, const int8_t* weights) {
  return vaddw_s16(sum, vqmovn_s32(vpaddlq_s16(Pairs(x, SplitSigned(vld1q_s8(weights))))));
}

// Products of unsigned bytes, widened and added up two by two.
struct WideningDot {
  static constexpr int32_t kExcess = 128;
  static uint8x16_t Weights(const int8_t* p) { return LoadUnsigned(p); }
  static int32x4_t Add(int32x4_t sum, uint8x16_t x, uint8x16_t w) {
    const uint32x4_t low = vpadalq_u16(vreinterpretq_u32_s32(sum), vmull_u8(vget_low_u8(x), vget_low_u8(w)));
    return vreinterpretq_s32_u32(vpadalq_u16(low, vmull_high_u8(x, w)));
  }
};

float SumOfLanes(float32x4_t v) {
  return static_cast<float>(static_cast<double>(vgetq_lane_f32(v, 0)) + static_cast<double>(vgetq_lane_f32(v, 1)) +
                            static_cast<double>(vgetq_lane_f32(v, 2)) + static_cast<double>(vgetq_lane_f32(v, 3)));
}

}  // namespace

void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~3;
  int32_t r = 0;
  for (; r + 4 <= rows; r += 4, weights += 4 * stride) {
    float32x4_t sum0 = vdupq_n_f32(0.0f), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 4) {
      const float32x4_t v = vld1q_f32(x + j);
      sum0 = vaddq_f32(sum0, vmulq_f32(v, vld1q_f32(weights + j)));
      sum1 = vaddq_f32(sum1, vmulq_f32(v, vld1q_f32(weights + stride + j)));
      sum2 = vaddq_f32(sum2, vmulq_f32(v, vld1q_f32(weights + 2 * stride + j)));
      sum3 = vaddq_f32(sum3, vmulq_f32(v, vld1q_f32(weights + 3 * stride + j)));
    }
    y[r] = SumOfLanes(sum0);
    y[r + 1] = SumOfLanes(sum1);
    y[r + 2] = SumOfLanes(sum2);
    y[r + 3] = SumOfLanes(sum3);
  }
  for (; r < rows; ++r, weights += stride) {
    float32x4_t sum = vdupq_n_f32(0.0f);
    for (int32_t j = 0; j < whole_cols; j += 4) sum = vaddq_f32(sum, vmulq_f32(vld1q_f32(x + j), vld1q_f32(weights + j)));
    y[r] = SumOfLanes(sum);
  }
}

void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const double f = static_cast<double>(static_cast<float>(static_cast<double>(s) / 1073676288.0));
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    int64x2_t sum01 = vdupq_n_s64(0);
    int64x2_t sum23 = vdupq_n_s64(0);
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const int16x8_t v = vld1q_s16(x + j);
      const int32x4_t eight = Sums32(Products(v, vld1q_s16(weights + j)), Products(v, vld1q_s16(weights + stride + j)),
                                     Products(v, vld1q_s16(weights + 2 * stride + j)), Products(v, vld1q_s16(weights + 3 * stride + j)));
      sum01 = vaddw_s32(sum01, vget_low_s32(eight));
      sum23 = vaddw_high_s32(sum23, eight);
    }
    y[r] = static_cast<float>(static_cast<double>(vgetq_lane_s64(sum01, 0)) * f);
    y[r + 1] = static_cast<float>(static_cast<double>(vgetq_lane_s64(sum01, 1)) * f);
    y[r + 2] = static_cast<float>(static_cast<double>(vgetq_lane_s64(sum23, 0)) * f);
    y[r + 3] = static_cast<float>(static_cast<double>(vgetq_lane_s64(sum23, 1)) * f);
  }
}

void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const double f = static_cast<double>(static_cast<float>(static_cast<double>(s) * 6.103515625e-05));
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    int32x4_t sum0 = vdupq_n_s32(0), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 16) {
      const Split v = SplitUnsigned(veorq_u8(vreinterpretq_u8_s8(vld1q_s8(x + j)), vdupq_n_u8(128)));
      sum0 = AddBytes(sum0, v, weights + j);
      sum1 = AddBytes(sum1, v, weights + stride + j);
      sum2 = AddBytes(sum2, v, weights + 2 * stride + j);
      sum3 = AddBytes(sum3, v, weights + 3 * stride + j);
    }
    int32_t sum[4];
    vst1q_s32(sum, Sums32(sum0, sum1, sum2, sum3));
    for (int32_t k = 0; k < 4; ++k) y[r + k] = static_cast<float>(static_cast<double>(sum[k]) * f);
  }
}

void GemvInt8Unclipped(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  Gemv<WideningDot>(x, rows, cols, weights, y, s);
}

void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const int32x4_t shift = vdupq_n_s32(qy - qx - qw);  // to the right
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    int32x4_t sum0 = vdupq_n_s32(0), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const int16x8_t v = vld1q_s16(x + j);
      sum0 = AddProducts(sum0, v, vld1q_s16(weights + j));
      sum1 = AddProducts(sum1, v, vld1q_s16(weights + stride + j));
      sum2 = AddProducts(sum2, v, vld1q_s16(weights + 2 * stride + j));
      sum3 = AddProducts(sum3, v, vld1q_s16(weights + 3 * stride + j));
    }
    vst1_s16(y + r, vmovn_s32(vshlq_s32(Sums32(sum0, sum1, sum2, sum3), shift)));
  }
}

void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw,
                      int32_t qy) {
  const int32_t whole_cols = cols & ~7;
  const double reciprocal = 1.0 / static_cast<double>(int64_t{1} << (qx - qy + qw));
  for (int32_t r = 0; r < rows; ++r, weights += cols) {
    int64x2_t sums = vdupq_n_s64(0);
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const int16x8_t v = vld1q_s16(x + j);
      const int16x8_t w = vld1q_s16(weights + j);
      sums = vpadalq_s32(sums, vmull_s16(vget_low_s16(v), vget_low_s16(w)));
      sums = vpadalq_s32(sums, vmull_high_s16(v, w));
    }
    // At most 2^31 products of 2^30: the value fits 64 bits.
    int64_t v = static_cast<int64_t>(static_cast<double>(vaddvq_s64(sums)) * reciprocal + 0.5);
    if (v > 32767) v = 32767;
    if (v < -32767) v = -32767;
    y[r] = static_cast<int16_t>(v);
  }
}

}  // namespace TSEG::neon
