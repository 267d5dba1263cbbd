// SPDX-License-Identifier: Apache-2.0
//
// The levels of 64-bit ARM by name, each a namespace.
//
// Weights of which it is proved that nothing saturates (weight_proofs.h) have kernels of their own in each: widening products in NEON,
// which needs no narrowing steps for them, and sums of four products in `dotprod` and `i8mm`, which leave all else to NEON.
#ifndef WVAD_NN_KERNELS_ARM64_LEVELS_H_
#define WVAD_NN_KERNELS_ARM64_LEVELS_H_

#include "nn/kernels/level.h"

namespace TSEG {

namespace neon {
extern const KernelLevel kLevel;
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
void DnnGemmInt8Unclipped(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out);
void GemvInt8Unclipped(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s);
void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y);
}  // namespace neon

namespace dotprod {
extern const KernelLevel kLevel;
}  // namespace dotprod

namespace i8mm {
extern const KernelLevel kLevel;
}  // namespace i8mm

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_ARM64_LEVELS_H_
