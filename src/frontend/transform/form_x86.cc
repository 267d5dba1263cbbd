// SPDX-License-Identifier: Apache-2.0
//
// The choice of the form on 64-bit x86.
#include <cstdlib>
#include <string_view>

#include "frontend/transform/transform.h"
#include "platform/x86/cpuid.h"

namespace TSEG::transform {

Form* FormOfThisProcessor() {
  constexpr uint32_t kLeaf7EbxAvx2 = 1u << 5;
  const char* forced = std::getenv("WVAD_FORCE_KERNELS");
  const std::string_view highest = forced != nullptr ? forced : "";
  if (highest == "ref") return ref::Transform;
  const bool narrow = highest == "sse" || highest == "sse41";
  const bool has_avx2 = (platform::Cpuid(7, 0).ebx & kLeaf7EbxAvx2) != 0 && platform::OsSavesYmm();
  return has_avx2 && !narrow ? avx2::Transform : vec4::Transform;
}

}  // namespace TSEG::transform
