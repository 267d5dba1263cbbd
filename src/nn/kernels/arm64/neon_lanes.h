// SPDX-License-Identifier: Apache-2.0
//
// What the files of the NEON level share: values at any address, wrapping sums of products, bytes widened in two halves.
//
// Included by files of this level alone; what stands here has internal linkage, so that no other code can come to use it.
#ifndef WVAD_NN_KERNELS_ARM64_NEON_LANES_H_
#define WVAD_NN_KERNELS_ARM64_NEON_LANES_H_

#include <arm_neon.h>

namespace TSEG::neon {
namespace {

template <typename V>
V Load(const void* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}
template <typename V>
void Store(void* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}

[[maybe_unused]] int32x4_t AddProducts(int32x4_t sum, int16x8_t a, int16x8_t b) {
  return vmlal_high_s16(vmlal_s16(sum, vget_low_s16(a), vget_low_s16(b)), a, b);
}

// The even and odd bytes of a vector, widened.
struct Split {
  int16x8_t even, odd;
};
[[maybe_unused]] Split SplitSigned(int8x16_t v) {
  const int16x8_t wide = vreinterpretq_s16_s8(v);
  return {vshrq_n_s16(vshlq_n_s16(wide, 8), 8), vshrq_n_s16(wide, 8)};
}
[[maybe_unused]] Split SplitUnsigned(uint8x16_t v) {
  const uint16x8_t wide = vreinterpretq_u16_u8(v);
  return {vreinterpretq_s16_u16(vandq_u16(wide, vdupq_n_u16(255))), vreinterpretq_s16_u16(vshrq_n_u16(wide, 8))};
}
// A product of bytes fits 16 bits; a pair of them saturates there.
[[maybe_unused]] int16x8_t Pairs(Split x, Split w) { return vqaddq_s16(vmulq_s16(x.even, w.even), vmulq_s16(x.odd, w.odd)); }

}  // namespace
}  // namespace TSEG::neon

#endif  // WVAD_NN_KERNELS_ARM64_NEON_LANES_H_
