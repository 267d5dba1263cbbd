// SPDX-License-Identifier: Apache-2.0
//
// Sets of time as sorted lists of spans that neither touch nor overlap, in whole microseconds, so that sums are exact.
#ifndef WVAD_WVAD_COMPARE_SPANS_H_
#define WVAD_WVAD_COMPARE_SPANS_H_

#include <cstdint>
#include <vector>

namespace TSEG::tool {

struct Span {
  int64_t begin_us;
  int64_t end_us;  // behind the last one
  bool operator==(const Span&) const = default;
};
using Spans = std::vector<Span>;

// Sorted, those that touch joined, empty ones dropped.
Spans Joined(Spans spans);
// Both have to be such sets, as their results are.
Spans Intersection(const Spans& a, const Spans& b);
Spans Difference(const Spans& a, const Spans& b);
int64_t Length(const Spans& spans);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMPARE_SPANS_H_
