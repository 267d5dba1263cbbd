// SPDX-License-Identifier: Apache-2.0
#include "session/power_track.h"

#include <cstring>

namespace TSEG {

void PowerTrack::Take(const uint8_t* chunk, uint32_t n_bytes, int32_t rate) {
  const uint32_t samples_per_frame = static_cast<uint32_t>(rate / 100);
  uint32_t left = n_bytes / 2;
  const uint8_t* at = chunk;
  while (left > 0) {
    const uint32_t to_boundary = samples_per_frame - nEnergySamples % samples_per_frame;
    const uint32_t run = left < to_boundary ? left : to_boundary;
    uint64_t sum = 0;
    for (uint32_t i = 0; i < run; ++i) {
      int16_t x;
      std::memcpy(&x, at + 2 * i, sizeof(x));
      sum += static_cast<uint32_t>(static_cast<int32_t>(x) * static_cast<int32_t>(x));
    }
    at += 2 * run;
    fEnergyAcc += static_cast<double>(static_cast<int64_t>(sum));
    nEnergySamples += run;
    left -= run;
    if (nEnergySamples % samples_per_frame == 0) {
      frameEnergy.push_back(fEnergyAcc);
      fEnergyAcc = 0;
    }
  }
}

void PowerTrack::Forget() {
  nEnergySamples = 0;
  frameEnergy.clear();
}

void PowerTrack::End() {
  Forget();
  fEnergyAcc = 0;
}

}  // namespace TSEG
