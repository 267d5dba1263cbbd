// SPDX-License-Identifier: Apache-2.0
//
// CSV (RFC 4180) and the same with tabs: a heading names the columns. Where it names them between semicolons, so are the fields, as
// spreadsheets write them that have a comma before decimals; there and between tabs times may have one. Where a segment begins and where it
// ends, or how long it is, are needed, in seconds or, where the heading says so ("start_ms", "begin (ms)"), milliseconds; a file names the
// recording. Blanks round names and times do not count. Columns that say the same thing twice have to agree in each row, as far as their
// decimals go.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "wvad/compare/annotation.h"
#include "wvad/failure.h"
#include "wvad/recording_name.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

struct Row {
  std::vector<std::string> fields = std::vector<std::string>(1);
  int line = 1;  // where it begins
  bool empty() const { return fields.size() == 1 && fields[0].empty(); }
};

// Throws Failure(kNotAudio) with the row's line.
[[noreturn]] void Refuse(const Row& row, const std::string& words) {
  throw Failure(ExitCode::kNotAudio, "line " + std::to_string(row.line) + ": " + words);
}

// The first `most` of them.
std::vector<Row> Rows(const std::string& text, char separator, size_t most = SIZE_MAX) {
  std::vector<Row> rows;
  Row row;
  int line = 1;
  bool quoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\n') ++line;
    if (quoted && c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
      row.fields.back() += text[i++];
    } else if (c == '"' && (quoted || row.fields.back().empty())) {
      quoted = !quoted;
    } else if (!quoted && c == separator) {
      row.fields.emplace_back();
    } else if (!quoted && c == '\n') {
      if (row.fields.back().ends_with('\r')) row.fields.back().pop_back();
      rows.push_back(std::exchange(row, Row{.line = line}));
      if (rows.size() == most) return rows;
    } else {
      row.fields.back() += c;
    }
  }
  if (quoted) throw Failure(ExitCode::kNotAudio, "a quote is not closed");
  if (!row.empty()) rows.push_back(row);
  return rows;
}

// What a heading calls a column, in small letters, with its unit off.
struct ColumnName {
  std::string name;
  int64_t unit_us = 1000000;
};

std::string Trimmed(const std::string& text) {
  const size_t begin = text.find_first_not_of(" \t");
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

// "Start Time [s]" is "start_time_(s)".
std::string Plain(const std::string& heading) {
  std::string name;
  for (const char c : Trimmed(heading)) {
    const bool opens = c == '(' || c == '[';
    if (opens && !name.empty() && name.back() != '_') name += '_';
    name += opens ? '(' : c == ']' ? ')' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c == ' ' ? '_' : c;
  }
  return name;
}

ColumnName NameOf(const std::string& heading) {
  struct Unit {
    std::string_view ending;
    int64_t us;
  };
  static constexpr Unit kUnits[] = {{"_milliseconds", 1000}, {"_msec", 1000},   {"_ms", 1000},   {"_(ms)", 1000},   {"_seconds", 1000000},
                                    {"_secs", 1000000},      {"_sec", 1000000}, {"_s", 1000000}, {"_(s)", 1000000}, {"_time", 1000000}};
  ColumnName column;
  column.name = Plain(heading);
  column.name.erase(0, std::min(column.name.find_first_not_of('_'), column.name.size()));
  column.name.resize(column.name.find_last_not_of('_') + 1);
  for (const Unit& unit : kUnits) {
    if (!column.name.ends_with(unit.ending)) continue;
    column.name.resize(column.name.size() - unit.ending.size());
    column.unit_us = std::min(column.unit_us, unit.us);
  }
  return column;
}

// What a field says, and how far that may be off for its decimals.
struct Time {
  int64_t us = 0;
  int64_t off_us = 0;
  bool Agrees(const Time& other) const { return std::abs(us - other.us) <= off_us + other.off_us; }
};

struct Column {
  size_t at;
  int64_t unit_us;
  std::string name;  // as the heading has it

  std::string TextIn(const Row& row) const { return Trimmed(row.fields[at]); }
  Time Of(const Row& row) const {
    const std::string text = TextIn(row);
    const int64_t shrink = 1000000 / unit_us;
    const size_t point = text.find('.');
    int64_t step_us = unit_us;
    for (size_t i = point; i != std::string::npos && i + 1 < text.size() && step_us > 1; ++i) step_us /= 10;
    return {ParseSeconds(text) / shrink, step_us / 2 + 1};
  }
};
using Columns = std::vector<Column>;

class Heading {
 public:
  // `row` outlives it.
  explicit Heading(const Row& row) : row_(row) {
    for (const std::string& name : row.fields) columns_.push_back(NameOf(name));
  }
  // The columns with one of these names, in the order of the names.
  Columns Find(std::initializer_list<const char*> names) const {
    Columns found;
    for (const char* name : names) {
      for (size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i].name == name) found.push_back({i, columns_[i].unit_us, Trimmed(row_.fields[i])});
      }
    }
    for (size_t i = 1; i < found.size(); ++i) {
      if (found[i].name == found[i - 1].name) Refuse(row_, "the heading names " + Shown(found[i].name) + " twice");
    }
    return found;
  }

 private:
  const Row& row_;
  std::vector<ColumnName> columns_;
};

