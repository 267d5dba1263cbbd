// SPDX-License-Identifier: Apache-2.0
#include "wvad/forms/line_report.h"

#include <utility>

#include "wvad/provenance.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {

LineReport::LineReport(Output& output, const ReportShape& shape, LineForm form)
    : TextReport(output), form_(std::move(form)), comments_(form_.comment != nullptr && !shape.details.provenance.empty()) {
  const std::string text = form_.head + (comments_ ? form_.comment(shape.details.provenance) : "");
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
  if (comments_) output_.Write(form_.comment(ProvenanceLine(name_, end)));
}

std::string SemicolonComment(const std::string& text) { return ";; " + text + "\n"; }

std::string HashComment(const std::string& text) { return "# " + text + "\n"; }

}  // namespace TSEG::tool
