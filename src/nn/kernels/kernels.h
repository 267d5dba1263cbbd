// SPDX-License-Identifier: Apache-2.0
//
// The arithmetic that the forward passes are made of: quantisers, matrix products and activations, at each instruction level.
//
// `ref::` is the definition, in plain loops; the namespaces of the instruction levels (x86/levels.h and its like) give the same bits
// faster. All are plain functions over buffers of the caller: no allocation, no failure path, no check of dimensions. Loads are unaligned.
//
// This header includes C headers alone and holds no inline function, so that files built for one instruction level share no code with
// others.
//
// Matrices are row-major, one output a row, `cols` apart. A kernel with a block of work ignores what is left behind the last whole block.
#ifndef WVAD_NN_KERNELS_KERNELS_H_
#define WVAD_NN_KERNELS_KERNELS_H_

#include <stdint.h>

// Declares the functions of the feed-forward network, in the namespace of a level that has them all.
//
// Products of 4 frames, which stand `cols` apart, with `rows` rows taken two at a time; out[frame * rows + row]:
// - DnnGemmInt16: `cols` cut to a multiple of 8; sums wrap at 32 bits.
// - DnnGemmInt8: unsigned frames by signed weights, `cols` cut to a multiple of 16. Each pair of products is added with saturation to
//   16 bits, and the pairs with wrapping at 16 bits.
//
// Bias, on `n` rows of `width` values:
// - DnnBias32, DnnBias16: v = bias[j] + v * 2^(q - p) in double, cut toward zero, the low 32 or 16 bits kept.
//
// On `n` values:
// - SigmoidTable8Of32, SigmoidTable8Of16: from `a` fraction bits to bytes with `b`, by lookup in the table of SigmoidQ30.
// - NormaliseRun: x = (x - mean) rounded to single, then x * inv_std rounded to single.
// - CutToInt16: x * scale cut toward zero, the low 16 bits kept. `out` may be at or in front of `x` in the same buffer.
#define WVAD_DNN_KERNELS                                                                                      \
  void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out); \
  void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out);   \
  void DnnBias32(int32_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q);       \
  void DnnBias16(int16_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q);       \
  void SigmoidTable8Of32(const int32_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out);                   \
  void SigmoidTable8Of16(const int16_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out);                   \
  void NormaliseRun(float* x, int32_t n, const float* mean, const float* inv_std);                            \
  void CutToInt16(const float* x, int32_t n, float scale, int16_t* out);

// Declares the functions of the recurrent network, in the namespace of a level that has them all.
//
// Quantisers, `n` values in place: the narrow values overwrite the front of the float array, which is no longer float after the call:
// - QuantInt16: x * (32768 / range, as a single) rounded half away from zero and clamped. QuantInt8: the same with 128.
//
// Products, `rows` outputs; all but GemvFixedClamped take `rows` cut to a multiple of 4:
// - GemvInt16ToFloat: `cols` cut to a multiple of 8. The products of 8 columns are added with wrapping at 32 bits, these sums in 64 bits.
//   y = sum * (s / 32767^2, as a single).
// - GemvInt8ToFloat: `cols` cut to a multiple of 16. 128 is added to each activation, which makes it unsigned; pairs of products are
//   added with saturation to 16 bits, pairs of these too, and those in 32 bits. y = sum * (s / 2^14, as a single).
// - GemvFixed: `cols` cut to a multiple of 8. Sums wrap at 32 bits. y = the low 16 bits of sum >> (qx - qy + qw).
// - GemvFixedClamped: `cols` cut to a multiple of 8. Sums in 64 bits. y = sum / 2^(qx - qy + qw) + 0.5 cut toward zero, held
//   within +-32767.
//
// On `n` values:
// - VecAdd: a += b. VecAddWrap16: the same at 16 bits, wrapping.
// - VecMulAdd: out += c * p, product and sum each rounded to single. VecMul: out = a * b.
// - CellUpdate: c = f * c + i * g in double, rounded to single.
// - Sigmoid: 1 / (e + 1) in double with e = exp(-x) as a single, rounded to single, in place.
// - Tanh: 2 / (e + 1) - 1 in double with e = exp(-2x) in double, rounded to single, in place.
// - PeepholeFixed: out += saturate16((t * p) >> shift), this sum wrapping.
// - CellUpdateFixed: c = saturate16((f * c + i * g) >> 14), this sum wrapping.
// - VecMulFixed: out = t * h as a single, times 2^-13, rounded to the nearest, ties to even, saturated.
#define WVAD_LSTM_KERNELS                                                                                                               \
  void QuantInt16(float* x, int32_t n, float range);                                                                                    \
  void QuantInt8(float* x, int32_t n, float range);                                                                                     \
  void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s);                       \
  void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s);                          \
  void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy); \
  void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw,       \
                        int32_t qy);                                                                                                    \
  void VecAdd(float* a, const float* b, int32_t n);                                                                                     \
  void VecAddWrap16(int16_t* a, const int16_t* b, int32_t n);                                                                           \
  void VecMulAdd(const float* c, const float* p, float* out, int32_t n);                                                                \
  void VecMul(const float* a, const float* b, float* out, int32_t n);                                                                   \
  void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n);                                                 \
  void Sigmoid(float* x, int32_t n);                                                                                                    \
  void Tanh(float* x, int32_t n);                                                                                                       \
  void PeepholeFixed(const int16_t* t, const int16_t* p, int16_t* out, int32_t n, int32_t shift);                                       \
  void CellUpdateFixed(const int16_t* f, const int16_t* i, const int16_t* g, int16_t* c, int32_t n);                                    \
  void VecMulFixed(const int16_t* t, const int16_t* h, int16_t* out, int32_t n);

namespace TSEG {

// sigmoid((i - 4096) / 256) in Q30, 8192 entries and one of padding. Computed in single, so that 24 bits of an entry are significant.
const int32_t* SigmoidQ30();
constexpr int32_t kSigmoidQ30Entries = 8192;
// 2 to the power q - p, as a single.
double DnnBiasFactor(int32_t p, int32_t q);
// The softmax of `n` values: exponentials of the differences to the largest (taken from -1e10 up), a sum in single, quotients in single.
void Softmax(int32_t n, const float* x, float* y);

namespace ref {
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
// `cols` cut to a multiple of 4; 4 lanes of sums in single, added in their order in double and rounded once.
void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y);
// Another sum than GemvFloatSse, with other results in the last bits: one sum, rounded to single after each product-add, for any `cols`. It
// runs where there is no SSE, so it has this form alone.
void GemvFloatX87(const float* x, int32_t rows, int32_t cols, const float* weights, float* y);
// `n` values with q_in fraction bits, in place, to values with q_out: x and e = exp(-x) as singles, y as a single, y * 2^q_out + 0.5 as a
// single, clamped to 16 bits and cut toward zero. TanhFixed: e = exp(-2x).
void SigmoidFixed(int16_t* v, int32_t n, int32_t q_in, int32_t q_out);
void TanhFixed(int16_t* v, int32_t n, int32_t q_in, int32_t q_out);
}  // namespace ref

// The three 16-bit activations of the fixed form by table, equal to ref::SigmoidFixed(10, 14), ref::TanhFixed(10, 9) and ref::TanhFixed(9,
// 14).
void SigmoidFixed10To14(int16_t* v, int32_t n);
void TanhFixed10To9(int16_t* v, int32_t n);
void TanhFixed9To14(int16_t* v, int32_t n);

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_KERNELS_H_
