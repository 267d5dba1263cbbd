// SPDX-License-Identifier: Apache-2.0
//
// The processor record and the forms chosen from it.
#include "nn/cpu_features.h"

#include <gtest/gtest.h>

#include "nn/kernels/dispatch.h"

namespace TSEG {
namespace {

CpuFeatures Made(bool sse, bool sse2, bool ssse3, bool sse41) {
  CpuFeatures cpu;
  cpu.leaf1Edx = (sse ? 1u << 25 : 0u) | (sse2 ? 1u << 26 : 0u);
  cpu.leaf1Ecx = (ssse3 ? 1u << 9 : 0u) | (sse41 ? 1u << 19 : 0u);
  return cpu;
}

TEST(CpuFeatures, DetectedRecordIsConsistent) {
  const CpuFeatures& cpu = DetectedCpu();
#if defined(__x86_64__) || defined(__i386__)
  EXPECT_EQ(cpu.family, ProcessorFamily::kX86);
  EXPECT_GE(cpu.nHighestLeaf, 1u);
  EXPECT_EQ(cpu.vendor.size(), 12u);
  EXPECT_EQ(cpu.bIsIntel, cpu.vendor == "GenuineIntel");
  EXPECT_EQ(cpu.bIsAmd, cpu.vendor == "AuthenticAMD");
  // Both are part of what this program was built for, in 64 bits and in 32.
  EXPECT_TRUE(cpu.sse() && cpu.sse2());
#else
  EXPECT_EQ(cpu.family, ProcessorFamily::kOther);
  EXPECT_EQ(cpu.leaf1Ecx | cpu.leaf1Edx | cpu.leaf7Ebx | cpu.leaf7Ecx, 0u);
#endif
  EXPECT_EQ(&DetectedCpu(), &cpu);
}

TEST(CpuFeatures, TestsCanPutAnotherRecordInItsPlace) {
  const CpuFeatures made = Made(true, false, false, false);
  SetCpuForTest(&made);
  EXPECT_EQ(&TheCpu(), &made);
  SetCpuForTest(nullptr);
  EXPECT_EQ(&TheCpu(), &DetectedCpu());
}

TEST(Dispatch, Int8FormNeedsAllFourBits) {
  EXPECT_EQ(LstmVariantOf(Made(true, true, true, true)), LstmVariant::kInt8);
  EXPECT_EQ(LstmVariantOf(Made(true, true, true, false)), LstmVariant::kFloatSse);
  EXPECT_EQ(LstmVariantOf(Made(true, true, false, true)), LstmVariant::kFloatSse);
  EXPECT_EQ(LstmVariantOf(Made(true, false, true, true)), LstmVariant::kFloatSse);
  EXPECT_EQ(LstmVariantOf(Made(false, true, true, true)), LstmVariant::kFloatX87);
  EXPECT_EQ(LstmVariantOf(CpuFeatures()), LstmVariant::kFloatX87);
}

TEST(Dispatch, FlushGoesBySseAlone) {
  EXPECT_TRUE(FlushGemvIsSse(Made(true, false, false, false)));
  EXPECT_FALSE(FlushGemvIsSse(Made(false, true, true, true)));
}

TEST(Dispatch, ProcessorOfAnotherFamilyTakesTheInt8FormAndSumsInLanes) {
  CpuFeatures cpu;
  cpu.family = ProcessorFamily::kOther;
  EXPECT_EQ(LstmVariantOf(cpu), LstmVariant::kInt8);
  EXPECT_TRUE(FlushGemvIsSse(cpu));
  EXPECT_TRUE(cpu.int8_form());  // the loader goes by this
  EXPECT_FALSE(cpu.sse() || cpu.sse2() || cpu.ssse3() || cpu.sse41() || cpu.avx2());
}

}  // namespace
}  // namespace TSEG
