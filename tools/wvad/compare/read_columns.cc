// SPDX-License-Identifier: Apache-2.0
//
// CSV (RFC 4180) and the same with tabs: a heading names the columns. "begin" (or "start", "onset") and "end" (or "offset") or "duration"
// are needed; "file" names the recording.
#include <algorithm>
#include <initializer_list>
#include <utility>

#include "wvad/compare/annotation.h"
#include "wvad/failure.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {
namespace {

using Row = std::vector<std::string>;

std::vector<Row> Rows(const std::string& text, char separator) {
  std::vector<Row> rows;
  Row row(1);
  bool quoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quoted && c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
      row.back() += text[i++];
    } else if (c == '"' && (quoted || row.back().empty())) {
      quoted = !quoted;
    } else if (!quoted && c == separator) {
      row.emplace_back();
    } else if (!quoted && c == '\n') {
      if (!row.back().empty() && row.back().back() == '\r') row.back().pop_back();
      rows.push_back(std::exchange(row, Row(1)));
    } else {
      row.back() += c;
    }
  }
  if (quoted) throw Failure(ExitCode::kNotAudio, "a quote is not closed");
  if (row != Row(1)) rows.push_back(row);
  return rows;
}

// The column of the first of these names, -1 if there is none.
int Column(const Row& heading, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const auto found = std::find(heading.begin(), heading.end(), name);
    if (found != heading.end()) return static_cast<int>(found - heading.begin());
  }
  return -1;
}

Annotation ReadColumns(const std::string& text, const std::string& id, char separator) {
  const std::vector<Row> rows = Rows(text, separator);
  const Row heading = rows.empty() ? Row() : rows[0];
  const int file = Column(heading, {"file"});
  const int begin = Column(heading, {"begin", "start", "onset"});
  const int error = Column(heading, {"error"});
  const int end = Column(heading, {"end", "offset"});
  const int duration = Column(heading, {"duration"});
  if (begin < 0 || (end < 0 && duration < 0)) {
    throw Failure(ExitCode::kNotAudio, "the heading has to name begin, and end or duration");
  }
  Annotation annotation;
  if (file < 0) annotation[id];
  for (size_t i = 1; i < rows.size(); ++i) {
    if (rows[i] == Row(1)) continue;
    const auto field = [&](int column) {
      if (static_cast<size_t>(column) >= rows[i].size())
        throw Failure(ExitCode::kNotAudio, "row " + std::to_string(i + 1) + " is too short");
      return rows[i][static_cast<size_t>(column)];
    };
    if (error >= 0 && !field(error).empty()) continue;  // a recording that failed
    const int64_t begin_us = ParseSeconds(field(begin));
    const int64_t end_us = end >= 0 ? ParseSeconds(field(end)) : begin_us + ParseSeconds(field(duration));
    annotation[file < 0 ? id : RecordingId(field(file))].speech.push_back(SpanOf(begin_us, end_us));
  }
  return annotation;
}

}  // namespace

Annotation ReadCsv(const std::string& text, const std::string& id) { return ReadColumns(text, id, ','); }
Annotation ReadTsv(const std::string& text, const std::string& id) { return ReadColumns(text, id, '\t'); }

}  // namespace TSEG::tool
