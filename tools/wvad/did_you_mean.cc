// SPDX-License-Identifier: Apache-2.0
#include "wvad/did_you_mean.h"

#include <algorithm>

namespace TSEG::tool {

// The optimal string alignment distance: rows of its table, the last two and the one that is being made.
size_t Distance(const std::string& one, const std::string& other) {
  std::vector<size_t> before_last;
  std::vector<size_t> last(other.size() + 1);
  for (size_t j = 0; j < last.size(); ++j) last[j] = j;
  for (size_t i = 1; i <= one.size(); ++i) {
    std::vector<size_t> row(other.size() + 1, i);
    for (size_t j = 1; j <= other.size(); ++j) {
      const size_t change = last[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, change});
      const bool swapped = i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1];
      if (swapped) row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
    before_last = std::move(last);
    last = std::move(row);
  }
  return last.back();
}

std::string DidYouMean(const std::string& word, const std::vector<std::string>& names) {
  const std::string* nearest = nullptr;
  size_t least = 0;
  for (const std::string& name : names) {
    const bool begun = word.size() >= 3 && name.compare(0, word.size(), word) == 0;
    const size_t distance = begun ? 1 : Distance(word, name);
    if (distance > (name.size() >= 6 ? 2U : 1U)) continue;
    if (nearest != nullptr && distance >= least) continue;
    nearest = &name;
    least = distance;
  }
  return nearest == nullptr ? "" : " (did you mean " + *nearest + "?)";
}

}  // namespace TSEG::tool
