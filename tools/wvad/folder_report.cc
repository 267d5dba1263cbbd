// SPDX-License-Identifier: Apache-2.0
#include "wvad/folder_report.h"

#include <optional>

#include "wvad/failure.h"

namespace TSEG::tool {

OutputSuffixes SuffixesOf(const std::vector<const ReportFormat*>& formats) {
  OutputSuffixes suffixes;
  for (const ReportFormat* format : formats) {
    (format->file_per == FilePer::kRun ? suffixes.of_run : suffixes.endings).emplace_back(format->ending);
  }
  return suffixes;
}

FolderReport::FolderReport(const OutputFolder& folder, const std::vector<const ReportFormat*>& formats, const ReportShape& shape)
    : folder_(folder), formats_(formats), shape_(shape) {}

FolderReport::Part FolderReport::MakePart(const ReportFormat& format, const std::string& path) const {
  Part part;
  part.output = std::make_unique<Output>(path, folder_.rules());
  ReportShape shape = shape_;
  shape.several = false;
  part.report = format.make(*part.output, shape);
  return part;
}

// What is said of the whole of a file is said of the one recording in it.
void FolderReport::HearWith(const HeardWith& with) { shape_.details.provenance = with.made_by; }

void FolderReport::BeginFile(const std::string& name) {
  folder_.Make(name);
  const bool first = of_run_.empty();
  of_recording_.clear();
  for (const ReportFormat* format : formats_) {
    if (format->file_per == FilePer::kRecording) {
      of_recording_.push_back(MakePart(*format, folder_.Path(name, folder_.WithEnding(name, format->ending))));
    } else if (first) {
      of_run_.push_back(MakePart(*format, folder_.PathOfRun(format->ending)));
    }
  }
  ForAll([&](Report& report) { report.BeginFile(name); });
}

void FolderReport::ForAll(const std::function<void(Report&)>& act) {
  for (const Part& part : of_recording_) act(*part.report);
  for (const Part& part : of_run_) act(*part.report);
}

void FolderReport::Add(const Sentence& sentence, int rate_hz) {
  ForAll([&](Report& report) { report.Add(sentence, rate_hz); });
}

void FolderReport::EndFile(const FileEnd& end) {
  std::optional<Failure> failed;
  const auto unless_it_cannot = [&](const std::function<void()>& act) {
    try {
      act();
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::kOutput) throw;
      if (!failed) failed = failure;
    }
  };
  for (const Part& part : of_recording_) {
    unless_it_cannot([&] {
      part.report->EndFile(end);
      part.report->End();
      end.reason == kInterruptedReason ? part.output->CloseInterrupted() : part.output->Close();
    });
  }
  for (const Part& part : of_run_) unless_it_cannot([&] { part.report->EndFile(end); });
  of_recording_.clear();
  if (failed) throw Failure(*failed);
}

void FolderReport::FailFile(const std::string& message) {
  ForAll([&](Report& report) { report.FailFile(message); });
  of_recording_.clear();
}

void FolderReport::RefuseFile(const std::string& name, const std::string& message) {
  for (const Part& part : of_run_) part.report->RefuseFile(name, message);
}

void FolderReport::End() {
  for (const Part& part : of_run_) part.report->End();
}

void FolderReport::Close(bool interrupted) {
  for (const Part& part : of_run_) interrupted ? part.output->CloseInterrupted() : part.output->Close();
}

}  // namespace TSEG::tool
