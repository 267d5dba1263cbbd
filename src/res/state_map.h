// SPDX-License-Identifier: Apache-2.0
//
// The rows of state numbers that a model may carry, and the search for the row of silence among them.
//
// A row has eight places, filled from the left and closed by -1. The silence row is the one that holds the three highest states.
#ifndef WVAD_RES_STATE_MAP_H_
#define WVAD_RES_STATE_MAP_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TSEG {

constexpr size_t kStateRowPlaces = 8;

struct StateMap {
  std::vector<int32_t> rows;  // kStateRowPlaces each, -1 where nothing stands
  int32_t silence_row = -1;   // -1 if none
};

// The test of a closed row: three entries at or above `prior_count` - 3, or (kCtc) one equal to `prior_count` - 2.
enum class SilenceTest { kPlain, kCtc };

// Unpacks a list of runs, each closed by -1. A run of more than eight goes on in the next row.
StateMap UnpackStateMap(const std::vector<int16_t>& entries, int32_t prior_count, SilenceTest test);

// The silence row of a table of whole rows: with m the largest word, the first row with exactly three words above m - 3 before its
// first negative word. A last row that is not whole counts as far as it goes.
int32_t FindSilenceRow(const std::vector<int32_t>& words);

}  // namespace TSEG

#endif  // WVAD_RES_STATE_MAP_H_
