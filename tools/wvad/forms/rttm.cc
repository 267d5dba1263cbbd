// SPDX-License-Identifier: Apache-2.0
//
// RTTM (NIST, Rich Transcription Evaluation): a SPEAKER line a sentence, whose speaker is "speech".
#include "wvad/forms/forms.h"
#include "wvad/forms/line_report.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

std::string RttmLine(const Line& line) {
  return "SPEAKER " + line.id + " " + std::to_string(line.channel()) + " " + Fixed(line.begin(), 3) + " " +
         Fixed(line.end() - line.begin(), 3) + " <NA> <NA> speech <NA> <NA>\n";
}

}  // namespace

std::unique_ptr<Report> MakeRttm(Output& output, const ReportShape& shape) {
  return std::make_unique<LineReport>(output, shape, LineForm{"", RttmLine, SemicolonComment});
}

}  // namespace TSEG::tool
