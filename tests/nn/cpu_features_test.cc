// SPDX-License-Identifier: Apache-2.0
//
// The processor record and the choices made from it.
#include "nn/cpu_features.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "nn/kernels/dispatch.h"

namespace TSEG {
namespace {

CpuFeatures Made(bool sse, bool sse2, bool ssse3, bool sse41, bool avx2, bool ymm) {
  CpuFeatures cpu;
  cpu.leaf1Edx = (sse ? 1u << 25 : 0u) | (sse2 ? 1u << 26 : 0u);
  cpu.leaf1Ecx = (ssse3 ? 1u << 9 : 0u) | (sse41 ? 1u << 19 : 0u);
  cpu.leaf7Ebx = avx2 ? 1u << 5 : 0u;
  cpu.bOsSavesYmm = ymm;
  return cpu;
}

TEST(CpuFeatures, DetectedRecordIsConsistent) {
  const CpuFeatures& cpu = DetectedCpu();
  EXPECT_GE(cpu.nHighestLeaf, 1u);
  EXPECT_EQ(cpu.vendor.size(), 12u);
  EXPECT_EQ(cpu.bIsIntel, cpu.vendor == "GenuineIntel");
  EXPECT_EQ(cpu.bIsAmd, cpu.vendor == "AuthenticAMD");
  // This program was built for the 64-bit instruction set, of which both are part.
  EXPECT_TRUE(cpu.sse() && cpu.sse2());
  EXPECT_EQ(&DetectedCpu(), &cpu);
}

TEST(CpuFeatures, TestsCanPutAnotherRecordInItsPlace) {
  const CpuFeatures made = Made(true, false, false, false, false, false);
  SetCpuForTest(&made);
  EXPECT_EQ(&TheCpu(), &made);
  SetCpuForTest(nullptr);
  EXPECT_EQ(&TheCpu(), &DetectedCpu());
}

TEST(Dispatch, Int8FormNeedsAllFourBits) {
  EXPECT_EQ(LstmVariantOf(Made(true, true, true, true, false, false)), LstmVariant::kInt8);
  EXPECT_EQ(LstmVariantOf(Made(true, true, true, false, true, true)), LstmVariant::kFloatSse);
  EXPECT_EQ(LstmVariantOf(Made(true, true, false, true, false, false)), LstmVariant::kFloatSse);
  EXPECT_EQ(LstmVariantOf(Made(true, false, true, true, false, false)), LstmVariant::kFloatSse);
  EXPECT_EQ(LstmVariantOf(Made(false, true, true, true, false, false)), LstmVariant::kFloatX87);
  EXPECT_EQ(LstmVariantOf(CpuFeatures()), LstmVariant::kFloatX87);
}

TEST(Dispatch, FlushGoesBySseAlone) {
  EXPECT_TRUE(FlushGemvIsSse(Made(true, false, false, false, false, false)));
  EXPECT_FALSE(FlushGemvIsSse(Made(false, true, true, true, true, true)));
}

TEST(Dispatch, WideKernelsNeedTheSystemToo) {
  EXPECT_EQ(LevelOf(Made(true, true, true, true, true, true)), KernelLevel::kAvx2);
  EXPECT_EQ(LevelOf(Made(true, true, true, true, true, false)), KernelLevel::kSse41);
  EXPECT_EQ(LevelOf(Made(true, true, true, true, false, true)), KernelLevel::kSse41);
  EXPECT_EQ(LevelOf(Made(true, true, true, false, true, true)), KernelLevel::kSse);
  EXPECT_EQ(LevelOf(Made(true, false, true, true, true, true)), KernelLevel::kRef);
  EXPECT_EQ(LevelOf(CpuFeatures()), KernelLevel::kRef);
}

TEST(DispatchDeathTest, VariableLowersTheLevelAndIsReadOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, which has not read it yet
  const CpuFeatures best = Made(true, true, true, true, true, true);
  const auto code_with = [&best](const char* name) {
    setenv("WVAD_FORCE_KERNELS", name, 1);
    const KernelLevel level = LevelToRun(best);
    setenv("WVAD_FORCE_KERNELS", "ref", 1);
    const bool same = LevelToRun(best) == level && LevelToRun(CpuFeatures()) == KernelLevel::kRef;
    std::exit(same ? 10 + static_cast<int>(level) : 1);
  };
  EXPECT_EXIT(code_with("ref"), testing::ExitedWithCode(10), "");
  EXPECT_EXIT(code_with("sse41"), testing::ExitedWithCode(12), "");
  EXPECT_EXIT(code_with("avx2"), testing::ExitedWithCode(13), "");
  EXPECT_EXIT(code_with("other"), testing::ExitedWithCode(13), "");
}

TEST(Dispatch, EveryLevelHasTheDnnKernels) {
  // With the AVX2 bit as without it there is a kernel to run.
  for (KernelLevel level : {KernelLevel::kRef, KernelLevel::kSse, KernelLevel::kSse41, KernelLevel::kAvx2}) {
    EXPECT_NE(DnnKernelsOf(level).gemm_int16, nullptr);
    EXPECT_NE(DnnKernelsOf(level).gemm_int8, nullptr);
  }
  EXPECT_EQ(DnnKernelsOf(KernelLevel::kAvx2).gemm_int8, &avx2::DnnGemmInt8);
  EXPECT_EQ(DnnKernelsOf(KernelLevel::kSse41).gemm_int8, &sse41::DnnGemmInt8);
  EXPECT_EQ(LstmKernelsOf(KernelLevel::kAvx2).gemv_float_x87, &ref::GemvFloatX87);
}

}  // namespace
}  // namespace TSEG
