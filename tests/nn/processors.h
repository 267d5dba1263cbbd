// SPDX-License-Identifier: Apache-2.0
//
// Processor records for tests: the real one with every subset of its instruction levels.
#ifndef WVAD_NN_PROCESSORS_H_
#define WVAD_NN_PROCESSORS_H_

#include <vector>

#include "nn/kernels/dispatch.h"

namespace TSEG::test {

// `cpu` without what `level` needs beyond its base.
inline CpuFeatures Without(CpuFeatures cpu, const KernelLevel& level) {
  cpu.leaf1Ecx &= ~level.needs.leaf1Ecx;
  cpu.leaf1Edx &= ~level.needs.leaf1Edx;
  cpu.leaf7Ebx &= ~level.needs.leaf7Ebx;
  cpu.leaf7Ecx &= ~level.needs.leaf7Ecx;
  if (level.needs.bOsSavesYmm) cpu.bOsSavesYmm = false;
  if (level.needs.bOsSavesZmm) cpu.bOsSavesZmm = false;
  if (level.needs.bNeon) cpu.bNeon = false;
  if (level.needs.bDotProd) cpu.bDotProd = false;
  if (level.needs.bI8mm) cpu.bI8mm = false;
  return cpu;
}

// This processor with each subset of the levels that were built in taken away; all of it first, the reference alone last.
inline std::vector<CpuFeatures> EverySubsetOfLevels() {
  std::vector<CpuFeatures> subsets = {DetectedCpu()};
  for (size_t i = 1; i < KernelLevels().size(); ++i) {
    const size_t count = subsets.size();
    for (size_t k = 0; k < count; ++k) subsets.push_back(Without(subsets[k], *kFamilyLevels[i]));
  }
  return subsets;
}

}  // namespace TSEG::test

#endif  // WVAD_NN_PROCESSORS_H_
