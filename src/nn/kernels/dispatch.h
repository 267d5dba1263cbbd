// SPDX-License-Identifier: Apache-2.0
//
// Which kernels run: pure functions of the processor record.
//
// The level changes the speed and never a bit. What does change bits, the form of the recurrent step, is chosen by LstmVariantFor. The tables are
// constants; nothing allocates.
#ifndef WVAD_NN_KERNELS_DISPATCH_H_
#define WVAD_NN_KERNELS_DISPATCH_H_

#include "nn/cpu_features.h"
#include "nn/kernels/kernels.h"

namespace TSEG {

enum class KernelLevel { kRef, kSse41, kAvx2 };

// The highest level whose instructions `cpu` has; AVX2 counts only where the system keeps the wide registers.
KernelLevel LevelOf(const CpuFeatures& cpu);
// The level to run on `cpu`: the highest, or the lower one that WVAD_FORCE_KERNELS ("ref", "sse41", "avx2") names. The variable is read once; it
// is there for tests and benchmarks.
KernelLevel LevelToRun(const CpuFeatures& cpu);

struct DnnKernels {
  decltype(&ref::DnnGemmInt16) gemm_int16;
  decltype(&ref::DnnGemmInt8) gemm_int8;
  decltype(&ref::DnnBias32) bias32;
  decltype(&ref::DnnBias16) bias16;
  decltype(&ref::SigmoidTable8Of32) sigmoid8_of32;
  decltype(&ref::SigmoidTable8Of16) sigmoid8_of16;
  decltype(&ref::NormaliseRun) normalise;
  decltype(&ref::CutToInt16) cut_to_int16;
};

const DnnKernels& DnnKernelsOf(KernelLevel level);

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_DISPATCH_H_
