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
  if (cpu.int8_form()) return cpu.avx2() && cpu.bOsSavesYmm ? KernelLevel::kAvx2 : KernelLevel::kSse41;
  return cpu.sse() && cpu.sse2() ? KernelLevel::kSse : KernelLevel::kRef;
}

KernelLevel LevelToRun(const CpuFeatures& cpu) {
  const KernelLevel highest = LevelOf(cpu);
  const KernelLevel forced = ForcedLevel();
  return forced < highest ? forced : highest;
}

LstmVariant LstmVariantOf(const CpuFeatures& cpu) {
  if (cpu.int8_form()) return LstmVariant::kInt8;
  return cpu.sse() ? LstmVariant::kFloatSse : LstmVariant::kFloatX87;
}

bool FlushGemvIsSse(const CpuFeatures& cpu) { return cpu.sse(); }

#define WVAD_DNN_TABLE(level)                                                                                                        \
  {                                                                                                                                  \
    level::DnnGemmInt16, level::DnnGemmInt8, level::DnnBias32, level::DnnBias16, level::SigmoidTable8Of32, level::SigmoidTable8Of16, \
        level::NormaliseRun, level::CutToInt16                                                                                       \
  }
#define WVAD_LSTM_TABLE(level, float_level)                                                                                                \
  {                                                                                                                                        \
    level::QuantInt16, level::QuantInt8, float_level::GemvFloatSse, ref::GemvFloatX87, level::GemvInt16ToFloat, level::GemvInt8ToFloat,    \
        level::GemvFixed, level::GemvFixedClamped, level::VecAdd, level::VecAddWrap16, level::VecMulAdd, level::VecMul, level::CellUpdate, \
        level::Sigmoid, level::Tanh, level::PeepholeFixed, level::CellUpdateFixed, level::VecMulFixed, level::NormaliseRun,                \
        level::CutToInt16                                                                                                                  \
  }

const DnnKernels& DnnKernelsOf(KernelLevel level) {
  static constexpr DnnKernels kTables[] = {WVAD_DNN_TABLE(ref), WVAD_DNN_TABLE(ref), WVAD_DNN_TABLE(sse41), WVAD_DNN_TABLE(avx2)};
  return kTables[static_cast<size_t>(level)];
}

const LstmKernels& LstmKernelsOf(KernelLevel level) {
  static constexpr LstmKernels kTables[] = {WVAD_LSTM_TABLE(ref, ref), WVAD_LSTM_TABLE(ref, sse), WVAD_LSTM_TABLE(sse41, sse),
                                            WVAD_LSTM_TABLE(avx2, sse)};
  return kTables[static_cast<size_t>(level)];
}

#undef WVAD_DNN_TABLE
#undef WVAD_LSTM_TABLE

}  // namespace TSEG
