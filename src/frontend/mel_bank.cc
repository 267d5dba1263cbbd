// SPDX-License-Identifier: Apache-2.0
//
// The mel filter bank: centres, weights, and the weighted sums over a power spectrum.
#include "frontend/mel_bank.h"

#include <cmath>

namespace TSEG {
namespace {

float Single(double v) { return static_cast<float>(v); }

}  // namespace

double MelOfHz(float hz) { return 1127.0 * std::log(1.0 + static_cast<double>(hz) / 700.0); }

void MelBank::Build(int n_filters, int n_fft, float bin_hz) {
  n_filters_ = n_filters;
  const int n_bins = n_fft / 2;

  // Centres, through Hertz and back with every step single: the round trip moves them in their last bits, and the
  // features that models are trained on come from these filters.
  std::vector<float> centre(static_cast<size_t>(n_filters) + 2);
  const double top = MelOfHz(static_cast<float>(n_bins) * bin_hz);
  centre[0] = 0.0f;
  for (int i = 1; i <= n_filters + 1; ++i) {
    const float mel = Single(static_cast<double>(i) * top / (n_filters + 1));
    float v = mel / 1127.0f;
    v = Single(std::exp(static_cast<double>(v)));
    v = v - 1.0f;
    v = v * 700.0f;
    v = v / 700.0f;
    v = v + 1.0f;
    v = Single(std::log(static_cast<double>(v)));
    v = v * 1127.0f;
    centre[static_cast<size_t>(i)] = v;
  }

  bin_.assign(static_cast<size_t>(n_bins), 0);
  weight_.assign(static_cast<size_t>(n_bins), 1.0f);
  rising_.assign(static_cast<size_t>(n_bins), 0.0f);
  first_.assign(static_cast<size_t>(n_filters) + 2, n_bins);
  int j = 1;
  int stretch = -1;  // the last one with its first bin known
  for (int k = 1; k < n_bins; ++k) {
    const double mel = MelOfHz(static_cast<float>(k) * bin_hz);
    while (j < n_filters + 1 && static_cast<double>(centre[static_cast<size_t>(j)]) < mel) ++j;
    const size_t b = static_cast<size_t>(j - 1);
    const size_t bin = static_cast<size_t>(k);
    bin_[bin] = j - 1;
    weight_[bin] = Single((static_cast<double>(centre[b + 1]) - mel) / static_cast<double>(centre[b + 1] - centre[b]));
    rising_[bin] = 1.0f - weight_[bin];
    while (stretch < j - 1) first_[static_cast<size_t>(++stretch)] = k;
  }
}

void MelBank::Apply(const float* power, float* out) const {
  // The stretch before filter b feeds the falling side of filter b - 1 and the rising side of filter b, so a filter's sum begins in one
  // stretch and ends in the next: every addition falls in the order of the bins.
  float rising = 0.0f;
  for (int b = 0; b <= n_filters_; ++b) {
    float falling = rising;
    rising = 0.0f;
    const int end = first_[static_cast<size_t>(b) + 1];
    for (int k = first_[static_cast<size_t>(b)]; k < end; ++k) {
      const size_t bin = static_cast<size_t>(k);
      falling += weight_[bin] * power[bin];
      rising += rising_[bin] * power[bin];
    }
    if (b > 0) out[b - 1] = falling;
  }
}

}  // namespace TSEG
