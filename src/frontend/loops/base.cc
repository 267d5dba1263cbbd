// SPDX-License-Identifier: Apache-2.0
#include "frontend/loops/plain.h"

namespace TSEG::loops {
namespace {

void Log(float* values, int32_t n) {
  for (int32_t i = 0; i < n; ++i) values[i] = LogOfAtLeastOne(values[i]);
}

}  // namespace

const Loops base::kLoops = {Sum, Take, Window, Power, Magnitude, Log, nullptr};

}  // namespace TSEG::loops
