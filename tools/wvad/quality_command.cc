// SPDX-License-Identifier: Apache-2.0
#include "wvad/quality_command.h"

#include <filesystem>
#include <system_error>

namespace TSEG::tool {

ExitCode RunQuality(const QualityOptions& options) {
  std::error_code ignored;
  if (!options.force && !options.output.empty() && std::filesystem::is_regular_file(options.output, ignored)) {
    throw Failure(ExitCode::kOutput, options.output + ": exists already; --force replaces it");
  }
  SentenceTask task;
  task.quality = true;
  return ReportSentences(options, task, options.format, options.output);
}

}  // namespace TSEG::tool
