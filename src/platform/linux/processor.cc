// SPDX-License-Identifier: Apache-2.0
//
// Questions to the processor, and the deliberate fault.
#include <csignal>
#include <cstdlib>

#include "platform/platform.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace TSEG::platform {

CpuidWords Cpuid(uint32_t leaf, uint32_t subleaf) {
  CpuidWords words;
#if defined(__x86_64__) || defined(__i386__)
  // Leaves the words at zero for a leaf above the processor's highest.
  if (__get_cpuid_count(leaf, subleaf, &words.eax, &words.ebx, &words.ecx, &words.edx) == 0) return CpuidWords{};
#else
  static_cast<void>(leaf);
  static_cast<void>(subleaf);
#endif
  return words;
}

bool OsSavesYmm() {
#if defined(__x86_64__) || defined(__i386__)
  constexpr uint32_t kOsUsesXsave = 1u << 27;
  constexpr uint32_t kXmmAndYmm = 6;
  if ((Cpuid(1, 0).ecx & kOsUsesXsave) == 0) return false;
  uint32_t low = 0;
  uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & kXmmAndYmm) == kXmmAndYmm;
#else
  return false;
#endif
}

#if defined(__clang__)
#define WVAD_WANTED_FAULT __attribute__((no_sanitize("undefined", "address")))
#else
#define WVAD_WANTED_FAULT __attribute__((no_sanitize("undefined"), no_sanitize_address))
#endif

WVAD_WANTED_FAULT void FaultAtZero() {
  // The pointer itself is volatile, so that no compiler knows what it holds and turns the store into something else.
  volatile int* volatile address = nullptr;
  *address = 0;
  // Reached only where a handler returned or something is mapped at address zero.
  std::signal(SIGSEGV, SIG_DFL);
  std::raise(SIGSEGV);
  std::abort();
}

}  // namespace TSEG::platform
