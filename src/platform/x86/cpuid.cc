// SPDX-License-Identifier: Apache-2.0
//
// CPUID and the register of saved states, by the compiler's own header and one instruction.
#include "platform/x86/cpuid.h"

#include <cpuid.h>

namespace TSEG::platform {

CpuidWords Cpuid(uint32_t leaf, uint32_t subleaf) {
  CpuidWords words;
  if (__get_cpuid_count(leaf, subleaf, &words.eax, &words.ebx, &words.ecx, &words.edx) == 0) return CpuidWords{};
  return words;
}

bool OsSavesYmm() {
  constexpr uint32_t kOsUsesXsave = 1u << 27;
  constexpr uint32_t kXmmAndYmm = 6;
  if ((Cpuid(1, 0).ecx & kOsUsesXsave) == 0) return false;
  uint32_t low = 0;
  uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & kXmmAndYmm) == kXmmAndYmm;
}

}  // namespace TSEG::platform
