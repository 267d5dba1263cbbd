// SPDX-License-Identifier: Apache-2.0
//
// Reports in several forms at once, into a folder: for "talk.mp3" DIR/talk.rttm, DIR/talk.srt and so on, and one file for the whole run
// of the forms that are made so.
//
// A recording's files appear when it is through; of one that fails none does. Those of the run appear at its end, with Close().
#ifndef WVAD_WVAD_FOLDER_REPORT_H_
#define WVAD_WVAD_FOLDER_REPORT_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "wvad/output.h"
#include "wvad/output_folder.h"
#include "wvad/report.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {

// What these forms are called in a folder.
OutputSuffixes SuffixesOf(const std::vector<const ReportFormat*>& formats);

class FolderReport : public Report {
 public:
  // `folder` has the suffixes of `formats`, and outlives the report. It is made when the first recording begins.
  FolderReport(const OutputFolder& folder, const std::vector<const ReportFormat*>& formats, const ReportShape& shape);

  void HearWith(const HeardWith& with) override;
  void BeginFile(const std::string& name) override;
  void Add(const Sentence& sentence, int rate_hz) override;
  // One form that cannot hold the recording does not keep the others from it; its failure leaves when they are done.
  void EndFile(const FileEnd& end) override;
  void FailFile(const std::string& message) override;
  void RefuseFile(const std::string& name, const std::string& message) override;
  void End() override;
  // The files of the run appear, if any recording could be opened; as Output does where the run was interrupted.
  void Close(bool interrupted);

 private:
  struct Part {
    std::unique_ptr<Output> output;
    std::unique_ptr<Report> report;
  };
  Part MakePart(const ReportFormat& format, const std::string& path) const;
  void ForAll(const std::function<void(Report&)>& act);

  const OutputFolder& folder_;
  std::vector<const ReportFormat*> formats_;
  ReportShape shape_;
  std::vector<Part> of_recording_;
  std::vector<Part> of_run_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FOLDER_REPORT_H_
