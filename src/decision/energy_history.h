// SPDX-License-Identifier: Apache-2.0
//
// The two energy histories of a session: who may still ask for which frame, and the dropping of the frames that nobody can.
//
//   eScore       the frame to be decided on and those behind it; the three newest (TailDistance); with K4 energy those that the floor has
//                not taken in yet; the three of the first sound, until "fnt" has been made of them; with the debug text all of them
//   frameEnergy  the frames of the open sentence, or those that a coming one may reach back to
//
// No allocation.
#ifndef WVAD_DECISION_ENERGY_HISTORY_H_
#define WVAD_DECISION_ENERGY_HISTORY_H_

#include <cstdint>

#include "session/tseg_inst.h"

namespace TSEG {

// Samples of 10 ms at the probe's rate, at least 1.
int32_t SamplesPerFrame(const FrontBackProbe& probe);
// The frame of the first sound, or of the configured position where there is one. It is final once the probe has found its sound, until
// then a lower bound; below 0 for a sound in the first frames.
int32_t FirstSoundFrame(const TsegInst& inst);
// The mean energy of the frames `index`, the first sound's, to `index` + 2, in the unit of the history over 1000. All three are in the
// history or have been; a negative index leaves as std::out_of_range.
float FirstSoundEnergy(const TsegInst& inst, int32_t index);

// Drops what nobody can ask for any more.
void DropPassedEnergies(TsegInst* inst);

}  // namespace TSEG

#endif  // WVAD_DECISION_ENERGY_HISTORY_H_
