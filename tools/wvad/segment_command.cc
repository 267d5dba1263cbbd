// SPDX-License-Identifier: Apache-2.0
#include "wvad/segment_command.h"

#include <optional>

namespace TSEG::tool {

ExitCode RunSegment(const SegmentOptions& options) {
  std::optional<Output> output;
  SentenceTask task;
  task.make_report = [&](int) {
    output.emplace(options.output);
    return MakeReport(options.format, *output, options.input.files.size() > 1, !options.quiet);
  };
  const ExitCode result = RunSentences(options, task);
  output->Close();
  return result;
}

}  // namespace TSEG::tool
