// SPDX-License-Identifier: Apache-2.0
//
// The forms of a report, one class each behind the makers that report_formats.cc lists: what they share is that they append text to one
// output.
#ifndef WVAD_WVAD_TEXT_REPORT_H_
#define WVAD_WVAD_TEXT_REPORT_H_

#include <memory>

#include "wvad/output.h"
#include "wvad/report.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {

class TextReport : public Report {
 public:
  explicit TextReport(Output& output) : output_(output) {}
  bool on_terminal() const override { return output_.is_terminal(); }
  // Most forms have no room for a recording that failed, and nothing behind the last one.
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}

 protected:
  Output& output_;
};

std::unique_ptr<Report> MakeTable(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeJsonDocument(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeJsonLines(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeCsv(Output& output, const ReportShape& shape);
std::unique_ptr<Report> MakeTsv(Output& output, const ReportShape& shape);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_TEXT_REPORT_H_
