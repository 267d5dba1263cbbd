// SPDX-License-Identifier: Apache-2.0
//
// `wvad segment`: recordings in, sentences out.
#ifndef WVAD_WVAD_SEGMENT_COMMAND_H_
#define WVAD_WVAD_SEGMENT_COMMAND_H_

#include "wvad/sentence_run.h"

namespace TSEG::tool {

using SegmentOptions = ReportOptions;

// Works through all files; a file that fails gives its line on standard error and the others are still worked on. The result is the code of
// the first failure. What concerns all files (model, parameters, output) leaves as Failure.
ExitCode RunSegment(const SegmentOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SEGMENT_COMMAND_H_
