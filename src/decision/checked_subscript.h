// SPDX-License-Identifier: Apache-2.0
//
// CheckedSubscript: the value of frame `index` of a history, with the failure that a wrong index has in this engine.
//
// A wrong index, negative ones among them, leaves as std::out_of_range with the text "invalid vector<T> subscript". No allocation
// otherwise.
#ifndef WVAD_DECISION_CHECKED_SUBSCRIPT_H_
#define WVAD_DECISION_CHECKED_SUBSCRIPT_H_

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "channel/frame_history.h"

namespace TSEG {

template <typename T>
T CheckedSubscript(const FrameHistory<T>& history, int32_t index) {
  // Seen as unsigned, a negative index lies behind every history.
  if (static_cast<uint32_t>(index) >= history.size()) throw std::out_of_range("invalid vector<T> subscript");
  return history[static_cast<size_t>(index)];
}

}  // namespace TSEG

#endif  // WVAD_DECISION_CHECKED_SUBSCRIPT_H_
