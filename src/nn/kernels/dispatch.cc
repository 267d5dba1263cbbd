// SPDX-License-Identifier: Apache-2.0
//
// The tables of kernels by instruction level, and the choice among them.
#include "nn/kernels/dispatch.h"

#include <cstdlib>
#include <cstring>

namespace TSEG {
namespace {

KernelLevel ForcedLevel() {
  static const KernelLevel level = [] {
    const char* name = std::getenv("WVAD_FORCE_KERNELS");
    if (name != nullptr && std::strcmp(name, "ref") == 0) return KernelLevel::kRef;
    if (name != nullptr && std::strcmp(name, "sse41") == 0) return KernelLevel::kSse41;
    return KernelLevel::kAvx2;
  }();
  return level;
}

}  // namespace

KernelLevel LevelOf(const CpuFeatures& cpu) {
  if (!cpu.int8_form()) return KernelLevel::kRef;
  return cpu.avx2() && cpu.bOsSavesYmm ? KernelLevel::kAvx2 : KernelLevel::kSse41;
}

KernelLevel LevelToRun(const CpuFeatures& cpu) {
  const KernelLevel highest = LevelOf(cpu);
  const KernelLevel forced = ForcedLevel();
  return forced < highest ? forced : highest;
}

#define WVAD_DNN_TABLE(level)                                                                                                      \
  {                                                                                                                                \
    level::DnnGemmInt16, level::DnnGemmInt8, level::DnnBias32, level::DnnBias16, level::SigmoidTable8Of32, level::SigmoidTable8Of16, \
        level::NormaliseRun, level::CutToInt16                                                                                     \
  }

const DnnKernels& DnnKernelsOf(KernelLevel level) {
  static constexpr DnnKernels kTables[] = {WVAD_DNN_TABLE(ref), WVAD_DNN_TABLE(sse41), WVAD_DNN_TABLE(avx2)};
  return kTables[static_cast<size_t>(level)];
}

#undef WVAD_DNN_TABLE

}  // namespace TSEG
