// SPDX-License-Identifier: Apache-2.0
//
// The x86 family: the levels of levels.h behind the reference.
#include "nn/kernels/x86/levels.h"

namespace TSEG {

#define WVAD_LIST_LEVEL(name) &name::kLevel,
constinit const KernelLevel* const kFamilyLevels[] = {&ref::kLevel, WVAD_X86_LEVELS(WVAD_LIST_LEVEL) nullptr};
#undef WVAD_LIST_LEVEL
static_assert(sizeof kFamilyLevels / sizeof kFamilyLevels[0] <= kMostLevels + 1, "more levels than dispatch has places for");

}  // namespace TSEG
