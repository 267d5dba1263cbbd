// SPDX-License-Identifier: Apache-2.0
//
// The arithmetic that the forward passes are made of: quantisers, matrix products and activations, at each instruction level.
//
// `ref::` is the definition, in plain loops; `sse41::` and `avx2::` hold faster forms that give the same bits, and only of what is worth it. All are
// plain functions over buffers of the caller: no allocation, no failure path, no check of dimensions. Loads are unaligned.
// This header includes C headers alone and holds no inline function, so that files built for one instruction level share no code with others.
//
// Matrices are row-major, one output a row, `cols` apart. A kernel with a block of work ignores what is left behind the last whole block.
#ifndef WVAD_NN_KERNELS_KERNELS_H_
#define WVAD_NN_KERNELS_KERNELS_H_

#include <stdint.h>

// The functions of the feed-forward network; each level has them all.
//
// DnnGemmInt16: 4 frames `cols` apart by `rows` (taken two at a time) of `cols` (cut to a multiple of 8); sums wrap at 32 bits.
//   out[frame * rows + row].
// DnnGemmInt8: unsigned frames by signed weights, `cols` cut to a multiple of 16. Each pair of products is added with saturation to 16 bits, the
//   pairs are added with wrapping at 16 bits.
// DnnBias32, DnnBias16: v = bias[j] + v * 2^(q - p) in double, cut toward zero, low 32 or 16 bits kept. `n` rows of `width` values.
// SigmoidTable8Of32, SigmoidTable8Of16: `n` values with `a` fraction bits to bytes with `b`, by lookup in kSigmoidQ30.
// NormaliseRun: x = (x - mean) rounded to single, then x * inv_std rounded to single.
// CutToInt16: x * scale cut toward zero, low 16 bits. `out` may be at or in front of `x` in the same buffer.
#define WVAD_DNN_KERNELS                                                                                                          \
  void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out);                    \
  void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out);                      \
  void DnnBias32(int32_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q);                          \
  void DnnBias16(int16_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q);                          \
  void SigmoidTable8Of32(const int32_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out);                                      \
  void SigmoidTable8Of16(const int16_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out);                                      \
  void NormaliseRun(float* x, int32_t n, const float* mean, const float* inv_std);                                               \
  void CutToInt16(const float* x, int32_t n, float scale, int16_t* out);

namespace TSEG {

// sigmoid((i - 4096) / 256) in Q30, 8192 entries and one of padding. Computed in single, so that 24 bits of an entry are significant.
const int32_t* SigmoidQ30();
constexpr int32_t kSigmoidQ30Entries = 8192;
// 2 to the power q - p, as a single.
double DnnBiasFactor(int32_t p, int32_t q);

namespace ref {
WVAD_DNN_KERNELS
}  // namespace ref
namespace sse41 {
WVAD_DNN_KERNELS
}  // namespace sse41
namespace avx2 {
WVAD_DNN_KERNELS
}  // namespace avx2

}  // namespace TSEG

#undef WVAD_DNN_KERNELS

#endif  // WVAD_NN_KERNELS_KERNELS_H_
