// SPDX-License-Identifier: Apache-2.0
//
// CPUID and the register of saved states, by the compiler's own header and one instruction.
#include "platform/x86/cpuid.h"

#include <cpuid.h>

namespace TSEG::platform {
namespace {

// Bits of the register that says which states the system saves.
constexpr uint32_t kXmmAndYmm = 0x06;
constexpr uint32_t kMasksAndZmm = 0xE0;

bool SavesAll(uint32_t states) {
  constexpr uint32_t kOsUsesXsave = 1u << 27;
  if ((Cpuid(1, 0).ecx & kOsUsesXsave) == 0) return false;
  uint32_t low = 0;
  uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & states) == states;
}

}  // namespace

CpuidWords Cpuid(uint32_t leaf, uint32_t subleaf) {
  CpuidWords words;
  if (__get_cpuid_count(leaf, subleaf, &words.eax, &words.ebx, &words.ecx, &words.edx) == 0) return CpuidWords{};
  return words;
}

bool OsSavesYmm() { return SavesAll(kXmmAndYmm); }

bool OsSavesZmm() { return SavesAll(kXmmAndYmm | kMasksAndZmm); }

bool RunsAvx2() {
  constexpr uint32_t kLeaf7EbxAvx2 = 1u << 5;
  return (Cpuid(7, 0).ebx & kLeaf7EbxAvx2) != 0 && OsSavesYmm();
}

}  // namespace TSEG::platform
