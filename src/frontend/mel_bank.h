// SPDX-License-Identifier: Apache-2.0
//
// MelBank: a bank of triangular filters, equally wide on the mel scale, over the bins of a power spectrum.
//
// Each bin lies between two filter centres and is shared by the two filters; bin 0 and the Nyquist bin take no part. Build allocates only
// when the bank grows. Sums are single, in the order of the bins.
#ifndef WVAD_FRONTEND_MEL_BANK_H_
#define WVAD_FRONTEND_MEL_BANK_H_

#include <vector>

#include "buffers/aligned_buffer.h"

namespace TSEG {

// mel(f) = 1127 * ln(1 + f / 700), f in Hz.
double MelOfHz(float hz);

class MelBank {
 public:
  // A bank of `n_filters` over the bins of a transform of `n_fft` points, `bin_hz` apart.
  void Build(int n_filters, int n_fft, float bin_hz);

  // `power` [n_fft / 2] to `out` [n_filters]: the weighted sums, not yet floored.
  void Apply(const float* power, float* out) const;

  int filters() const { return n_filters_; }
  // Of bin k: the number of filter centres at or below it, and the weight with which it enters the filter below.
  int bin(int k) const { return bin_[static_cast<size_t>(k)]; }
  float weight(int k) const { return weight_[static_cast<size_t>(k)]; }
  // The weight with which bin k enters the filter above.
  float rising_weight(int k) const { return rising_[static_cast<size_t>(k)]; }
  int bins() const { return static_cast<int>(bin_.size()); }
  // First bin of the stretch before centre j, for j from 0 to filters() + 1, where it is bins(). Filter f rises over stretch f and falls
  // over the next.
  int first_bin(int j) const { return first_[static_cast<size_t>(j)]; }

 private:
  int n_filters_ = 0;
  std::vector<int> bin_;
  std::vector<float> weight_;
  std::vector<float> rising_;  // 1 - weight_: the weight in the filter above
  std::vector<int> first_;     // first bin of each stretch between two centres; one more entry for the end
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_MEL_BANK_H_
