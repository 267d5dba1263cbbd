// SPDX-License-Identifier: Apache-2.0
//
// How much of a recording's speech the engine's energy floor takes away: under it every frame counts as silence, whatever the network takes
// it for. Counted frame by frame, where it is decided.
#ifndef WVAD_WVAD_FLOOR_NOTE_H_
#define WVAD_WVAD_FLOOR_NOTE_H_

#include <cstdint>
#include <optional>
#include <string>

#include "decision/decision_observer.h"
#include "wvad/engine.h"

namespace TSEG::tool {

// Looks on at any number of sessions of one recording, one thread after the other.
class FloorNote : public DecisionObserver {
 public:
  // `floor`: wvad_param_nEnergyThreshhood, the natural logarithm of the energy sum of a window of 25 ms; none with the adaptive floor, of
  // which nothing is ever said.
  FloorNote(std::optional<int> floor, int rate_hz);
  void OnFrame(const TsegInst& inst, int32_t index, const DecidedFrame& frame, EndpointResult result) override;
  void Take(const DecidedFrame& frame);

  // What to tell where a quarter or more of what the network takes for speech (half a second at least) lies under the floor; else empty.
  // `gain`: the option to advise, empty for a lower floor alone.
  std::string Text(const std::string& gain) const;

 private:
  std::optional<int> floor_;
  double window_samples_;
  int64_t speech_frames_ = 0;
  int64_t below_floor_ = 0;
};

// An observer of a detector's sessions while this lives.
class Observed {
 public:
  Observed(Detector& detector, DecisionObserver& observer);
  ~Observed();
  Observed(const Observed&) = delete;
  Observed& operator=(const Observed&) = delete;

 private:
  Detector& detector_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FLOOR_NOTE_H_
