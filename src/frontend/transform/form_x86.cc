// SPDX-License-Identifier: Apache-2.0
//
// The choice of the form on 64-bit x86.
#include <cstdlib>
#include <string_view>

#include "frontend/transform/transform.h"
#include "platform/x86/cpuid.h"

namespace TSEG::transform {

Form* FormOfThisProcessor() {
  const char* forced = std::getenv("WVAD_FORCE_KERNELS");
  const std::string_view highest = forced != nullptr ? forced : "";
  if (highest == "ref") return ref::Transform;
  const bool narrow = highest == "sse" || highest == "sse41";
  return platform::RunsAvx2() && !narrow ? avx2::Transform : vec4::Transform;
}

}  // namespace TSEG::transform
