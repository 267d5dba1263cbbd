// SPDX-License-Identifier: Apache-2.0
//
// The family of 64-bit ARM: its levels behind the reference, in the order of choice.
#include "nn/kernels/arm64/levels.h"

namespace TSEG {

constinit const KernelLevel* const kFamilyLevels[] = {&ref::kLevel, &neon::kLevel, &dotprod::kLevel, &i8mm::kLevel, nullptr};

}  // namespace TSEG
