// SPDX-License-Identifier: Apache-2.0
//
// What the files of the level share: sums over lanes, bytes widened in two halves, doubles cut to integers.
//
// Included by files of this level alone; what stands here has internal linkage.
#ifndef WVAD_NN_KERNELS_WASM_SIMD128_LANES_H_
#define WVAD_NN_KERNELS_WASM_SIMD128_LANES_H_

#include <stdint.h>
#include <wasm_simd128.h>

namespace TSEG::simd128 {
namespace {

// The 32-bit sums of a, b, c, d, wrapping.
[[maybe_unused]] v128_t Sums32(v128_t a, v128_t b, v128_t c, v128_t d) {
  const v128_t ab = wasm_i32x4_add(wasm_i32x4_shuffle(a, b, 0, 4, 1, 5), wasm_i32x4_shuffle(a, b, 2, 6, 3, 7));
  const v128_t cd = wasm_i32x4_add(wasm_i32x4_shuffle(c, d, 0, 4, 1, 5), wasm_i32x4_shuffle(c, d, 2, 6, 3, 7));
  return wasm_i32x4_add(wasm_i64x2_shuffle(ab, cd, 0, 2), wasm_i64x2_shuffle(ab, cd, 1, 3));
}

// `sum` and the products of eight, wrapping.
[[maybe_unused]] v128_t AddProducts(v128_t sum, v128_t a, v128_t b) { return wasm_i32x4_add(sum, wasm_i32x4_dot_i16x8(a, b)); }

// The even and odd bytes of a vector, widened.
struct Split {
  v128_t even, odd;
};
[[maybe_unused]] Split SplitSigned(v128_t v) { return {wasm_i16x8_shr(wasm_i16x8_shl(v, 8), 8), wasm_i16x8_shr(v, 8)}; }
[[maybe_unused]] Split SplitUnsigned(v128_t v) { return {wasm_v128_and(v, wasm_i16x8_splat(255)), wasm_u16x8_shr(v, 8)}; }
// A product of bytes fits 16 bits; a pair of them saturates there.
[[maybe_unused]] v128_t Pairs(Split x, Split w) { return wasm_i16x8_add_sat(wasm_i16x8_mul(x.even, w.even), wasm_i16x8_mul(x.odd, w.odd)); }

// Two singles at any address as doubles, and two doubles as singles.
[[maybe_unused]] v128_t Load2(const float* p) { return wasm_f64x2_promote_low_f32x4(wasm_v128_load64_zero(p)); }
[[maybe_unused]] void Store2(float* p, v128_t v) { wasm_v128_store64_lane(p, wasm_f32x4_demote_f64x2_zero(v), 0); }

// Whether both lie within the numbers of 32 bits when they are cut toward zero. Not-a-number does not.
[[maybe_unused]] bool Fit32(v128_t doubles) {
  return wasm_i64x2_all_true(wasm_f64x2_lt(wasm_f64x2_abs(doubles), wasm_f64x2_splat(2147483648.0)));
}
// Four doubles that fit, cut toward zero.
[[maybe_unused]] v128_t Cut32(v128_t low, v128_t high) {
  return wasm_i64x2_shuffle(wasm_i32x4_trunc_sat_f64x2_zero(low), wasm_i32x4_trunc_sat_f64x2_zero(high), 0, 2);
}

}  // namespace
}  // namespace TSEG::simd128

#endif  // WVAD_NN_KERNELS_WASM_SIMD128_LANES_H_
