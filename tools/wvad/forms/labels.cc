// SPDX-License-Identifier: Apache-2.0
//
// A label track of Audacity: begin, end and label between tabs.
#include "wvad/forms/forms.h"
#include "wvad/forms/line_report.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

std::string LabelLine(const Line& line) {
  const std::string channel = line.sentence.channel > 0 ? " " + std::to_string(line.sentence.channel) : "";
  return Fixed(line.begin(), 6) + "\t" + Fixed(line.end(), 6) + "\tspeech" + channel + "\n";
}

}  // namespace

std::unique_ptr<Report> MakeLabels(Output& output, const ReportShape& shape) {
  return std::make_unique<LineReport>(output, shape, LineForm{"", LabelLine});
}

}  // namespace TSEG::tool
