// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the feed-forward network on 128-bit vectors.
//
// Wrapping sums do not depend on their order, and the saturating pairs are the pairs of the reference, so the bits are the same. There is
// no conversion to integers of 64 bits: what does not fit 32 goes through the reference, which keeps the low bits.
#include "nn/kernels/wasm/levels.h"
#include "nn/kernels/wasm/simd128_lanes.h"

namespace TSEG::simd128 {
namespace {

int32_t SumOfLanes(v128_t v) {
  return static_cast<int32_t>(static_cast<uint32_t>(wasm_i32x4_extract_lane(v, 0)) + static_cast<uint32_t>(wasm_i32x4_extract_lane(v, 1)) +
                              static_cast<uint32_t>(wasm_i32x4_extract_lane(v, 2)) + static_cast<uint32_t>(wasm_i32x4_extract_lane(v, 3)));
}
// Of eight, wrapping at 16 bits.
int16_t SumOfShorts(v128_t v) { return static_cast<int16_t>(SumOfLanes(wasm_i32x4_extadd_pairwise_i16x8(v))); }

// bias + value * f in double of four values; false, and nothing in `sum`, if one does not fit 32 bits.
bool Biased(v128_t value, const int32_t* bias, v128_t f, v128_t* sum) {
  const v128_t b = wasm_v128_load(bias);
  const v128_t upper_value = wasm_i64x2_shuffle(value, value, 1, 0), upper_bias = wasm_i64x2_shuffle(b, b, 1, 0);
  const v128_t low = wasm_f64x2_add(wasm_f64x2_convert_low_i32x4(b), wasm_f64x2_mul(wasm_f64x2_convert_low_i32x4(value), f));
  const v128_t high =
      wasm_f64x2_add(wasm_f64x2_convert_low_i32x4(upper_bias), wasm_f64x2_mul(wasm_f64x2_convert_low_i32x4(upper_value), f));
  if (!Fit32(low) || !Fit32(high)) return false;
  *sum = Cut32(low, high);
  return true;
}

// The low 16 bits of four.
v128_t LowHalves(v128_t v) { return wasm_i16x8_shuffle(v, v, 0, 2, 4, 6, 0, 2, 4, 6); }

}  // namespace

void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  for (int32_t r = 0; r + 2 <= rows; r += 2, weights += 2 * stride) {
    v128_t sum[8];
    for (v128_t& s : sum) s = wasm_i32x4_splat(0);
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const v128_t w0 = wasm_v128_load(weights + j);
      const v128_t w1 = wasm_v128_load(weights + stride + j);
      for (int32_t f = 0; f < 4; ++f) {
        const v128_t x = wasm_v128_load(frames + f * stride + j);
        sum[2 * f] = AddProducts(sum[2 * f], x, w0);
        sum[2 * f + 1] = AddProducts(sum[2 * f + 1], x, w1);
      }
    }
    for (int32_t f = 0; f < 4; ++f) {
      out[static_cast<int64_t>(f) * rows + r] = SumOfLanes(sum[2 * f]);
      out[static_cast<int64_t>(f) * rows + r + 1] = SumOfLanes(sum[2 * f + 1]);
    }
  }
}

void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  for (int32_t r = 0; r + 2 <= rows; r += 2, weights += 2 * stride) {
    v128_t sum[8];
    for (v128_t& s : sum) s = wasm_i16x8_splat(0);
    for (int32_t j = 0; j < whole_cols; j += 16) {
      const Split w0 = SplitSigned(wasm_v128_load(weights + j));
      const Split w1 = SplitSigned(wasm_v128_load(weights + stride + j));
      for (int32_t f = 0; f < 4; ++f) {
        const Split x = SplitUnsigned(wasm_v128_load(frames + f * stride + j));
        sum[2 * f] = wasm_i16x8_add(sum[2 * f], Pairs(x, w0));
        sum[2 * f + 1] = wasm_i16x8_add(sum[2 * f + 1], Pairs(x, w1));
      }
    }
    for (int32_t f = 0; f < 4; ++f) {
      out[static_cast<int64_t>(f) * rows + r] = SumOfShorts(sum[2 * f]);
      out[static_cast<int64_t>(f) * rows + r + 1] = SumOfShorts(sum[2 * f + 1]);
    }
  }
}

void DnnBias32(int32_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const v128_t f = wasm_f64x2_splat(DnnBiasFactor(p, q));
  const int32_t whole = width & ~3;
  v128_t sum;
  for (int32_t r = 0; r < n; ++r, values += width) {
    for (int32_t j = 0; j < whole; j += 4) {
      if (Biased(wasm_v128_load(values + j), bias + j, f, &sum)) {
        wasm_v128_store(values + j, sum);
      } else {
        ref::DnnBias32(values + j, 1, 4, bias + j, p, q);
      }
    }
    if (whole < width) ref::DnnBias32(values + whole, 1, width - whole, bias + whole, p, q);
  }
}

void DnnBias16(int16_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const v128_t f = wasm_f64x2_splat(DnnBiasFactor(p, q));
  const int32_t whole = width & ~3;
  v128_t sum;
  for (int32_t r = 0; r < n; ++r, values += width) {
    for (int32_t j = 0; j < whole; j += 4) {
      if (Biased(wasm_i32x4_load16x4(values + j), bias + j, f, &sum)) {
        wasm_v128_store64_lane(values + j, LowHalves(sum), 0);
      } else {
        ref::DnnBias16(values + j, 1, 4, bias + j, p, q);
      }
    }
    if (whole < width) ref::DnnBias16(values + whole, 1, width - whole, bias + whole, p, q);
  }
}

void NormaliseRun(float* x, int32_t n, const float* mean, const float* inv_std) {
  int32_t j = 0;
  for (; j + 4 <= n; j += 4) {
    wasm_v128_store(x + j, wasm_f32x4_mul(wasm_f32x4_sub(wasm_v128_load(x + j), wasm_v128_load(mean + j)), wasm_v128_load(inv_std + j)));
  }
  if (j < n) ref::NormaliseRun(x + j, n - j, mean + j, inv_std + j);
}

void CutToInt16(const float* x, int32_t n, float scale, int16_t* out) {
  const v128_t s = wasm_f64x2_splat(static_cast<double>(scale));
  int32_t j = 0;
  for (; j + 4 <= n; j += 4) {
    const v128_t low = wasm_f64x2_mul(Load2(x + j), s);
    const v128_t high = wasm_f64x2_mul(Load2(x + j + 2), s);
    if (Fit32(low) && Fit32(high)) {
      wasm_v128_store64_lane(out + j, LowHalves(Cut32(low, high)), 0);
    } else {
      ref::CutToInt16(x + j, 4, scale, out + j);
    }
  }
  if (j < n) ref::CutToInt16(x + j, n - j, scale, out + j);
}

}  // namespace TSEG::simd128
