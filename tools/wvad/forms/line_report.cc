// SPDX-License-Identifier: Apache-2.0
#include "wvad/forms/line_report.h"

#include <utility>

#include "wvad/provenance.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {

LineReport::LineReport(Output& output, const ReportShape& shape, LineForm form)
    : TextReport(output), form_(std::move(form)), provenance_(form_.comment != nullptr ? shape.details.provenance : "") {
  const std::string text = form_.head + (provenance_.empty() ? "" : form_.comment(provenance_));
  if (!text.empty()) output_.Write(text);
}

void LineReport::BeginFile(const std::string& name) {
  name_ = name;
  number_ = 0;
}

void LineReport::Add(const Sentence& sentence, int rate_hz) {
  output_.Write(form_.line(Line{name_, RecordingId(name_), ++number_, rate_hz, sentence}));
}

void LineReport::EndFile(const FileEnd& end) {
  if (!provenance_.empty()) output_.Write(form_.comment(ProvenanceLine(name_, end, provenance_)));
}

std::string SemicolonComment(const std::string& text) { return ";; " + text + "\n"; }

std::string HashComment(const std::string& text) { return "# " + text + "\n"; }

}  // namespace TSEG::tool
