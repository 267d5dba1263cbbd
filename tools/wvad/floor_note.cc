// SPDX-License-Identifier: Apache-2.0
#include "wvad/floor_note.h"

#include <cmath>

#include "session/tseg_inst.h"

namespace TSEG::tool {

FloorNote::FloorNote(std::optional<int> floor, int rate_hz) : floor_(floor), window_samples_(rate_hz / 40) {}

void FloorNote::OnFrame(const TsegInst&, int32_t, const DecidedFrame& frame, EndpointResult) { Take(frame); }

void FloorNote::Take(const DecidedFrame& frame) {
  // A window of 400 samples of one step has the logarithm of 400, which is 6: here there are hardly any but zeros.
  constexpr double kNothing = 3000;
  if (frame.raw <= 0.0F || frame.energy < kNothing) return;
  ++speech_frames_;
  if (frame.below_floor) ++below_floor_;
}

std::string FloorNote::Text(const std::string& gain) const {
  constexpr int64_t kLeastFrames = 50;
  if (!floor_ || speech_frames_ < kLeastFrames || below_floor_ * 4 < speech_frames_) return "";
  const auto decibels = [this](int floor) {
    return std::to_string(std::lround(10 * std::log10(std::exp(floor) / window_samples_) - 20 * std::log10(32768.0)));
  };
  return "very quiet: " + std::to_string(100 * below_floor_ / speech_frames_) +
         " % of what the network takes for speech lies under the engine's energy floor of " + decibels(*floor_) +
         " dB and counts as silence; try " + (gain.empty() ? "" : gain + ", or ") + "a lower floor, --energy-floor " +
         decibels(*floor_ - 4);
}

Observed::Observed(Detector& detector, DecisionObserver& observer) : detector_(detector) {
  detector_.handle()->decision.pObserver = &observer;
}

Observed::~Observed() { detector_.handle()->decision.pObserver = nullptr; }

}  // namespace TSEG::tool
