// SPDX-License-Identifier: Apache-2.0
#include "wvad/resume.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "wvad/byte_source.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/input.h"
#include "wvad/messages.h"
#include "wvad/new_file.h"
#include "wvad/recording_files.h"
#include "wvad/report_json.h"
#include "wvad/shown.h"
#include "wvad/text_report.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// The bytes of a file, none if it cannot be read.
std::optional<std::string> BytesOf(const std::string& path) {
  if (LookAt(path).kind != FileKind::kFile) return std::nullopt;
  std::ifstream in(PathOf(path), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The next whole line with its end; empty where there is none.
std::string_view TakeLine(std::string_view* rest) {
  const size_t end = rest->find('\n');
  if (end == std::string_view::npos) return {};
  const std::string_view line = rest->substr(0, end + 1);
  rest->remove_prefix(end + 1);
  return line;
}

// Whether a text that broke off is one that begins with `begin`.
bool BeginsSo(std::string_view text, std::string_view begin) { return text.substr(0, begin.size()) == begin.substr(0, text.size()); }

// As a name stands in JSON, where bytes that are no UTF-8 have been replaced.
std::string InJson(const std::string& name) { return Json::parse(JsonText(name)).get<std::string>(); }

// Where recordings stand among those of the run.
class Place {
 public:
  explicit Place(const std::vector<std::string>& files) : files_(files) {}
  // The number of the recording that is called so, at `from` or behind it: those between them have left no row. None if there is none.
  template <typename Spelling>
  std::optional<size_t> Find(size_t from, const std::string& name, const Spelling& spelling) const {
    for (size_t i = from; i < files_.size(); ++i) {
      if (spelling(files_[i]) == name) return i;
    }
    return std::nullopt;
  }

 private:
  const std::vector<std::string>& files_;
};

void AddOnce(std::vector<std::string>& list, const std::string& text) {
  if (std::find(list.begin(), list.end(), text) == list.end()) list.push_back(text);
}

bool IsTextIfAny(const Json& row, const char* key) { return !row.contains(key) || row[key].is_string(); }

// None where it is a code that the program does not have.
std::optional<ExitCode> CodeOf(const Json& end) {
  if (!end.contains("code")) return end.contains("damage") || end.contains("error") ? ExitCode::kNotAudio : ExitCode::kSuccess;
  return end["code"].is_number_integer() ? ExitCodeOf(end["code"].get<int64_t>()) : std::nullopt;
}

std::optional<ExitCode> CodeOf(const std::string& field) {
  const std::optional<int> number = ParseInt(field);
  return number ? ExitCodeOf(*number) : std::nullopt;
}

void AddCode(ExitCode code, const std::string& file, Kept* kept) {
  if (code == ExitCode::kSuccess) return;
  if (kept->code == ExitCode::kSuccess) kept->code = code;
  kept->failed.push_back(file);
}

// None if it is no begin of this run's result.
std::optional<Kept> FromLines(const std::string& text, const std::vector<std::string>& files) {
  const Place place(files);
  std::string_view rest = text;
  Kept kept;
  std::string rows;
  bool any = false;
  size_t sure = 0;
  for (std::string_view line = TakeLine(&rest); !line.empty(); line = TakeLine(&rest)) {
    const Json row = Json::parse(line, nullptr, false);
    if (!row.is_object() || !row.contains("event")) return std::nullopt;
    if (!row.contains("file")) {
      if (any) return std::nullopt;
      continue;  // what is said of the run as a whole is said anew
    }
    any = true;
    if (!row["file"].is_string() || !IsTextIfAny(row, "stopped_by")) return std::nullopt;
    const std::optional<size_t> index = place.Find(kept.files, row["file"].get<std::string>(), InJson);
    if (!index) return std::nullopt;
    rows += line;
    const auto at = static_cast<size_t>(line.data() - text.data());
    // A sentence that was open when the run was interrupted ends otherwise.
    if (row["event"] != "end") {
      sure = at + std::min(line.find(",\"end\":"), line.size());
      continue;
    }
    if (row.value("stopped_by", "") == kInterruptedReason) break;
    const std::optional<ExitCode> code = CodeOf(row);
    if (!code) return std::nullopt;
    sure = at + line.size();
    kept.rows += rows;
    rows.clear();
    if (row.contains("made_by")) AddOnce(kept.made_by, JsonText(row["made_by"]));
    kept.files = *index + 1;
    AddCode(*code, files[*index], &kept);
  }
  if (!BeginsSo(rest, "{\"event\":")) return std::nullopt;
  kept.sure = sure;
  return kept;
}

// The fields of a row of CSV, which may hold line ends in quotes. None where it is not whole.
std::optional<std::vector<std::string>> TakeFields(std::string_view* rest) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (size_t i = 0; i < rest->size(); ++i) {
    const char c = (*rest)[i];
    if (c == '"') {
      // Two of them in quotes are one.
      if (quoted && i + 1 < rest->size() && (*rest)[i + 1] == '"') {
        fields.back() += '"';
        ++i;
      } else {
        quoted = !quoted;
      }
    } else if (!quoted && c == ',') {
      fields.emplace_back();
    } else if (!quoted && c == '\n') {
      rest->remove_prefix(i + 1);
      return fields;
    } else {
      fields.back() += c;
    }
  }
  return std::nullopt;
}

// The columns that matter here, by the heading; behind all others where there is none.
struct Columns {
  explicit Columns(const std::vector<std::string>& heading)
      : code(IndexOf(heading, "code")), begin(IndexOf(heading, "begin")), held(IndexOf(heading, "held")) {}
  static size_t IndexOf(const std::vector<std::string>& heading, const char* name) {
    return static_cast<size_t>(std::find(heading.begin(), heading.end(), name) - heading.begin());
  }
  static std::string Of(const std::vector<std::string>& row, size_t column) { return column < row.size() ? row[column] : ""; }

  size_t code, begin, held;
};

// How far a row of a table of sentences has to be found again by a run that goes on, from the row's own begin: a sentence that was open
// when the run was interrupted ends otherwise.
size_t SurePart(const std::vector<std::string>& row, const Columns& columns, size_t length) {
  if (columns.begin >= row.size()) return length;
  size_t sure = 0;
  for (size_t i = 0; i <= columns.begin; ++i) sure += CsvField(row[i]).size() + (i > 0 ? 1 : 0);
  return std::min(sure, length);
}

// How many of the scores of a recording that was interrupted have to be found again. The last ones were decided without what follows them,
// and, where a begin is heard together, those of one of which not all had been heard, without its mean.
size_t SureScores(size_t count) {
  constexpr size_t kBegin = 300, kEnd = 100;
  return count < kBegin ? 0 : count - kEnd;
}

std::optional<Kept> FromCsv(const std::string& text, const std::vector<std::string>& files) {
  const auto as_it_is = [](const std::string& name) { return name; };
  const Place place(files);
  std::string_view rest = text;
  Kept kept;
  const std::optional<std::vector<std::string>> heading = TakeFields(&rest);
  if (!heading) {
    if (!BeginsSo(text, "file,")) return std::nullopt;
    kept.sure = text.size();
    return kept;
  }
  if (heading->front() != "file") return std::nullopt;
  const Columns columns(*heading);
  const std::string_view body = rest;
  size_t at = 0;               // the begin of the row
  size_t sure = 0;             // how much of the rows is found again
  std::vector<size_t> begins;  // of the rows of the last recording
  std::optional<size_t> last;
  ExitCode last_code = ExitCode::kSuccess;
  while (const std::optional<std::vector<std::string>> row = TakeFields(&rest)) {
    const std::optional<size_t> index = place.Find(last.value_or(0), row->front(), as_it_is);
    if (!index) return std::nullopt;
    if (index != last) {
      kept.rows = body.substr(0, at);
      kept.files = *index;
      if (last) AddCode(last_code, files[*last], &kept);
      last_code = ExitCode::kSuccess;
      sure = at;
      begins.clear();
    }
    last = index;
    begins.push_back(at);
    const size_t end = body.size() - rest.size();
    const std::string code = Columns::Of(*row, columns.code);
    if (code.empty()) {
      sure = at + SurePart(*row, columns, end - at);
    } else {
      const std::optional<ExitCode> known = CodeOf(code);
      if (!known) return std::nullopt;
      last_code = *known;
      sure = kept.rows.size();  // what was wrong with it may have been mended
    }
    at = end;
  }
  if (columns.held < heading->size() && !begins.empty()) sure = begins[SureScores(begins.size())];
  kept.sure = text.size() - body.size() + sure;
  return kept;
}

}  // namespace

