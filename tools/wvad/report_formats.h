// SPDX-License-Identifier: Apache-2.0
//
// The forms that a report takes, in one table. Options, help and documents go by it: a row is all that a new form needs beside its class.
#ifndef WVAD_WVAD_REPORT_FORMATS_H_
#define WVAD_WVAD_REPORT_FORMATS_H_

#include <memory>
#include <span>

#include "wvad/output.h"
#include "wvad/report.h"

namespace TSEG::tool {

// What is told, whatever the form.
struct ReportShape {
  bool several = false;   // more than one file, so that each is named
  bool summary = false;   // a table closes with its sums
  bool saved = false;     // sentences have the names of their files as a further column or member
  bool channels = false;  // and the channel that they were heard on
};

struct ReportFormat {
  const char* name;
  const char* words;  // what it is, for the help
  bool measures;      // it has room for what `wvad quality` measures
  std::unique_ptr<Report> (*make)(Output& output, const ReportShape& shape);
};

// The first one is the default.
std::span<const ReportFormat> ReportFormats();
// Those that have room for measures.
std::span<const ReportFormat> MeasuringFormats();

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_REPORT_FORMATS_H_
