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
  const char* forced = std::getenv("WVAD_FORCE_KERNELS");
  const std::string_view highest = forced != nullptr ? forced : "";
  const bool narrow = highest == "ref" || highest == "sse" || highest == "sse41";
  return platform::RunsAvx2() && !narrow ? avx2::kLoops : base::kLoops;
}

}  // namespace

const Loops& LoopsOfThisProcessor() {
  static const Loops& chosen = Chosen();
  return chosen;
}

}  // namespace TSEG::loops
