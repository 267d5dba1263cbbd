// SPDX-License-Identifier: Apache-2.0
//
// A place in a recording as people write it: "12.3", "1:02.5", "1:00:00", or from one to another, "12.3-14".
#ifndef WVAD_WVAD_TIME_RANGE_H_
#define WVAD_WVAD_TIME_RANGE_H_

#include <cstdint>
#include <string>

namespace TSEG::tool {

// The frames of 10 ms from the one that holds the first moment to the one that holds the last, both included.
struct FrameRange {
  int64_t first = 0;
  int64_t last = 0;

  bool Holds(int64_t frame) const { return frame >= first && frame <= last; }
};

// Throws Failure(kUsage) for a text that is no place, and for a range whose end lies before its begin.
FrameRange ParseFrameRange(const std::string& text);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_TIME_RANGE_H_