std::string Joined(const Row& row) {
  std::string text;
  for (const std::string& name : row.fields) text += (text.empty() ? "" : ", ") + Shown(name);
  return text;
}

// What all of the columns say.
Time Agreed(const Columns& columns, const Row& row) {
  const Time time = columns[0].Of(row);
  for (const Column& other : columns) {
    if (!other.Of(row).Agrees(time)) Refuse(row, Shown(columns[0].name) + " and " + Shown(other.name) + " contradict each other");
  }
  return time;
}

// The columns of times that a table has.
struct TimeColumns {
  explicit TimeColumns(const Heading& heading)
      : begin(heading.Find({"begin", "start", "onset", "tmin", "starttime"})),
        end(heading.Find({"end", "stop", "tmax", "offset", "endtime"})),
        duration(heading.Find({"duration", "dur", "length"})) {
    // Beside a duration alone it is where a segment begins.
    if (begin.empty() && !duration.empty()) begin = std::exchange(end, {});
  }
  bool enough() const { return !begin.empty() && !(end.empty() && duration.empty()); }

  Span SpanIn(const Row& row) const {
    const Time from = Agreed(begin, row);
    if (end.empty()) return SpanOf(from.us, from.us + Agreed(duration, row).us);
    const Time to = Agreed(end, row);
    if (!duration.empty()) {
      const Time length = Agreed(duration, row);
      if (!Time{from.us + length.us, from.off_us + length.off_us}.Agrees(to))
        Refuse(row, Shown(end[0].name) + " and " + Shown(duration[0].name) + " contradict each other");
    }
    return SpanOf(from.us, to.us);
  }

  Columns begin, end, duration;
};

// The mark before decimals in the times of a table, which is one and the same in all of them.
class DecimalMark {
 public:
  // Puts a point for it. Throws Failure(kNotAudio) where the table has had the other one.
  void Normalise(Row* row, const Column& column) {
    std::string& field = row->fields[column.at];
    const size_t at = field.find_first_of(",.");
    if (at == std::string::npos) return;
    const char mark = field[at];
    if (mark_ == 0) mark_ = mark;
    if (mark != mark_ || field.find_first_of(",.", at + 1) != std::string::npos)
      Refuse(*row, "\"" + Shown(column.TextIn(*row)) + "\" is no time in seconds" + (mark != mark_ ? Other() : ""));
    field[at] = '.';
  }

 private:
  std::string Other() const { return std::string(" where others have a decimal ") + (mark_ == ',' ? "comma" : "point"); }

  char mark_ = 0;
};

// What stands between the fields of a table with commas, or with semicolons where those alone make the heading one of times.
char SeparatorOf(const std::string& text) {
  const auto names_times = [&text](char separator) {
    const std::vector<Row> first = Rows(text, separator, 1);
    return !first.empty() && TimeColumns(Heading(first[0])).enough();
  };
  return text.substr(0, text.find('\n')).find(';') != std::string::npos && !names_times(',') && names_times(';') ? ';' : ',';
}

Annotation ReadColumns(const std::string& text, const std::string& id, char separator) {
  std::vector<Row> rows = Rows(text, separator);
  const Row names = rows.empty() ? Row() : rows[0];
  const Heading heading(names);
  const Columns file =
      heading.Find({"file", "filename", "file_name", "path", "filepath", "audio_filepath", "recording", "recording_id", "uri"});
  const Columns error = heading.Find({"error"});
  const TimeColumns times(heading);
  if (!times.enough()) {
    const std::string words = "the heading has to name begin (or start), and end or duration; it names ";
    if (rows.empty()) throw Failure(ExitCode::kNotAudio, words + "nothing");
    throw NoAnnotation(words + Joined(names));
  }
  Annotation annotation;
  if (file.empty()) annotation[id];
  DecimalMark decimal_mark;
  for (size_t i = 1; i < rows.size(); ++i) {
    Row& row = rows[i];
    if (row.empty()) continue;
    for (const Columns* needed : {&file, &error, &times.begin, &times.end, &times.duration}) {
      for (const Column& column : *needed) {
        if (column.at >= row.fields.size()) Refuse(row, "too few fields");
      }
    }
    if (!error.empty() && !row.fields[error[0].at].empty()) continue;  // a recording that failed
    for (const Columns* of_times : {&times.begin, &times.end, &times.duration}) {
      if (separator == ',') break;
      for (const Column& column : *of_times) decimal_mark.Normalise(&row, column);
    }
    try {
      AnnotatedRecording& recording = file.empty() ? annotation[id] : RecordingNamed(annotation, Trimmed(row.fields[file[0].at]));
      recording.speech.push_back(times.SpanIn(row));
    } catch (const Failure& failure) {
      if (std::string_view(failure.what()).starts_with("line ")) throw;
      Refuse(row, failure.what());
    }
  }
  return annotation;
}

}  // namespace

Annotation ReadCsv(const std::string& text, const std::string& id) { return ReadColumns(text, id, SeparatorOf(text)); }
Annotation ReadTsv(const std::string& text, const std::string& id) { return ReadColumns(text, id, '\t'); }

}  // namespace TSEG::tool
