// SPDX-License-Identifier: Apache-2.0
//
// STM (NIST sclite): file, channel, speaker, begin, end, label, and the words, which are for people to fill in.
#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

std::string StmLine(const HeardRecording& recording, const Sentence& sentence) {
  return recording.id + " " + ChannelOf(sentence) + " unknown " + Fixed(recording.begin_s(sentence), 3) + " " +
         Fixed(recording.end_s(sentence), 3) + " <o,,unknown>";
}

}  // namespace

std::unique_ptr<Report> MakeStm(Output& output, const ReportShape& shape) { return MakeNistDocument(output, shape, StmLine); }

}  // namespace TSEG::tool
