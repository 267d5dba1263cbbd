// SPDX-License-Identifier: Apache-2.0
//
// The processor record of a 64-bit ARM processor: its family, and the vectors that belong to it.
#include "nn/cpu_features.h"

namespace TSEG {

CpuFeatures EnumerateCpu() {
  CpuFeatures features;
  features.family = ProcessorFamily::kOther;
  features.bNeon = true;
  return features;
}

}  // namespace TSEG
