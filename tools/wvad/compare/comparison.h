// SPDX-License-Identifier: Apache-2.0
//
// How far segments agree with a reference. The definitions, and where they come from, are in docs/cli.md; times are exact to the
// microsecond where others count frames.
#ifndef WVAD_WVAD_COMPARE_COMPARISON_H_
#define WVAD_WVAD_COMPARE_COMPARISON_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "wvad/compare/spans.h"

namespace TSEG::tool {

struct Comparison {
  // Lengths of what is scored: speech that was found, speech that was not, speech found where there is none, and the rest.
  int64_t hit_us = 0;
  int64_t miss_us = 0;
  int64_t false_us = 0;
  int64_t rest_us = 0;
  // Counted over the regions, collars included.
  int64_t region_us = 0;
  int64_t segments = 0;      // of the reference
  int64_t missed = 0;        // of them, that nothing found overlaps
  int64_t false_alarms = 0;  // segments that overlap no reference segment, widened by the collar
  // Found less reference, one for each pair of boundaries that belong together.
  std::vector<int64_t> onsets_us;
  std::vector<int64_t> offsets_us;

  // Adds another recording.
  void Add(const Comparison& other);
};

// All three as sets of time (Joined). What lies outside of `regions` is cut off, and `collar_us` on both sides of each boundary of the
// reference is not scored.
Comparison Compare(const Spans& reference, const Spans& found, const Spans& regions, int64_t collar_us);

// Each is missing where it has no meaning: no speech, nothing found, ...
struct Scores {
  std::optional<double> precision, recall, f1;
  std::optional<double> p_miss, p_false, dcf;
  std::optional<double> error;  // missed and false time over that of speech
  std::optional<double> false_alarms_per_hour;
  std::optional<double> onset_median_s, onset_95_s, offset_median_s, offset_95_s;
};
Scores ScoresOf(const Comparison& comparison);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMPARE_COMPARISON_H_
