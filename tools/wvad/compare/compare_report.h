// SPDX-License-Identifier: Apache-2.0
//
// What `wvad compare` prints: a line a recording and one for all of them, for people or as JSON.
#ifndef WVAD_WVAD_COMPARE_COMPARE_REPORT_H_
#define WVAD_WVAD_COMPARE_COMPARE_REPORT_H_

#include <span>
#include <string>
#include <vector>

#include "wvad/compare/comparison.h"

namespace TSEG::tool {

struct ComparedRecording {
  std::string id;
  Comparison comparison;
};

// `width`: columns of the place that is written to, kAnyWidth for none that counts.
struct CompareFormat {
  const char* name;
  const char* words;
  const char* ending;  // of files
  std::string (*print)(const std::vector<ComparedRecording>& recordings, double collar_s, size_t width);
};
// The first one is the default.
std::span<const CompareFormat> CompareFormats();
// The one that the file `path` asks for by its ending, null for any other ending.
const CompareFormat* CompareFormatOfEnding(const std::string& path);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMPARE_COMPARE_REPORT_H_
