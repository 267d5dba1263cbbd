// SPDX-License-Identifier: Apache-2.0
#include "wvad/resampler.h"

#include "wvad/failure.h"

namespace TSEG::tool {

void CheckRate(const std::string& who, int rate_hz) {
  if (rate_hz >= kLowestRate && rate_hz <= kHighestRate) return;
  throw Failure(ExitCode::kBadRate, who + ": unsupported sample rate " + std::to_string(rate_hz) + " Hz (" + std::to_string(kLowestRate) +
                                        " to " + std::to_string(kHighestRate) + ")");
}

}  // namespace TSEG::tool
