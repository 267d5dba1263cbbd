// SPDX-License-Identifier: Apache-2.0
//
// Float weights to the integer forms that the kernels read, and the correction of a bias for kernels that feed unsigned bytes.
//
// A product with a power of two is exact in double; the half is added in double; the range rules first make the product in single, as their
// definition says. What does not fit is clipped, except by QFixed, which keeps the low 16 bits. Not-a-number gives the lowest value.
// Nothing allocates.
#ifndef WVAD_RES_CONVERSIONS_H_
#define WVAD_RES_CONVERSIONS_H_

#include <cstddef>
#include <cstdint>

namespace TSEG {

// x times 2 to the `shift` (0 to 255), half away from zero, clipped, cut toward zero.
int32_t Fixed32(float x, int shift);
int16_t Fixed16(float x, int shift);
int8_t Fixed8(float x, int shift);

// x times 2 to the `q` (0 to 255), plus 0.5 whatever the sign, cut toward zero, low 16 bits.
int16_t QFixed(float x, int q);

// x on a scale where `range` is 32768 (or 128), half away from zero, clipped.
int16_t QRange16(float x, float range);
int8_t QRange8(float x, float range);

// The same over the `n` floats at `floats`, on any address, to `to` [n].
void Fixed32Row(const void* floats, size_t n, int shift, int32_t* to);
void Fixed16Row(const void* floats, size_t n, int shift, int16_t* to);
void Fixed8Row(const void* floats, size_t n, int shift, int8_t* to);
void QFixedRow(const void* floats, size_t n, int q, int16_t* to);
void QRange16Row(const void* floats, size_t n, float range, int16_t* to);
void QRange8Row(const void* floats, size_t n, float range, int8_t* to);

// The same over `n` floats in place: the narrow values fill the front of the floats' space, the old floats stay behind them.
void QFixedInPlace(void* floats, size_t n, int q);
void QRange16InPlace(void* floats, size_t n, float range);
void QRange8InPlace(void* floats, size_t n, float range);

// Takes off `correction` [rows] what the int8 kernels add to each row of `w` [rows x cols] by feeding activations plus 128, through
// the same saturating steps. Rows go four at a time and columns sixteen at a time; what is left over is not visited.
void CorrectBias(const int8_t* w, int32_t rows, int32_t cols, float scale, float* correction);

}  // namespace TSEG

#endif  // WVAD_RES_CONVERSIONS_H_