void SayFailedBefore(const std::string& output, const std::vector<std::string>& failed) {
  if (failed.empty()) return;
  const size_t others = failed.size() - 1;
  SayFailure(Shown(output) + ": tells of " + Shown(failed[0]) + (others > 0 ? " and " + std::to_string(others) + " more" : "") +
             ", which failed or could be heard in part alone in the run before");
}

Failure NotBegunSo(const std::string& path) {
  return Failure(ExitCode::kOutput, path + ": is not what a run with these recordings has begun; --resume leaves it alone");
}

std::string RecordingOfCsv(const std::string& path) {
  constexpr size_t kHeadingAndRow = 1 << 16;
  const std::string text = ReadWhole(path, kHeadingAndRow);
  std::string_view rest = text;
  const std::optional<std::vector<std::string>> heading = TakeFields(&rest);
  const std::optional<std::vector<std::string>> row = heading ? TakeFields(&rest) : std::nullopt;
  return row && heading->front() == "file" ? row->front() : "";
}

void CheckSameWay(const std::string& path, const std::string& made_by, const std::vector<std::string>& ways) {
  if (std::find(ways.begin(), ways.end(), made_by) != ways.end()) return;
  const Json then = Json::parse(made_by, nullptr, false);
  const Json now = Json::parse(ways.at(0));
  std::string others;
  for (const char* key : {"program", "model", "model_sha256", "parameters"}) {
    if (then.is_object() && then.contains(key) && then[key] != now[key]) {
      others = std::string(key) + " " + JsonText(then[key]) + ", not " + JsonText(now[key]);
      break;
    }
  }
  throw Failure(ExitCode::kOutput,
                path + ": was begun in another way (" + others + "); --resume does not mix results. Go on as it was begun, or begin anew");
}

