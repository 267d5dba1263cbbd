// SPDX-License-Identifier: Apache-2.0
#include "wvad/report_sentences.h"

#include <optional>
#include <vector>

#include "wvad/output.h"
#include "wvad/provenance.h"
#include "wvad/resume.h"

namespace TSEG::tool {

ReportShape ShapeOf(const ReportOptions& options, const HeardWith& first) {
  ReportShape shape{options.input.files.size() > 1, !options.quiet, false, options.input.channel == "all", options.details};
  shape.details.channel = options.input.channel;
  shape.details.provenance = first.made_by;
  return shape;
}

ExitCode ReportSentences(const ReportOptions& options, SentenceTask task) {
  std::vector<std::string> read = FilesBesideRecordings(options.engine, options.input.list.list);
  read.insert(read.end(), options.input.files.begin(), options.input.files.end());
  OutputRules rules(options.force || options.resume, read);
  task.keep_away = [&](const std::string& path) {
    rules.KeepForDebugText(path);
    CheckOutput(options.output, rules);
  };
  // Before any work, which may be long.
  CheckOutput(options.output, rules);
  Kept kept;
  SentenceOptions left = options;
  if (options.resume)
    kept = KeepWhatIsThere(options.output, options.format->name, options.input.files, ProvenancesOfRun(options), options.force);
  SayFailedBefore(options.output, kept.failed);
  left.input.files.erase(left.input.files.begin(), left.input.files.begin() + static_cast<std::ptrdiff_t>(kept.files));
  if (options.checksum) CheckChecksums(left.input.files);
  task.checksum = options.checksum;
  task.made_by = !options.bare;
  std::optional<Output> output;
  task.make_report = [&](const HeardWith& first) {
    output.emplace(options.output, rules);
    if (!options.force) output->BeginsWith(kept.there, kept.sure, options.quiet);
    auto report = options.format->make(*output, ShapeOf(options, first));
    output->Write(kept.rows);
    return report;
  };
  RunResult result;
  if (kept.files < options.input.files.size()) {
    result = RunSentences(left, task);
  } else {
    task.make_report({})->End();
  }
  const bool broken_off = result.code == ExitCode::kInterrupted && !options.resume;
  if (result.heard_any || kept.files > 0) broken_off ? output->CloseInterrupted() : output->Close();
  return kept.code != ExitCode::kSuccess ? kept.code : result.code;
}

}  // namespace TSEG::tool
