// SPDX-License-Identifier: Apache-2.0
//
// The processor record of a 64-bit ARM processor: its family, the vectors that belong to it, and what the system tells of others.
#include "nn/cpu_features_arm64.h"

namespace TSEG {

CpuFeatures Arm64Features(const platform::ProcessorWords& words) {
  CpuFeatures features;
  features.family = ProcessorFamily::kOther;
  features.bNeon = true;
  features.bDotProd = (words.first >> 20) & 1u;
  features.bI8mm = (words.second >> 13) & 1u;
  return features;
}

CpuFeatures EnumerateCpu() { return Arm64Features(platform::WordsOfProcessor()); }

}  // namespace TSEG
