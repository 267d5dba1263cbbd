// SPDX-License-Identifier: Apache-2.0
#include "wvad/segment_command.h"

namespace TSEG::tool {

ExitCode RunSegment(const SegmentOptions& options) { return ReportSentences(options, {}); }

}  // namespace TSEG::tool
