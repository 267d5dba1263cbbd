// SPDX-License-Identifier: Apache-2.0
//
// The levels of x86: which one a processor gets, and what each has.
#include "nn/kernels/x86/levels.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "nn/kernels/dispatch.h"
#include "support/environment.h"

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

// Everything up to AVX-512 and its 32-bit sums of products.
CpuFeatures WithAvx512() {
  CpuFeatures cpu = Made(true, true, true, true, true, true);
  cpu.leaf7Ebx |= 1u << 16 | 1u << 17 | 1u << 30 | 1u << 31;
  cpu.leaf7Ecx = 1u << 11;
  cpu.bOsSavesZmm = true;
  return cpu;
}

std::string NameFor(const CpuFeatures& cpu) { return LevelOf(cpu).name; }

const KernelLevel& Named(const std::string& name) {
  for (const KernelLevel& level : KernelLevels()) {
    if (level.name == name) return level;
  }
  ADD_FAILURE() << "no level " << name;
  return ref::kLevel;
}

TEST(X86Levels, WideKernelsNeedTheSystemToo) {
  EXPECT_EQ(NameFor(Made(true, true, true, true, true, true)), "avx2");
  EXPECT_EQ(NameFor(Made(true, true, true, true, true, false)), "sse41");
  EXPECT_EQ(NameFor(Made(true, true, true, true, false, true)), "sse41");
}

TEST(X86Levels, WidestKernelsNeedEachOfTheirBitsAndTheSystem) {
  EXPECT_EQ(NameFor(WithAvx512()), "avx512");
  for (const uint32_t bit : {16u, 17u, 30u, 31u}) {  // F, DQ, BW, VL
    CpuFeatures cpu = WithAvx512();
    cpu.leaf7Ebx &= ~(1u << bit);
    EXPECT_EQ(NameFor(cpu), "avx2") << bit;
  }
  CpuFeatures without_sums = WithAvx512();
  without_sums.leaf7Ecx = ~(1u << 11);
  EXPECT_EQ(NameFor(without_sums), "avx2");
  CpuFeatures not_saved = WithAvx512();
  not_saved.bOsSavesZmm = false;
  EXPECT_EQ(NameFor(not_saved), "avx2");
  CpuFeatures none_saved = not_saved;
  none_saved.bOsSavesYmm = false;
  EXPECT_EQ(NameFor(none_saved), "sse41");
  // The level takes kernels from AVX2, so it needs what that needs.
  CpuFeatures without_avx2 = WithAvx512();
  without_avx2.leaf7Ebx &= ~(1u << 5);
  EXPECT_EQ(NameFor(without_avx2), "sse41");
}

TEST(X86Levels, IntegerKernelsNeedAllFourBits) {
  EXPECT_EQ(NameFor(Made(true, true, true, false, true, true)), "sse");
  EXPECT_EQ(NameFor(Made(true, true, false, true, true, true)), "sse");
  EXPECT_EQ(NameFor(Made(true, false, true, true, true, true)), "ref");
  EXPECT_EQ(NameFor(Made(false, true, true, true, true, true)), "ref");
  EXPECT_EQ(NameFor(CpuFeatures()), "ref");
}

TEST(X86Levels, BringTheirKernels) {
  EXPECT_EQ(Named("sse").lstm.gemv_float_sse, kFamilyLevels[1]->lstm.gemv_float_sse);
  EXPECT_NE(Named("sse").lstm.gemv_float_sse, &ref::GemvFloatSse);
  EXPECT_EQ(Named("sse").lstm.gemv_int8, &ref::GemvInt8ToFloat);
  EXPECT_EQ(Named("sse").dnn.gemm_int8, &ref::DnnGemmInt8);
  EXPECT_EQ(Named("sse41").dnn.gemm_int8, &sse41::DnnGemmInt8);
  EXPECT_EQ(Named("sse41").lstm.gemv_float_sse, Named("sse").lstm.gemv_float_sse);
  EXPECT_EQ(Named("avx2").dnn.gemm_int8, &avx2::DnnGemmInt8);
  EXPECT_EQ(Named("avx2").lstm.gemv_fixed, &avx2::GemvFixed);
  EXPECT_EQ(Named("avx2").lstm.gemv_float_sse, Named("sse").lstm.gemv_float_sse);
  EXPECT_EQ(Named("avx512").dnn.gemm_int8, &avx512::DnnGemmInt8);
  EXPECT_EQ(Named("avx512").lstm.gemv_int8, &avx512::GemvInt8ToFloat);
  EXPECT_EQ(Named("avx512").lstm.quant_int8, &avx2::QuantInt8);
}

TEST(X86Levels, ProofsAboutWeightsChangeTheKernelWhereSumsOf32BitsAreAnInstruction) {
  EXPECT_EQ(Named("avx512").dnn.gemm_int8_unclipped, &avx512::DnnGemmInt8Unclipped);
  EXPECT_EQ(Named("avx512").lstm.gemv_int8_unclipped, &avx512::GemvInt8Unclipped);
  for (const char* name : {"ref", "sse", "sse41", "avx2"}) {
    const KernelLevel& level = Named(name);
    EXPECT_EQ(level.dnn.gemm_int8_unclipped, level.dnn.gemm_int8) << name;
    EXPECT_EQ(level.lstm.gemv_int8_unclipped, level.lstm.gemv_int8) << name;
  }
}

TEST(X86LevelsDeathTest, VariableLowersTheLevelAndNeverRaisesIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, which has not read it yet
  const auto names_with = [](const char* forced) {
    testing_support::SetVariable("WVAD_FORCE_KERNELS", forced);
    const std::string names = std::string("on all ") + LevelToRun(WithAvx512()).name + ", without AVX-512 " +
                              LevelToRun(Made(true, true, true, true, true, true)).name + ", without AVX2 " +
                              LevelToRun(Made(true, true, true, true, false, true)).name + ", with SSE alone " +
                              LevelToRun(Made(true, true, false, false, false, false)).name + ", on none " + LevelToRun(CpuFeatures()).name;
    std::fputs(names.c_str(), stderr);
    std::exit(0);
  };
  const testing::ExitedWithCode fine(0);
  EXPECT_EXIT(names_with("ref"), fine, "on all ref, without AVX-512 ref, without AVX2 ref, with SSE alone ref, on none ref");
  EXPECT_EXIT(names_with("sse41"), fine, "on all sse41, without AVX-512 sse41, without AVX2 sse41, with SSE alone sse, on none ref");
  EXPECT_EXIT(names_with("avx2"), fine, "on all avx2, without AVX-512 avx2, without AVX2 sse41, with SSE alone sse, on none ref");
  EXPECT_EXIT(names_with("avx512"), fine, "on all avx512, without AVX-512 avx2, without AVX2 sse41, with SSE alone sse, on none ref");
  EXPECT_EXIT(names_with("other"), fine, "on all avx512, without AVX-512 avx2, without AVX2 sse41, with SSE alone sse, on none ref");
}

}  // namespace
}  // namespace TSEG