namespace {

// What `read` understands of the two files.
Kept WhatIsThere(const std::string& output, const std::vector<std::string>& files, const std::vector<std::string>& ways,
                 std::optional<Kept> (*read)(const std::string& text, const std::vector<std::string>& files)) {
  Kept best;
  std::string best_path;
  Kept there;
  for (const std::string& path : {output, NameOfPart(output)}) {
    const std::optional<std::string> text = BytesOf(path);
    if (!text) continue;
    const std::optional<Kept> kept = read(*text, files);
    if (!kept) throw NotBegunSo(path);
    for (const std::string& made_by : kept->made_by) CheckSameWay(path, made_by, ways);
    if (path == output) {
      there.there = *text;
      there.sure = kept->sure;
    }
    if (kept->files < best.files) continue;
    best = *kept;
    best_path = path;
  }
  for (size_t i = 0; i < best.files; ++i) {
    if (!IsRecordingNewer(files[i], best_path)) continue;
    throw Failure(ExitCode::kOutput, best_path + ": tells of " + Shown(files[i]) + ", which has been written to since; begin anew");
  }
  best.there = there.there;
  best.sure = there.sure;
  return best;
}

}  // namespace

Kept KeepWhatIsThere(const std::string& output, const std::string& format, const std::vector<std::string>& files,
                     const std::vector<std::string>& ways, bool replace) {
  const auto read = format == "jsonl" ? FromLines : format == "csv" ? FromCsv : nullptr;
  if (read == nullptr) throw Failure(ExitCode::kUsage, "--resume: goes with --format jsonl or csv, which can be gone on with");
  if (output.empty() || output == "-") throw Failure(ExitCode::kUsage, "--resume: needs --output FILE, whose rows are gone on with");
  try {
    return WhatIsThere(output, files, ways, read);
  } catch (const Failure& failure) {
    if (!replace || failure.code() != ExitCode::kOutput) throw;
    return {};
  }
}

}  // namespace TSEG::tool
