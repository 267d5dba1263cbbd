// SPDX-License-Identifier: Apache-2.0
#include "wvad/level.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace TSEG::tool {
namespace {

double Decibels(double amplitude) { return amplitude <= 0 ? -120.0 : std::clamp(20.0 * std::log10(amplitude / 32768.0), -120.0, 0.0); }

// The level below which `share` of the counts in bins `first` and above lie.
template <size_t N>
double Percentile(const std::array<int64_t, N>& bins, size_t first, double share) {
  int64_t total = 0;
  for (size_t i = first; i < N; ++i) total += bins[i];
  int64_t seen = 0;
  for (size_t i = first; i < N; ++i) {
    seen += bins[i];
    if (static_cast<double>(seen) >= share * static_cast<double>(total)) return static_cast<double>(i) - 120.0;
  }
  return 0.0;
}

}  // namespace

void LevelMeter::Feed(const int16_t* samples, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const int value = samples[i];
    square_sum_ += static_cast<double>(value) * value;
    peak_ = std::max(peak_, std::abs(value));
    if (++fill_ < block_samples_) continue;
    const double level_db = Decibels(std::sqrt(square_sum_ / static_cast<double>(block_samples_)));
    loudest_db_ = std::max(loudest_db_, level_db);
    levels_[static_cast<size_t>(std::lrint(level_db) + 120)] += 1;
    peaks_[static_cast<size_t>(std::lrint(Decibels(peak_)) + 120)] += 1;
    ++blocks_;
    fill_ = 0;
    square_sum_ = 0;
    peak_ = 0;
  }
}

double LevelMeter::AutoGainDb() const {
  constexpr double kTargetDb = -20.0;
  constexpr double kMaxGainDb = 40.0;
  constexpr size_t kSilentBins = 30;  // blocks under -90 dB are digital silence, whatever the recording
  if (silent()) return 0.0;
  const double wanted = kTargetDb - Percentile(levels_, kSilentBins, 0.95);
  const double headroom = -Percentile(peaks_, kSilentBins, 0.999);
  return std::clamp(std::min(wanted, headroom), 0.0, kMaxGainDb);
}

}  // namespace TSEG::tool
