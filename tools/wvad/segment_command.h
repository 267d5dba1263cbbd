// SPDX-License-Identifier: Apache-2.0
//
// `wvad segment`: recordings in, sentences out, in one form or into a folder in several.
#ifndef WVAD_WVAD_SEGMENT_COMMAND_H_
#define WVAD_WVAD_SEGMENT_COMMAND_H_

#include <vector>

#include "wvad/report_sentences.h"

namespace TSEG::tool {

struct SegmentOptions : ReportOptions {
  std::vector<const ReportFormat*> formats = {ReportFormats().data()};  // `format` is settled by these
};

// `output` is a folder if there are several formats or it ends with a slash. Works through all files; a file that fails gives its line on
// standard error and the others are still worked on. The result is the code of the first failure. What concerns all files (model,
// parameters, names, output) leaves as Failure.
ExitCode RunSegment(const SegmentOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SEGMENT_COMMAND_H_
