// SPDX-License-Identifier: Apache-2.0
//
// The adaptive energy floor: two-means clustering of the session's own frame energies, and the rule that makes a floor of it.
//
// Running sums and named values are single precision, rounded after every addition; differences, products and quotients are formed in
// double. Not-a-number (a session of one energy, an empty cluster) stays as it arises. Each update copies the frames that it takes in: the
// only allocation, once in 100 frames.
#ifndef WVAD_DECISION_ENERGY_FLOOR_H_
#define WVAD_DECISION_ENERGY_FLOOR_H_

#include <cstdint>

#include "channel/frame_history.h"
#include "session/decision_records.h"

namespace TSEG {

// Takes in the first `n` energies of `history` and clusters them.
void EnergyThresholdFullUpdate(EnergyStats* stats, const FrameHistory<float>& history, int32_t n);
// Takes in the energies from the last update up to, not including, frame `n`.
void EnergyThresholdStepUpdate(EnergyStats* stats, const FrameHistory<float>& history, int32_t n);
// The floor for the statistics as they stand.
float EnergyThresholdPick(const EnergyStats& stats, float mean);

}  // namespace TSEG

#endif  // WVAD_DECISION_ENERGY_FLOOR_H_
