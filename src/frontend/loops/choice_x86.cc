// SPDX-License-Identifier: Apache-2.0
//
// The choice of the loops on 64-bit x86.
#include <cstdlib>
#include <string_view>

#include "frontend/loops/loops.h"
#include "platform/x86/cpuid.h"

namespace TSEG::loops {
namespace {

const Loops& Chosen() {
  constexpr uint32_t kLeaf1EcxFma = 1u << 12;
  constexpr uint32_t kLeaf7EbxAvx2 = 1u << 5;
  const char* forced = std::getenv("WVAD_FORCE_KERNELS");
  const std::string_view highest = forced != nullptr ? forced : "";
  const bool narrow = highest == "ref" || highest == "sse" || highest == "sse41";
  const bool has_both = (platform::Cpuid(7, 0).ebx & kLeaf7EbxAvx2) != 0 && (platform::Cpuid(1, 0).ecx & kLeaf1EcxFma) != 0;
  return has_both && platform::OsSavesYmm() && !narrow ? avx2::kLoops : base::kLoops;
}

}  // namespace

const Loops& LoopsOfThisProcessor() {
  static const Loops& chosen = Chosen();
  return chosen;
}

}  // namespace TSEG::loops
