// SPDX-License-Identifier: Apache-2.0
//
// PowerTrack: the sum of squares of each 10 ms of the caller's audio, from which the level of a sentence is made.
//
// Squares are integers, so their sum is exact in any order. The history alone grows; one thread at a time.
#ifndef WVAD_SESSION_POWER_TRACK_H_
#define WVAD_SESSION_POWER_TRACK_H_

#include <cstdint>

#include "channel/frame_history.h"

namespace TSEG {

struct PowerTrack {
  uint32_t nEnergySamples = 0;       // samples counted since the last stop
  FrameHistory<double> frameEnergy;  // one value for each whole frame
  double fEnergyAcc = 0;             // running sum of the unfinished frame

  // Takes `n_bytes` of 16-bit samples at `rate` Hz.
  void Take(const uint8_t* chunk, uint32_t n_bytes, int32_t rate);
  // The audio has ended: the history is forgotten, the unfinished frame stays.
  void Forget();
  // The session has ended.
  void End();
};

}  // namespace TSEG

#endif  // WVAD_SESSION_POWER_TRACK_H_
