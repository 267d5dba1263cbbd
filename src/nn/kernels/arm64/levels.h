// SPDX-License-Identifier: Apache-2.0
//
// The levels of 64-bit ARM by name, each a namespace.
//
// The products of four bytes that some processors have add up in 32 bits, where the kernels of bytes saturate pairs of products to 16 bits:
// the levels `dotprod` and `i8mm` have them for the weights of which it is proved that nothing saturates (weight_proofs.h), and leave all
// else to NEON.
#ifndef WVAD_NN_KERNELS_ARM64_LEVELS_H_
#define WVAD_NN_KERNELS_ARM64_LEVELS_H_

#include "nn/kernels/level.h"

namespace TSEG {

namespace neon {
extern const KernelLevel kLevel;
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
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
