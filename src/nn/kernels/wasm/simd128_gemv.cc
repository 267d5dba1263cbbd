// SPDX-License-Identifier: Apache-2.0
//
// The matrix products of the recurrent network on 128-bit vectors.
//
// Wrapping sums do not depend on their order; where a sum saturates, is widened or is of floats, the steps are those of the reference. The
// tails that a block of work leaves are left here too.
#include "nn/kernels/wasm/levels.h"
#include "nn/kernels/wasm/simd128_lanes.h"

namespace TSEG::simd128 {
namespace {

// A dot product gives a pair sum modulo 2^32, which lies from -0x7FFF0000 to 2^31. Moved up by this it fits 32 bits without a sign, and is
// exact.
constexpr int64_t kPairOffset = 0x7FFF0000;

// `sum` and the products of 16 columns: pairs saturate to 16 bits, and pairs of these too.
v128_t AddBytes(v128_t sum, Split x, const int8_t* weights) {
  const v128_t fours = wasm_i32x4_extadd_pairwise_i16x8(Pairs(x, SplitSigned(wasm_v128_load(weights))));
  return wasm_i32x4_add(sum, wasm_i32x4_min(wasm_i32x4_max(fours, wasm_i32x4_splat(-32768)), wasm_i32x4_splat(32767)));
}

float SumOfLanes(v128_t v) {
  return static_cast<float>(static_cast<double>(wasm_f32x4_extract_lane(v, 0)) + static_cast<double>(wasm_f32x4_extract_lane(v, 1)) +
                            static_cast<double>(wasm_f32x4_extract_lane(v, 2)) + static_cast<double>(wasm_f32x4_extract_lane(v, 3)));
}

// The float of four 32-bit sums, each times f.
void StoreScaled(float* y, v128_t sums, double f) {
  const v128_t factor = wasm_f64x2_splat(f);
  Store2(y, wasm_f64x2_mul(wasm_f64x2_convert_low_i32x4(sums), factor));
  Store2(y + 2, wasm_f64x2_mul(wasm_f64x2_convert_low_i32x4(wasm_i64x2_shuffle(sums, sums, 1, 0)), factor));
}

// The 64-bit sums of pairs of products: what lies in the even pairs, and in the odd ones.
struct WidePairs {
  v128_t even = wasm_i64x2_splat(0);
  v128_t odd = wasm_i64x2_splat(0);

  void Add(v128_t x, const int16_t* weights) {
    const v128_t pairs = wasm_i32x4_add(wasm_i32x4_dot_i16x8(x, wasm_v128_load(weights)), wasm_i32x4_splat(kPairOffset));
    even = wasm_i64x2_add(even, wasm_v128_and(pairs, wasm_i64x2_splat(0xFFFFFFFF)));
    odd = wasm_i64x2_add(odd, wasm_u64x2_shr(pairs, 32));
  }
  int64_t Sum(int32_t columns) const {
    const v128_t both = wasm_i64x2_add(even, odd);
    return wasm_i64x2_extract_lane(both, 0) + wasm_i64x2_extract_lane(both, 1) - kPairOffset * (columns / 2);
  }
};

// At most 2^31 products of 2^30: the value fits 64 bits.
int16_t Clamped(int64_t sum, double reciprocal) {
  int64_t v = static_cast<int64_t>(static_cast<double>(sum) * reciprocal + 0.5);
  if (v > 32767) v = 32767;
  if (v < -32767) v = -32767;
  return static_cast<int16_t>(v);
}

}  // namespace

void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~3;
  int32_t r = 0;
  for (; r + 4 <= rows; r += 4, weights += 4 * stride) {
    v128_t sum0 = wasm_f32x4_splat(0.0f), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 4) {
      const v128_t v = wasm_v128_load(x + j);
      sum0 = wasm_f32x4_add(sum0, wasm_f32x4_mul(v, wasm_v128_load(weights + j)));
      sum1 = wasm_f32x4_add(sum1, wasm_f32x4_mul(v, wasm_v128_load(weights + stride + j)));
      sum2 = wasm_f32x4_add(sum2, wasm_f32x4_mul(v, wasm_v128_load(weights + 2 * stride + j)));
      sum3 = wasm_f32x4_add(sum3, wasm_f32x4_mul(v, wasm_v128_load(weights + 3 * stride + j)));
    }
    y[r] = SumOfLanes(sum0);
    y[r + 1] = SumOfLanes(sum1);
    y[r + 2] = SumOfLanes(sum2);
    y[r + 3] = SumOfLanes(sum3);
  }
  for (; r < rows; ++r, weights += stride) {
    v128_t sum = wasm_f32x4_splat(0.0f);
    for (int32_t j = 0; j < whole_cols; j += 4)
      sum = wasm_f32x4_add(sum, wasm_f32x4_mul(wasm_v128_load(x + j), wasm_v128_load(weights + j)));
    y[r] = SumOfLanes(sum);
  }
}

