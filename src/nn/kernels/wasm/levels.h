// SPDX-License-Identifier: Apache-2.0
//
// The levels of WebAssembly by name, each a namespace. There is one: vectors of 128 bits, which need nothing that could be asked when the
// module runs. A build without them takes the family "ref".
#ifndef WVAD_NN_KERNELS_WASM_LEVELS_H_
#define WVAD_NN_KERNELS_WASM_LEVELS_H_

#include "nn/kernels/level.h"

namespace TSEG::simd128 {

extern const KernelLevel kLevel;
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y);

}  // namespace TSEG::simd128

#endif  // WVAD_NN_KERNELS_WASM_LEVELS_H_
