// SPDX-License-Identifier: Apache-2.0
#include "wvad/floor_note.h"

#include <algorithm>
#include <cmath>

namespace TSEG::tool {
namespace {

std::string Whole(double value) { return std::to_string(std::lround(value)); }

}  // namespace

FloorNote::FloorNote(std::optional<int> floor, int rate_hz) : floor_(floor), window_samples_(rate_hz / 40) {}

// "vol" is the squared distance from 14.5 of the mean log energy of the frames that the network takes for speech, those under the floor
// among them, since the sentence before. Which side of 14.5 it lies on is not told: with the usual floor of 16 speech is above, or so close
// that it makes no difference here.
void FloorNote::Add(double seconds, std::optional<double> vol) {
  found_any_ = true;
  if (!vol) return;
  seconds_ += seconds;
  energy_seconds_ += seconds * (14.5 + std::sqrt(*vol));
}

double FloorNote::DecibelsOf(double log_energy) const {
  return 10 * std::log10(std::exp(log_energy) / window_samples_) - 20 * std::log10(32768.0);
}

std::string FloorNote::Text(const std::vector<LevelMeter>& levels, const std::string& gain) const {
  if (!floor_) return "";
  const std::string words = found_any_ ? OfSpeech() : OfNothing(levels);
  if (words.empty()) return "";
  return words + "; try " + (gain.empty() ? "" : gain + ", or ") + "a lower floor, --set wvad_param_nEnergyThreshhood=" +
         std::to_string(*floor_ - 4);
}

std::string FloorNote::OfNothing(const std::vector<LevelMeter>& levels) const {
  constexpr double kClicksDb = 12;
  const double floor_db = DecibelsOf(*floor_);
  double loudest_db = -120;
  double below = 1;
  for (const LevelMeter& level : levels) {
    loudest_db = std::max(loudest_db, level.loudest_db());
    below = std::min(below, level.share_below(floor_db));
  }
  if (loudest_db <= -119 || loudest_db > floor_db + kClicksDb || below < 0.9) return "";
  return "the recording is very quiet: " + Whole(100 * below) + " % of it lies under the engine's energy floor of " + Whole(floor_db) +
         " dB and counts as silence";
}

std::string FloorNote::OfSpeech() const {
  constexpr double kNearDb = 6;
  if (seconds_ <= 0) return "";
  const double floor_db = DecibelsOf(*floor_);
  const double speech_db = DecibelsOf(energy_seconds_ / seconds_);
  if (speech_db > floor_db + kNearDb) return "";
  return "the speech is very quiet: it lies at " + Whole(speech_db) + " dB on average, and what lies under the engine's energy floor of " +
         Whole(floor_db) + " dB counts as silence, so that some may be missing";
}

}  // namespace TSEG::tool
