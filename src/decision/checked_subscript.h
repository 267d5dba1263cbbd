// SPDX-License-Identifier: Apache-2.0
//
// CheckedSubscript: element `index` of a growing array, with the failure that a wrong index has in this engine.
//
// A wrong index, negative ones among them, leaves as std::out_of_range with the text "invalid vector<T> subscript". No allocation
// otherwise.
#ifndef WVAD_DECISION_CHECKED_SUBSCRIPT_H_
#define WVAD_DECISION_CHECKED_SUBSCRIPT_H_

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace TSEG {

template <typename T>
const T& CheckedSubscript(const std::vector<T>& array, int32_t index) {
  // Seen as unsigned, a negative index lies behind every array.
  if (static_cast<uint32_t>(index) >= array.size()) throw std::out_of_range("invalid vector<T> subscript");
  return array[static_cast<size_t>(index)];
}

}  // namespace TSEG

#endif  // WVAD_DECISION_CHECKED_SUBSCRIPT_H_
