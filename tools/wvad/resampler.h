// SPDX-License-Identifier: Apache-2.0
//
// Which sample rates the program takes; stream/resampler.h does the work.
#ifndef WVAD_WVAD_RESAMPLER_H_
#define WVAD_WVAD_RESAMPLER_H_

#include <string>

#include "stream/resampler.h"

namespace TSEG::tool {

using stream::Resampler;

constexpr int kLowestRate = 1000;
constexpr int kHighestRate = 768000;

// Throws Failure(kBadRate) naming `who` if `rate_hz` cannot be resampled.
void CheckRate(const std::string& who, int rate_hz);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RESAMPLER_H_
