// SPDX-License-Identifier: Apache-2.0
//
// Which kernels run: pure functions of the processor record.
//
// The level changes the speed and never a bit. What does change bits, the form of the recurrent step, is chosen by LstmVariantOf and
// FlushGemvIsSse. The tables are constants; nothing allocates.
#ifndef WVAD_NN_KERNELS_DISPATCH_H_
#define WVAD_NN_KERNELS_DISPATCH_H_

#include "nn/cpu_features.h"
#include "nn/kernels/kernels.h"

namespace TSEG {

enum class KernelLevel { kRef, kSse, kSse41, kAvx2 };

// The highest level whose instructions `cpu` has; AVX2 counts only where the system keeps the wide registers.
KernelLevel LevelOf(const CpuFeatures& cpu);
// The level to run on `cpu`: the highest, or the lower one that WVAD_FORCE_KERNELS ("ref", "sse41", "avx2") names. The variable is read
// once; it is there for tests and benchmarks.
KernelLevel LevelToRun(const CpuFeatures& cpu);

// The forms of a 40-value step.
enum class LstmVariant { kInt8, kFloatSse, kFloatX87 };
LstmVariant LstmVariantOf(const CpuFeatures& cpu);
// Whether the flush block sums in lanes. It goes by SSE alone, in an int8 session too; kept on purpose.
bool FlushGemvIsSse(const CpuFeatures& cpu);

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

struct LstmKernels {
  decltype(&ref::QuantInt16) quant_int16;
  decltype(&ref::QuantInt8) quant_int8;
  decltype(&ref::GemvFloatSse) gemv_float_sse;
  decltype(&ref::GemvFloatX87) gemv_float_x87;
  decltype(&ref::GemvInt16ToFloat) gemv_int16;
  decltype(&ref::GemvInt8ToFloat) gemv_int8;
  decltype(&ref::GemvFixed) gemv_fixed;
  decltype(&ref::GemvFixedClamped) gemv_fixed_clamped;
  decltype(&ref::VecAdd) add;
  decltype(&ref::VecAddWrap16) add_wrap16;
  decltype(&ref::VecMulAdd) mul_add;
  decltype(&ref::VecMul) mul;
  decltype(&ref::CellUpdate) cell_update;
  decltype(&ref::Sigmoid) sigmoid;
  decltype(&ref::Tanh) tanh;
  decltype(&ref::PeepholeFixed) peephole_fixed;
  decltype(&ref::CellUpdateFixed) cell_update_fixed;
  decltype(&ref::VecMulFixed) mul_fixed;
  decltype(&ref::NormaliseRun) normalise;
  decltype(&ref::CutToInt16) cut_to_int16;
};

const DnnKernels& DnnKernelsOf(KernelLevel level);
const LstmKernels& LstmKernelsOf(KernelLevel level);

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_DISPATCH_H_
