// SPDX-License-Identifier: Apache-2.0
#include "frontend/loops/plain.h"

namespace TSEG::loops {

const Loops base::kLoops = {Sum, Take, Window, Power, Magnitude, nullptr};

}  // namespace TSEG::loops
