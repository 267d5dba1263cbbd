// SPDX-License-Identifier: Apache-2.0
//
// Full update, step update and choice of the adaptive energy floor.
//
// Every explicit conversion to float below is a rounding point of the result; everything else runs in double.
#include "decision/energy_floor.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace TSEG {
namespace {

constexpr int kMaxPasses = 201;

float AddSingle(float sum, double value) { return static_cast<float>(static_cast<double>(sum) + value); }

float AbsDifference(float a, float b) { return static_cast<float>(std::fabs(static_cast<double>(a) - static_cast<double>(b))); }

float Quotient(float sum, double divisor) { return static_cast<float>(static_cast<double>(sum) / divisor); }

// The frames from `from` up to `n` in a copy of their own.
std::vector<float> CopyFrames(const FrameHistory<float>& history, int32_t from, int32_t n) {
  const size_t first = std::min(static_cast<size_t>(std::max(from, 0)), history.size());
  const size_t last = std::min(static_cast<size_t>(std::max(n, 0)), history.size());
  if (first >= last) return {};
  std::vector<float> frames(last - first);
  for (size_t i = first; i < last; ++i) frames[i - first] = history[i];
  return frames;
}

struct Spread {
  float mean;
  double scale;  // N * sigma
};

// Brings sum and deviations up to date with `frames`, at frame number `n`.
Spread TakeIn(EnergyStats* stats, const std::vector<float>& frames, int32_t n) {
  const double count = static_cast<double>(static_cast<float>(n));
  for (const float x : frames) stats->fSum = AddSingle(stats->fSum, static_cast<double>(x));
  const float mean = Quotient(stats->fSum, count);
  for (const float x : frames) {
    const double deviation = static_cast<double>(x) - static_cast<double>(mean);
    stats->fSqDevSum = AddSingle(stats->fSqDevSum, deviation * deviation);
  }
  const float sigma = static_cast<float>(std::sqrt(static_cast<double>(stats->fSqDevSum) / count));
  for (const float x : frames) stats->fAbsDevSum = AddSingle(stats->fAbsDevSum, static_cast<double>(AbsDifference(x, mean)));
  const double scale = count * static_cast<double>(sigma);
  stats->fSpreadAll = Quotient(stats->fAbsDevSum, scale);
  return {mean, scale};
}

// Puts one value into the nearer cluster; a tie, and what cannot be compared, goes to the high one.
void Classify(EnergyStats* stats, float x, float low, float high) {
  const float to_high = AbsDifference(x, high);
  const float to_low = AbsDifference(x, low);
  const int slot = to_high > to_low ? 0 : 1;
  stats->fClusterSum[slot] = AddSingle(stats->fClusterSum[slot], static_cast<double>(x));
  ++stats->nClusterCount[slot];
  stats->fOwnDevSum = AddSingle(stats->fOwnDevSum, static_cast<double>(slot == 1 ? to_high : to_low));
}

float ClusterMean(const EnergyStats& stats, int slot) {
  return Quotient(stats.fClusterSum[slot], static_cast<double>(stats.nClusterCount[slot]));
}

void ClearClusters(EnergyStats* stats) {
  for (int slot = 0; slot < 2; ++slot) {
    stats->fClusterSum[slot] = 0;
    stats->nClusterCount[slot] = 0;
  }
}

void Finish(EnergyStats* stats, int32_t n, float mean) {
  // Only the centres change places: sums and counts stay with their slots.
  if (stats->fCentreHigh < stats->fCentreLow) std::swap(stats->fCentreHigh, stats->fCentreLow);
  stats->nLastFrame = n;
  stats->fThreshold = EnergyThresholdPick(*stats, mean);
}

bool Converged(float held, float fresh) {
  return std::fabs(static_cast<double>(held) - static_cast<double>(fresh)) <= static_cast<double>(1e-5f);
}

}  // namespace

void EnergyThresholdFullUpdate(EnergyStats* stats, const FrameHistory<float>& history, int32_t n) {
  std::vector<float> frames = CopyFrames(history, 0, n - stats->nLastFrame);
  const Spread spread = TakeIn(stats, frames, n);
  // An energy that is not a number goes behind all others, so that the order stays an order.
  std::sort(frames.begin(), frames.end(), [](float a, float b) { return a < b || (std::isnan(b) && !std::isnan(a)); });

  // First split: the lower half of the sorted values against the rest.
  ClearClusters(stats);
  for (size_t i = 0; i < frames.size(); ++i) {
    const int slot = static_cast<int>((2 * i) / static_cast<size_t>(n));
    stats->fClusterSum[slot] = AddSingle(stats->fClusterSum[slot], static_cast<double>(frames[i]));
    ++stats->nClusterCount[slot];
  }
  float low = ClusterMean(*stats, 0);
  float high = ClusterMean(*stats, 1);

  for (int pass = 0; pass < kMaxPasses; ++pass) {
    stats->fCentreLow = low;
    stats->fCentreHigh = high;
    ClearClusters(stats);
    stats->fOwnDevSum = 0;
    for (const float x : frames) Classify(stats, x, stats->fCentreLow, stats->fCentreHigh);
    low = ClusterMean(*stats, 0);
    high = ClusterMean(*stats, 1);
    stats->fSpreadOwn = Quotient(stats->fOwnDevSum, spread.scale);
    if (Converged(stats->fCentreLow, low) && Converged(stats->fCentreHigh, high)) break;
  }
  Finish(stats, n, spread.mean);
}

void EnergyThresholdStepUpdate(EnergyStats* stats, const FrameHistory<float>& history, int32_t n) {
  const std::vector<float> frames = CopyFrames(history, stats->nLastFrame, n);
  const Spread spread = TakeIn(stats, frames, n);
  const float low = stats->fCentreLow;
  const float high = stats->fCentreHigh;
  for (const float x : frames) Classify(stats, x, low, high);
  stats->fCentreLow = ClusterMean(*stats, 0);
  stats->fCentreHigh = ClusterMean(*stats, 1);
  stats->fSpreadOwn = Quotient(stats->fOwnDevSum, spread.scale);
  Finish(stats, n, spread.mean);
}

float EnergyThresholdPick(const EnergyStats& stats, float mean) {
  const double low = static_cast<double>(stats.fCentreLow);
  const double d = static_cast<double>(stats.fCentreHigh) - low;
  const double r = static_cast<double>(stats.fSpreadOwn) + static_cast<double>(0.3f);
  const double spread = static_cast<double>(stats.fSpreadAll);
  const double centre = static_cast<double>(mean);
  double t = 0;
  double v = 0;
  if (spread < r && d < 3.5) {
    // Close, poorly separated centres: there is no quiet cluster to speak of, so stay above the mean.
    t = centre + 3.0;
    v = centre + 2.0;
  } else if (spread > r && d > 12.0) {
    t = low + static_cast<double>(0.2f) * d;
    v = low + static_cast<double>(0.1f) * d;
  } else if (low + 0.2 * d < centre) {
    t = low + 2.0;
    v = low + 1.0;
  } else {
    t = centre + 2.0;
    v = centre + 1.0;
  }
  // The cap looks at v and not at t, so that a floor a little above 80 is possible.
  return 80.0 < static_cast<double>(static_cast<float>(v)) ? 80.0f : static_cast<float>(t);
}

}  // namespace TSEG
