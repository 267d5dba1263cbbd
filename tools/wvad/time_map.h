// SPDX-License-Identifier: Apache-2.0
//
// The map of times of a recording that was shortened: where each stretch lay and where it has come to stand, in frames and seconds.
#ifndef WVAD_WVAD_TIME_MAP_H_
#define WVAD_WVAD_TIME_MAP_H_

#include <cstdint>
#include <string>
#include <vector>

#include "wvad/cut_plan.h"

namespace TSEG::tool {

struct TimeMap {
  std::string source;
  std::string output;
  int rate_hz = 0;
  int64_t frames = 0;           // of the source
  std::vector<FrameSpan> kept;  // in order; one behind the other they are the output
  std::string made_by;          // JSON in one line (provenance.h); empty: nothing is said of it
};

struct MapForm {
  const char* name;
  const char* ending;
  std::string (*text)(const TimeMap& map);
};
// The form that the file `path` asks for by its ending: .json, one document, or .csv, with a heading. Null for any other.
const MapForm* MapFormOfEnding(const std::string& path);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_TIME_MAP_H_
