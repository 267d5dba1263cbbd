// SPDX-License-Identifier: Apache-2.0
//
// CSV (RFC 4180) and the same with tabs: a heading names the columns. Where a segment begins and where it ends, or how long it is, are
// needed, in seconds or, where the heading says so ("start_ms", "begin (ms)"), milliseconds; a file names the recording.
#include <algorithm>
#include <initializer_list>
#include <string_view>
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

// What a heading calls a column, in small letters, with its unit off.
struct ColumnName {
  std::string name;
  int64_t unit_us = 1000000;
};

ColumnName NameOf(const std::string& heading) {
  struct Unit {
    std::string_view ending;
    int64_t us;
  };
  static constexpr Unit kUnits[] = {{"_milliseconds", 1000}, {"_msec", 1000},   {"_ms", 1000},   {"_(ms)", 1000},   {"_seconds", 1000000},
                                    {"_secs", 1000000},      {"_sec", 1000000}, {"_s", 1000000}, {"_(s)", 1000000}, {"_time", 1000000}};
  ColumnName column;
  for (const char c : heading) column.name += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c == ' ' ? '_' : c;
  column.name.erase(0, std::min(column.name.find_first_not_of('_'), column.name.size()));
  column.name.resize(column.name.find_last_not_of('_') + 1);
  for (const Unit& unit : kUnits) {
    if (!column.name.ends_with(unit.ending)) continue;
    column.name.resize(column.name.size() - unit.ending.size());
    column.unit_us = std::min(column.unit_us, unit.us);
  }
  return column;
}

// A column of times: -1 where there is none.
struct TimeColumn {
  int at = -1;
  int64_t unit_us = 0;
  int64_t Us(const std::string& text) const { return ParseSeconds(text) / (1000000 / unit_us); }
};

class Heading {
 public:
  explicit Heading(const Row& row) {
    for (const std::string& name : row) columns_.push_back(NameOf(name));
  }
  // The column of the first of these names.
  TimeColumn Find(std::initializer_list<const char*> names) const {
    for (const char* name : names) {
      for (size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i].name == name) return {static_cast<int>(i), columns_[i].unit_us};
      }
    }
    return {};
  }

 private:
  std::vector<ColumnName> columns_;
};

std::string Joined(const Row& row) {
  std::string text;
  for (const std::string& name : row) text += (text.empty() ? "" : ", ") + name;
  return text;
}

Annotation ReadColumns(const std::string& text, const std::string& id, char separator) {
  const std::vector<Row> rows = Rows(text, separator);
  const Heading heading(rows.empty() ? Row() : rows[0]);
  const int file =
      heading.Find({"file", "filename", "file_name", "path", "filepath", "audio_filepath", "recording", "recording_id", "uri"}).at;
  const int error = heading.Find({"error"}).at;
  TimeColumn begin = heading.Find({"begin", "start", "onset", "tmin"});
  TimeColumn end = heading.Find({"end", "stop", "tmax", "offset"});
  const TimeColumn duration = heading.Find({"duration", "dur", "length"});
  // Beside a duration alone it is where a segment begins.
  if (begin.at < 0 && duration.at >= 0) begin = std::exchange(end, {});
  if (begin.at < 0 || (end.at < 0 && duration.at < 0)) {
    throw Failure(ExitCode::kNotAudio, "the heading has to name begin (or start), and end or duration; it names " +
                                           (rows.empty() ? "nothing" : Joined(rows[0])));
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
    const int64_t begin_us = begin.Us(field(begin.at));
    const int64_t end_us = end.at >= 0 ? end.Us(field(end.at)) : begin_us + duration.Us(field(duration.at));
    annotation[file < 0 ? id : RecordingId(field(file))].speech.push_back(SpanOf(begin_us, end_us));
  }
  return annotation;
}

}  // namespace

Annotation ReadCsv(const std::string& text, const std::string& id) { return ReadColumns(text, id, ','); }
Annotation ReadTsv(const std::string& text, const std::string& id) { return ReadColumns(text, id, '\t'); }

}  // namespace TSEG::tool
