// SPDX-License-Identifier: Apache-2.0
//
// One pass over the entries each; runs once per model, allocates the rows.
#include "res/state_map.h"

#include <algorithm>

#include "base/wrap.h"

namespace TSEG {
namespace {

bool IsSilence(const int32_t* row, size_t filled, int32_t prior_count, SilenceTest test) {
  int hits = 0;
  for (size_t k = filled; k-- > 0;) {
    const bool hit = test == SilenceTest::kPlain ? row[k] >= prior_count - 3 : row[k] == prior_count - 2;
    hits += hit ? 1 : 0;
  }
  return hits >= (test == SilenceTest::kPlain ? 3 : 1);
}

}  // namespace

StateMap UnpackStateMap(const std::vector<int16_t>& entries, int32_t prior_count, SilenceTest test) {
  StateMap map;
  size_t place = kStateRowPlaces;  // the next entry opens a row
  for (const int16_t entry : entries) {
    if (place == kStateRowPlaces) {
      map.rows.insert(map.rows.end(), kStateRowPlaces, -1);
      place = 0;
    }
    int32_t* row = map.rows.data() + (map.rows.size() - kStateRowPlaces);
    if (entry != -1) {
      row[place++] = entry;
      continue;
    }
    if (map.silence_row < 0 && IsSilence(row, place, prior_count, test)) {
      map.silence_row = static_cast<int32_t>(map.rows.size() / kStateRowPlaces) - 1;
    }
    place = kStateRowPlaces;
  }
  return map;
}

int32_t FindSilenceRow(const std::vector<int32_t>& words) {
  int32_t largest = -1;
  for (const int32_t word : words) largest = std::max(largest, word);
  const int32_t bound = WrapSub32(largest, 3);
  for (size_t begin = 0; begin < words.size(); begin += kStateRowPlaces) {
    const size_t end = std::min(begin + kStateRowPlaces, words.size());
    int count = 0;
    for (size_t k = begin; k < end && words[k] >= 0; ++k) count += words[k] > bound ? 1 : 0;
    if (count == 3) return static_cast<int32_t>(begin / kStateRowPlaces);
  }
  return -1;
}

}  // namespace TSEG
