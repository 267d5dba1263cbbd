// SPDX-License-Identifier: Apache-2.0
//
// MelPair: both mel banks of a frame in one pass over its power spectrum, with the sums of MelBank::Apply to the bit.
//
// A bin feeds two neighbouring filters of each bank. Filters of one bank take two places in turn, so that the four sums a bin adds to are
// the four lanes of a vector; a lane is stored and cleared where its filter ends. The filters are cut into four parts, which advance
// together: one chain of additions waits while the others work.
//
// Where a filter of a lane has no share in a bin its weight is zero, and adding the zero changes nothing: sums are never negative. Every
// other addition falls as in MelBank::Apply, in the order of the bins.
#ifndef WVAD_FRONTEND_MEL_PAIR_H_
#define WVAD_FRONTEND_MEL_PAIR_H_

#include <cstdint>
#include <vector>

#include "frontend/feature_records.h"
#include "frontend/mel_bank.h"

namespace TSEG {

class MelPair {
 public:
  // For the banks of 24 and of 40 filters over the same bins. Allocates only when it grows.
  void Build(const MelBank& bank24, const MelBank& bank40);

  // `power`, one value a bin, finite and not below zero, to `out` [64]: the sums of the bank of 24, then those of the bank of 40.
  void Apply(const float* power, float* out) const;

 private:
  typedef float Lanes __attribute__((vector_size(16), aligned(16)));
  typedef int32_t Mask __attribute__((vector_size(16), aligned(16)));

  static constexpr int kParts = 4;

  struct Weights {
    Lanes part[kParts];
  };
  // The parts are stored before bin `end` of theirs (counted from the beginning of the part), and what `kept` has no bits for is cleared.
  struct Stop {
    Mask kept[kParts];
    int32_t end;
  };
  // A filter with its share of the bins [begin, end).
  struct Filter {
    const MelBank* bank;
    int32_t number;  // in its bank
    int32_t index;   // of its sum among the 64
    int32_t begin, end;
    int32_t part, lane;
  };

  void CutInParts(Filter* filters, int32_t bins);
  bool PartsOf(int32_t steps, int32_t bins, Filter* filters);
  int32_t StepOf(const Filter& filter, int32_t bin) const { return bin - begin_[filter.part]; }
  void SetWeights(const Filter* filters);
  void SetStops(Filter* filters);

  int32_t begin_[kParts] = {};  // first bin of each part
  int32_t steps_ = 0;           // bins of a part
  std::vector<Weights> weights_;
  std::vector<Stop> stops_;      // at most one a filter
  uint16_t place_[kFbAll] = {};  // where the sum of a filter stands among what the stops have stored
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_MEL_PAIR_H_
