// SPDX-License-Identifier: Apache-2.0
#include "wvad/segment_command.h"

#include <optional>
#include <string>

#include "wvad/file_system.h"
#include "wvad/folder_report.h"
#include "wvad/forms/forms.h"
#include "wvad/forms/printf.h"
#include "wvad/output_options.h"
#include "wvad/provenance.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {
namespace {

bool IntoFolder(const SegmentOptions& options) {
  return options.formats.size() > 1 || (!options.output.empty() && IsSeparator(options.output.back()));
}

// Several forms go into a folder, which is hardly meant to be called like a file.
void RefuseNameOfFolder(const std::string& output) {
  if (!IsSoundName(output) && FormatOfEnding(ReportFormats(), output) == nullptr) return;
  throw Failure(ExitCode::kUsage, "--output " + output + ": several forms go into a folder, and this is the name of a file; for a folder " +
                                      "that is called so, put a / at its end");
}

// What can be known to be wrong before any work, which may be long.
void CheckForms(const SegmentOptions& options) {
  if (!options.details.printf.empty()) const PrintfFormat checked(options.details.printf);
  CheckCaption(options.details.caption, options.formats);
  if (options.formats.size() > 1 && (options.output.empty() || options.output == "-")) {
    throw Failure(ExitCode::kUsage, "--format: several forms go into a folder; name it with -o DIR");
  }
  if (IntoFolder(options) && options.output.back() != '/' && LookAt(options.output).kind == FileKind::kNone) {
    RefuseNameOfFolder(options.output);
  }
  if (!IntoFolder(options)) RefuseFolder(options.output, "-o " + options.output + "/");
  if (options.resume && IntoFolder(options)) {
    throw Failure(ExitCode::kUsage, "--resume: goes with one form and -o FILE, not with a folder");
  }
  CheckRecordings(options.formats, options.input.files, IntoFolder(options));
}

// Passes a report on that lives on behind the run.
class Forwarded : public Report {
 public:
  explicit Forwarded(Report& report) : report_(report) {}
  void HearWith(const HeardWith& with) override { report_.HearWith(with); }
  void BeginFile(const std::string& name) override { report_.BeginFile(name); }
  void Add(const Sentence& sentence, int rate_hz) override { report_.Add(sentence, rate_hz); }
  void EndFile(const FileEnd& end) override { report_.EndFile(end); }
  void FailFile(const std::string& message) override { report_.FailFile(message); }
  void RefuseFile(const std::string& name, const std::string& message) override { report_.RefuseFile(name, message); }
  void End() override { report_.End(); }

 private:
  Report& report_;
};

ExitCode ReportIntoFolder(const SegmentOptions& options) {
  OutputFolder folder({options.output, "", options.force}, options.input.files, SuffixesOf(options.formats),
                      FilesBesideRecordings(options.engine, options.input.list.list), options.input.walked);
  std::optional<FolderReport> report;
  if (options.checksum) CheckChecksums(options.input.files);
  SentenceTask task;
  task.checksum = options.checksum;
  task.made_by = !options.bare;
  task.keep_away = [&](const std::string& path) { folder.KeepForDebugText(path, options.input.files); };
  task.make_report = [&](const HeardWith& first) {
    report.emplace(folder, options.formats, ShapeOf(options, first));
    return std::make_unique<Forwarded>(*report);
  };
  const RunResult result = RunSentences(options, task);
  report->Close(result.code == ExitCode::kInterrupted);
  return result.code;
}

}  // namespace

ExitCode RunSegment(const SegmentOptions& options) {
  CheckForms(options);
  if (IntoFolder(options)) return ReportIntoFolder(options);
  SegmentOptions single = options;
  single.format = options.formats[0];
  return ReportSentences(single, {});
}

}  // namespace TSEG::tool
