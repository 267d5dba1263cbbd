// SPDX-License-Identifier: Apache-2.0
#include "wvad/phase_meter.h"

#include <cmath>

namespace TSEG::tool {

std::string PhaseNote(const PhaseMeter& phase) {
  return "the channels cancel each other out (opposite phase): their mean lies " + std::to_string(std::lround(-phase.loss_db())) +
         " dB too low; listen to one, --channel 1, or to each, --channel all";
}

}  // namespace TSEG::tool
