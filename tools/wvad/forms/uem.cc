// SPDX-License-Identifier: Apache-2.0
//
// UEM (NIST): file, channel, begin, end of each region that is to be worked on, here of each sentence.
#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

std::string UemLine(const HeardRecording& recording, const Sentence& sentence) {
  return recording.id + " " + ChannelOf(sentence) + " " + Fixed(recording.begin_s(sentence), 3) + " " + Fixed(recording.end_s(sentence), 3);
}

}  // namespace

std::unique_ptr<Report> MakeUem(Output& output, const ReportShape& shape) { return MakeNistDocument(output, shape, UemLine); }

}  // namespace TSEG::tool
