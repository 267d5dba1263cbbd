// SPDX-License-Identifier: Apache-2.0
//
// The family without an instruction level: the reference runs, on any processor.
#include "nn/kernels/level.h"

namespace TSEG {

constinit const KernelLevel* const kFamilyLevels[] = {&ref::kLevel, nullptr};

}  // namespace TSEG
