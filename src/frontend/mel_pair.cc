// SPDX-License-Identifier: Apache-2.0
#include "frontend/mel_pair.h"

#include <algorithm>

namespace TSEG {
namespace {

constexpr int32_t kLanes = 4;

}  // namespace

void MelPair::Build(const MelBank& bank24, const MelBank& bank40) {
  Filter filters[kFbAll];
  int32_t index = 0;
  for (const MelBank* bank : {&bank24, &bank40}) {
    const int32_t first_lane = bank == &bank24 ? 0 : 2;
    for (int32_t f = 0; f < bank->filters(); ++f, ++index) {
      filters[index] = {bank, f, index, bank->first_bin(f), bank->first_bin(f + 2), 0, first_lane + f % 2};
    }
  }
  CutInParts(filters, bank24.bins());
  SetWeights(filters);
  SetStops(filters);
}

// The shortest parts that hold all filters.
void MelPair::CutInParts(Filter* filters, int32_t bins) {
  steps_ = bins / kParts;
  while (!PartsOf(steps_, bins, filters)) ++steps_;
}

// Whether parts of `steps` bins hold all filters. Each begins with the first filter that is left, and takes those that end within it.
bool MelPair::PartsOf(int32_t steps, int32_t bins, Filter* filters) {
  int32_t left = kFbAll;
  for (int32_t i = 0; i < kFbAll; ++i) filters[i].part = -1;
  for (int32_t part = 0; part < kParts; ++part) {
    int32_t begin = bins - steps;
    for (int32_t i = 0; i < kFbAll; ++i) {
      if (filters[i].part < 0) begin = std::min(begin, filters[i].begin);
    }
    begin_[part] = begin;
    for (int32_t i = 0; i < kFbAll; ++i) {
      if (filters[i].part >= 0 || filters[i].end > begin + steps) continue;
      filters[i].part = part;
      --left;
    }
  }
  return left == 0;
}

void MelPair::SetWeights(const Filter* filters) {
  weights_.assign(static_cast<size_t>(steps_), Weights{});
  for (const Filter* filter = filters; filter != filters + kFbAll; ++filter) {
    const int32_t top = filter->bank->first_bin(filter->number + 1);
    for (int32_t bin = filter->begin; bin < filter->end; ++bin) {
      const float weight = bin < top ? filter->bank->rising_weight(bin) : filter->bank->weight(bin);
      weights_[static_cast<size_t>(StepOf(*filter, bin))].part[filter->part][filter->lane] = weight;
    }
  }
}

void MelPair::SetStops(Filter* filters) {
  // Of a lane's filters that end at one bin, all but the first have no bin at all; they follow it in stops of their own.
  std::sort(filters, filters + kFbAll, [this](const Filter& a, const Filter& b) {
    const int32_t a_end = StepOf(a, a.end);
    const int32_t b_end = StepOf(b, b.end);
    return a_end != b_end ? a_end < b_end : a.index < b.index;
  });
  constexpr Mask kAll = {-1, -1, -1, -1};
  stops_.clear();
  for (const Filter* filter = filters; filter != filters + kFbAll; ++filter) {
    const int32_t end = StepOf(*filter, filter->end);
    const bool joins = !stops_.empty() && stops_.back().end == end && stops_.back().kept[filter->part][filter->lane] != 0;
    if (!joins) stops_.push_back({{kAll, kAll, kAll, kAll}, end});
    stops_.back().kept[filter->part][filter->lane] = 0;
    const size_t vector = (stops_.size() - 1) * kParts + static_cast<size_t>(filter->part);
    place_[filter->index] = static_cast<uint16_t>(vector * kLanes + static_cast<size_t>(filter->lane));
  }
}

void MelPair::Apply(const float* power, float* out) const {
  Lanes stored[kFbAll * kParts];
  Lanes* to = stored;
  Lanes sum[kParts] = {};
  const float* at[kParts];
  for (int p = 0; p < kParts; ++p) at[p] = power + begin_[p];
  const Weights* weights = weights_.data();
  int32_t k = 0;
  for (const Stop& stop : stops_) {
    for (; k < stop.end; ++k) {
      for (int p = 0; p < kParts; ++p) sum[p] += weights[k].part[p] * at[p][k];
    }
    for (int p = 0; p < kParts; ++p) {
      to[p] = sum[p];
      // By the built-in that std::bit_cast is made of: libc++ 13 has no std::bit_cast.
      sum[p] = __builtin_bit_cast(Lanes, __builtin_bit_cast(Mask, sum[p]) & stop.kept[p]);
    }
    to += kParts;
  }
  for (int32_t i = 0; i < kFbAll; ++i) out[i] = stored[place_[i] / kLanes][place_[i] % kLanes];
}

}  // namespace TSEG
