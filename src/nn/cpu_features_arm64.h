// SPDX-License-Identifier: Apache-2.0
//
// What the system's words about a 64-bit ARM processor make of its record.
#ifndef WVAD_NN_CPU_FEATURES_ARM64_H_
#define WVAD_NN_CPU_FEATURES_ARM64_H_

#include "nn/cpu_features.h"
#include "platform/platform.h"

namespace TSEG {

// The record of a processor of which the system says `words`: ASIMDDP is bit 20 of the first, I8MM bit 13 of the second. A pure function.
CpuFeatures Arm64Features(const platform::ProcessorWords& words);

}  // namespace TSEG

#endif  // WVAD_NN_CPU_FEATURES_ARM64_H_
