// SPDX-License-Identifier: Apache-2.0
//
// The family of 64-bit ARM: NEON behind the reference.
#include "nn/kernels/arm64/levels.h"

namespace TSEG {

constinit const KernelLevel* const kFamilyLevels[] = {&ref::kLevel, &neon::kLevel, nullptr};

}  // namespace TSEG
