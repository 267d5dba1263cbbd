// SPDX-License-Identifier: Apache-2.0
//
// The choice of the form on a processor for which there is but one.
#include <cstdlib>
#include <string_view>

#include "frontend/transform/transform.h"

namespace TSEG::transform {

Form* FormOfThisProcessor() {
  const char* forced = std::getenv("WVAD_FORCE_KERNELS");
  return forced != nullptr && std::string_view(forced) == "ref" ? ref::Transform : vec4::Transform;
}

}  // namespace TSEG::transform
