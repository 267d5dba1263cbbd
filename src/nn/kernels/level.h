// SPDX-License-Identifier: Apache-2.0
//
// KernelLevel: what one instruction level is, as a constant that its own file defines.
//
// A level names the level that it begins as, what it needs of the processor beyond that one, and the kernels that it has itself; all other
// kernels are those of its base. Levels are a set and not a ladder: two of them may begin as the same one. The family of the processor
// (ref/, x86/, ...) lists those that were built in; dispatch.h completes and chooses them.
//
// This header includes C headers alone and holds no inline function, so that files built for one instruction level share no code with
// others. A level is plain data, which no processor has to run.
#ifndef WVAD_NN_KERNELS_LEVEL_H_
#define WVAD_NN_KERNELS_LEVEL_H_

#include "nn/kernels/kernels.h"

namespace TSEG {

// A null pointer stands for the kernel of the base.
//
// An 8-bit product of whose weights the loader has proved that none of its steps can saturate is the plain sum, and has an entry of its
// own, `unclipped`, for levels that form plain sums faster (weight_proofs.h). On other weights such a kernel gives other bits. A level with
// 8-bit products names both; where the proof gains nothing, they are one function.
struct DnnKernels {
  decltype(&ref::DnnGemmInt16) gemm_int16 = nullptr;
  decltype(&ref::DnnGemmInt8) gemm_int8 = nullptr;
  decltype(&ref::DnnGemmInt8) gemm_int8_unclipped = nullptr;
  decltype(&ref::DnnBias32) bias32 = nullptr;
  decltype(&ref::DnnBias16) bias16 = nullptr;
  decltype(&ref::SigmoidTable8Of32) sigmoid8_of32 = nullptr;
  decltype(&ref::SigmoidTable8Of16) sigmoid8_of16 = nullptr;
  decltype(&ref::NormaliseRun) normalise = nullptr;
  decltype(&ref::CutToInt16) cut_to_int16 = nullptr;
};

struct LstmKernels {
  decltype(&ref::QuantInt16) quant_int16 = nullptr;
  decltype(&ref::QuantInt8) quant_int8 = nullptr;
  decltype(&ref::GemvFloatSse) gemv_float_sse = nullptr;
  decltype(&ref::GemvFloatX87) gemv_float_x87 = nullptr;
  decltype(&ref::GemvInt16ToFloat) gemv_int16 = nullptr;
  decltype(&ref::GemvInt8ToFloat) gemv_int8 = nullptr;
  decltype(&ref::GemvInt8ToFloat) gemv_int8_unclipped = nullptr;
  decltype(&ref::GemvFixed) gemv_fixed = nullptr;
  decltype(&ref::GemvFixedClamped) gemv_fixed_clamped = nullptr;
  decltype(&ref::VecAdd) add = nullptr;
  decltype(&ref::VecAddWrap16) add_wrap16 = nullptr;
  decltype(&ref::VecMulAdd) mul_add = nullptr;
  decltype(&ref::VecMul) mul = nullptr;
  decltype(&ref::CellUpdate) cell_update = nullptr;
  decltype(&ref::Sigmoid) sigmoid = nullptr;
  decltype(&ref::Tanh) tanh = nullptr;
  decltype(&ref::PeepholeFixed) peephole_fixed = nullptr;
  decltype(&ref::CellUpdateFixed) cell_update_fixed = nullptr;
  decltype(&ref::VecMulFixed) mul_fixed = nullptr;
  decltype(&ref::NormaliseRun) normalise = nullptr;
  decltype(&ref::CutToInt16) cut_to_int16 = nullptr;
};

// Bits that must be set in the words of that name of the processor record, and flags that must be (cpu_features.h).
struct CpuNeeds {
  uint32_t leaf1Ecx = 0;
  uint32_t leaf1Edx = 0;
  uint32_t leaf7Ebx = 0;
  uint32_t leaf7Ecx = 0;
  bool bOsSavesYmm = false;
  bool bOsSavesZmm = false;
  bool bNeon = false;
  bool bDotProd = false;
  bool bI8mm = false;
};

struct KernelLevel {
  const char* name = nullptr;         // as WVAD_FORCE_KERNELS names it
  const KernelLevel* base = nullptr;  // none: the reference, which has every kernel
  CpuNeeds needs = {};                // beyond those of `base`
  DnnKernels dnn = {};
  LstmKernels lstm = {};
};

namespace ref {
extern const KernelLevel kLevel;
}  // namespace ref

// What the family's folder supplies: its levels in the order of choice, first ref::kLevel, a null behind the last.
extern const KernelLevel* const kFamilyLevels[];
constexpr int32_t kMostLevels = 16;  // the reference among them

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_LEVEL_H_
