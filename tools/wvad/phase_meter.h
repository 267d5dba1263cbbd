// SPDX-License-Identifier: Apache-2.0
//
// Whether mixing the channels of a recording takes its sound away, as it does where they carry the same sound in opposite phase.
#ifndef WVAD_WVAD_PHASE_METER_H_
#define WVAD_WVAD_PHASE_METER_H_

#include <cstddef>
#include <string>

namespace TSEG::tool {

class PhaseMeter {
 public:
  void Feed(const float* interleaved, size_t frames, size_t channels);
  // The mean of all channels has less than a tenth of the power that it would have if they had nothing to do with each other (a loss of
  // 10 dB and more), and there is something to lose.
  bool cancels() const;
  // The mean's power against that of its parts, in dB; no more than 0 where they cancel.
  double loss_db() const;

 private:
  double mix_power_ = 0;
  double parts_power_ = 0;  // of the mean of channels that have nothing to do with each other
  double frames_ = 0;
};

// What to say where they cancel.
std::string PhaseNote(const PhaseMeter& phase);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PHASE_METER_H_
