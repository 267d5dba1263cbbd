// SPDX-License-Identifier: Apache-2.0
#include "wvad/quality_command.h"

#include <filesystem>
#include <optional>
#include <system_error>

namespace TSEG::tool {

ExitCode RunQuality(const QualityOptions& options) {
  std::error_code ignored;
  if (!options.force && !options.output.empty() && std::filesystem::is_regular_file(options.output, ignored)) {
    throw Failure(ExitCode::kOutput, options.output + ": exists already; --force replaces it");
  }
  std::optional<Output> output;
  SentenceTask task;
  task.quality = true;
  task.make_report = [&](int) {
    output.emplace(options.output);
    return MakeReport(options.format, *output, options.input.files.size() > 1, !options.quiet);
  };
  const ExitCode result = RunSentences(options, task);
  output->Close();
  return result;
}

}  // namespace TSEG::tool
