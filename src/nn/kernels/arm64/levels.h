// SPDX-License-Identifier: Apache-2.0
//
// The levels of 64-bit ARM by name, each a namespace.
//
// The products of four bytes that some processors have (SDOT, UDOT) add up in 32 bits, where the kernels of bytes saturate pairs of
// products to 16 bits: they could not give the same bits, and there is no level for them.
#ifndef WVAD_NN_KERNELS_ARM64_LEVELS_H_
#define WVAD_NN_KERNELS_ARM64_LEVELS_H_

#include "nn/kernels/level.h"

namespace TSEG::neon {

extern const KernelLevel kLevel;
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y);

}  // namespace TSEG::neon

#endif  // WVAD_NN_KERNELS_ARM64_LEVELS_H_
