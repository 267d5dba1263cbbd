// SPDX-License-Identifier: Apache-2.0
//
// What the program says where mixing the channels takes the sound away (stream/phase_meter.h).
#ifndef WVAD_WVAD_PHASE_METER_H_
#define WVAD_WVAD_PHASE_METER_H_

#include <string>

#include "stream/phase_meter.h"

namespace TSEG::tool {

using stream::PhaseMeter;

// What to say where they cancel.
std::string PhaseNote(const PhaseMeter& phase);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PHASE_METER_H_
