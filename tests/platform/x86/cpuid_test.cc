// SPDX-License-Identifier: Apache-2.0
//
// What the processor says, against the compiler's own questions.
#include "platform/x86/cpuid.h"

#include <gtest/gtest.h>

#include <cstring>

namespace TSEG {
namespace {

TEST(Cpuid, AgreesWithTheCompilersOwnQuestions) {
  __builtin_cpu_init();
  EXPECT_EQ((platform::Cpuid(1, 0).ecx >> 19) & 1u, __builtin_cpu_supports("sse4.1") ? 1u : 0u);
  EXPECT_EQ((platform::Cpuid(1, 0).ecx >> 9) & 1u, __builtin_cpu_supports("ssse3") ? 1u : 0u);
  EXPECT_EQ((platform::Cpuid(1, 0).edx >> 25) & 1u, 1u);  // every 64-bit processor has SSE
  // The compiler's answer for AVX2 takes both the processor and the system into account.
  const bool avx2 = ((platform::Cpuid(7, 0).ebx >> 5) & 1u) != 0 && platform::OsSavesYmm();
  EXPECT_EQ(avx2, __builtin_cpu_supports("avx2") != 0);
  const bool avx512 = ((platform::Cpuid(7, 0).ebx >> 16) & 1u) != 0 && platform::OsSavesZmm();
  EXPECT_EQ(avx512, __builtin_cpu_supports("avx512f") != 0);
  EXPECT_TRUE(platform::OsSavesYmm() || !platform::OsSavesZmm());
}

TEST(Cpuid, LeafZeroNamesTheMakerAndTheHighestLeaf) {
  const platform::CpuidWords words = platform::Cpuid(0, 0);
  EXPECT_GE(words.eax, 1u);
  char maker[12];
  std::memcpy(maker, &words.ebx, 4);
  std::memcpy(maker + 4, &words.edx, 4);
  std::memcpy(maker + 8, &words.ecx, 4);
  for (const char c : maker) EXPECT_TRUE(c >= ' ' && c <= '~');
}

TEST(Cpuid, LeafBeyondTheHighestIsAllZero) {
  const platform::CpuidWords words = platform::Cpuid(platform::Cpuid(0, 0).eax + 100, 0);
  EXPECT_EQ(words.eax | words.ebx | words.ecx | words.edx, 0u);
}

}  // namespace
}  // namespace TSEG
