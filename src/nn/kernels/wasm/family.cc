// SPDX-License-Identifier: Apache-2.0
//
// The family of WebAssembly with vectors: they stand behind the reference.
#include "nn/kernels/wasm/levels.h"

namespace TSEG {

constinit const KernelLevel* const kFamilyLevels[] = {&ref::kLevel, &simd128::kLevel, nullptr};

}  // namespace TSEG
