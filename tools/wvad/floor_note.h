// SPDX-License-Identifier: Apache-2.0
//
// What there is to say of a recording whose speech lies at the engine's energy floor: under it every frame counts as silence, whatever the
// network takes it for.
#ifndef WVAD_WVAD_FLOOR_NOTE_H_
#define WVAD_WVAD_FLOOR_NOTE_H_

#include <optional>
#include <string>
#include <vector>

#include "wvad/level.h"

namespace TSEG::tool {

class FloorNote {
 public:
  // `floor`: wvad_param_nEnergyThreshhood, the natural logarithm of the energy sum of a window of 25 ms; none with the adaptive floor, of
  // which nothing is ever said.
  FloorNote(std::optional<int> floor, int rate_hz);

  // A sentence of so many seconds, with its "vol" if that is known.
  void Add(double seconds, std::optional<double> vol);
  // Behind the last one. `levels` are those of each channel that was heard, `gain` what to advise, empty for a lower floor alone. Speaks
  //  - where nothing was found, if nine tenths of each channel and all but clicks lie under the floor or at it;
  //  - where something was, if the frames that the network takes for speech lie less than 6 dB above the floor on average. Of the judged
  //    recordings, at their own level and up to 30 dB lower, this holds for 98 % of those that lose a fifth of their speech to the floor.
  // Empty otherwise.
  std::string Text(const std::vector<LevelMeter>& levels, const std::string& gain) const;

 private:
  std::string OfNothing(const std::vector<LevelMeter>& levels) const;
  std::string OfSpeech() const;
  double DecibelsOf(double log_energy) const;

  std::optional<int> floor_;
  double window_samples_;
  bool found_any_ = false;
  double seconds_ = 0;
  double energy_seconds_ = 0;  // log energy times seconds
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FLOOR_NOTE_H_
