// SPDX-License-Identifier: Apache-2.0
//
// The choice of the loops on a processor for which there is but one kind.
#include "frontend/loops/loops.h"

namespace TSEG::loops {

const Loops& LoopsOfThisProcessor() { return base::kLoops; }

}  // namespace TSEG::loops
