// SPDX-License-Identifier: Apache-2.0
//
// CTM (NIST sclite): file, channel, begin, length, word. The word is "speech".
#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

std::string CtmLine(const HeardRecording& recording, const Sentence& sentence) {
  const double begin = recording.begin_s(sentence);
  return recording.id + " " + ChannelOf(sentence) + " " + Fixed(begin, 3) + " " + Fixed(recording.end_s(sentence) - begin, 3) + " speech";
}

}  // namespace

std::unique_ptr<Report> MakeCtm(Output& output, const ReportShape& shape) { return MakeNistDocument(output, shape, CtmLine); }

}  // namespace TSEG::tool