void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const double f = static_cast<double>(static_cast<float>(static_cast<double>(s) / 1073676288.0));
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    v128_t sum01 = wasm_i64x2_splat(0);
    v128_t sum23 = sum01;
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const v128_t v = wasm_v128_load(x + j);
      const v128_t eight =
          Sums32(wasm_i32x4_dot_i16x8(v, wasm_v128_load(weights + j)), wasm_i32x4_dot_i16x8(v, wasm_v128_load(weights + stride + j)),
                 wasm_i32x4_dot_i16x8(v, wasm_v128_load(weights + 2 * stride + j)),
                 wasm_i32x4_dot_i16x8(v, wasm_v128_load(weights + 3 * stride + j)));
      sum01 = wasm_i64x2_add(sum01, wasm_i64x2_extend_low_i32x4(eight));
      sum23 = wasm_i64x2_add(sum23, wasm_i64x2_extend_high_i32x4(eight));
    }
    y[r] = static_cast<float>(static_cast<double>(wasm_i64x2_extract_lane(sum01, 0)) * f);
    y[r + 1] = static_cast<float>(static_cast<double>(wasm_i64x2_extract_lane(sum01, 1)) * f);
    y[r + 2] = static_cast<float>(static_cast<double>(wasm_i64x2_extract_lane(sum23, 0)) * f);
    y[r + 3] = static_cast<float>(static_cast<double>(wasm_i64x2_extract_lane(sum23, 1)) * f);
  }
}

void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const double f = static_cast<double>(static_cast<float>(static_cast<double>(s) * 6.103515625e-05));
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    v128_t sum0 = wasm_i32x4_splat(0), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 16) {
      const Split v = SplitUnsigned(wasm_v128_xor(wasm_v128_load(x + j), wasm_i8x16_splat(-128)));
      sum0 = AddBytes(sum0, v, weights + j);
      sum1 = AddBytes(sum1, v, weights + stride + j);
      sum2 = AddBytes(sum2, v, weights + 2 * stride + j);
      sum3 = AddBytes(sum3, v, weights + 3 * stride + j);
    }
    StoreScaled(y + r, Sums32(sum0, sum1, sum2, sum3), f);
  }
}

void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const uint32_t shift = static_cast<uint32_t>(qx - qy + qw);
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    v128_t sum0 = wasm_i32x4_splat(0), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const v128_t v = wasm_v128_load(x + j);
      sum0 = AddProducts(sum0, v, wasm_v128_load(weights + j));
      sum1 = AddProducts(sum1, v, wasm_v128_load(weights + stride + j));
      sum2 = AddProducts(sum2, v, wasm_v128_load(weights + 2 * stride + j));
      sum3 = AddProducts(sum3, v, wasm_v128_load(weights + 3 * stride + j));
    }
    const v128_t wide = wasm_i32x4_shr(Sums32(sum0, sum1, sum2, sum3), shift);
    wasm_v128_store64_lane(y + r, wasm_i16x8_shuffle(wide, wide, 0, 2, 4, 6, 0, 2, 4, 6), 0);
  }
}

void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw,
                      int32_t qy) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const double reciprocal = 1.0 / static_cast<double>(int64_t{1} << (qx - qy + qw));
  int32_t r = 0;
  for (; r + 2 <= rows; r += 2, weights += 2 * stride) {
    WidePairs sum0, sum1;
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const v128_t v = wasm_v128_load(x + j);
      sum0.Add(v, weights + j);
      sum1.Add(v, weights + stride + j);
    }
    y[r] = Clamped(sum0.Sum(whole_cols), reciprocal);
    y[r + 1] = Clamped(sum1.Sum(whole_cols), reciprocal);
  }
  if (r < rows) {
    WidePairs sum;
    for (int32_t j = 0; j < whole_cols; j += 8) sum.Add(wasm_v128_load(x + j), weights + j);
    y[r] = Clamped(sum.Sum(whole_cols), reciprocal);
  }
}

}  // namespace TSEG::simd128
