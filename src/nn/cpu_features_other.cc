// SPDX-License-Identifier: Apache-2.0
//
// The processor record of a processor that is not x86: its family, and no word of CPUID.
#include "nn/cpu_features.h"

namespace TSEG {

CpuFeatures EnumerateCpu() {
  CpuFeatures features;
  features.family = ProcessorFamily::kOther;
  return features;
}

}  // namespace TSEG
