// SPDX-License-Identifier: Apache-2.0
//
// Questions that an x86 processor answers itself, on whatever system. Built for that family of processors alone.
//
// Pure questions: any thread, any time, no failure.
#ifndef WVAD_PLATFORM_X86_CPUID_H_
#define WVAD_PLATFORM_X86_CPUID_H_

#include <cstdint>

namespace TSEG::platform {

struct CpuidWords {
  uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// One CPUID query; all zero for a leaf above the processor's highest.
CpuidWords Cpuid(uint32_t leaf, uint32_t subleaf);
// Whether the system saves the 256-bit registers (needed beside the AVX2 bit before AVX2 code may run).
bool OsSavesYmm();
// Whether it saves the 512-bit registers too, the upper sixteen of them and the mask registers (before AVX-512 code may run).
bool OsSavesZmm();
// Whether AVX2 code may run: the processor has it, and the system saves its registers.
bool RunsAvx2();

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_X86_CPUID_H_
