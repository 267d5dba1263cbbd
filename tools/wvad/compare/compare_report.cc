// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/compare_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "wvad/form_of_ending.h"
#include "wvad/report_json.h"
#include "wvad/shown.h"
#include "wvad/wrapped.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

double SecondsOf(int64_t us) { return static_cast<double>(us) / 1e6; }

Comparison TotalOf(const std::vector<ComparedRecording>& recordings) {
  Comparison total;
  for (const ComparedRecording& recording : recordings) total.Add(recording.comparison);
  return total;
}

std::string Cell(const std::string& text, size_t width) { return std::string(width - std::min(width, text.size()), ' ') + text; }
std::string Cell(const std::optional<double>& value, int digits, size_t width) { return Cell(value ? Fixed(*value, digits) : "-", width); }

// A recording, or the sum of all, in a line of the table.
struct TableRow {
  std::string id;  // as it is shown
  const Comparison* comparison;
  Scores scores;
};

struct TableColumn {
  const char* heading;
  size_t width;
  std::string (*cell)(const TableRow& row, size_t width);
  bool joined = false;  // to the one before it
};

template <std::optional<double> Scores::*kMember, int kDigits>
std::string Score(const TableRow& row, size_t width) {
  return Cell(row.scores.*kMember, kDigits, width);
}

std::string Scored(const TableRow& row, size_t width) {
  const Comparison& comparison = *row.comparison;
  return Cell(Fixed(SecondsOf(comparison.hit_us + comparison.miss_us + comparison.false_us + comparison.rest_us), 2), width);
}

std::string Speech(const TableRow& row, size_t width) {
  return Cell(Fixed(SecondsOf(row.comparison->hit_us + row.comparison->miss_us), 2), width);
}

template <auto Comparison::*kMember>
std::string Count(const TableRow& row, size_t width) {
  return Cell(std::to_string(row.comparison->*kMember), width);
}

constexpr TableColumn kColumns[] = {
    {"scored", 10, Scored},
    {"speech", 10, Speech},
    {"prec", 8, Score<&Scores::precision, 4>},
    {"recall", 8, Score<&Scores::recall, 4>},
    {"f1", 8, Score<&Scores::f1, 4>},
    {"miss", 8, Score<&Scores::p_miss, 4>},
    {"false", 8, Score<&Scores::p_false, 4>},
    {"dcf", 8, Score<&Scores::dcf, 4>},
    {"segs", 7, Count<&Comparison::segments>},
    {"missed", 7, Count<&Comparison::missed>, true},
    {"false", 7, Count<&Comparison::false_alarms>, true},
    {"false/h", 8, Score<&Scores::false_alarms_per_hour, 2>, true},
    {"onset", 8, Score<&Scores::onset_median_s, 3>},
    {"95%", 8, Score<&Scores::onset_95_s, 3>, true},
    {"offset", 8, Score<&Scores::offset_median_s, 3>},
    {"95%", 8, Score<&Scores::offset_95_s, 3>, true},
};

// As many of `columns` as fit into `width` behind the ids, one at least, with those that are joined to it.
std::span<const TableColumn> Fitting(std::span<const TableColumn> columns, size_t id_width, size_t width) {
  size_t taken = id_width;
  size_t fitting = 0;
  for (size_t end = 0; end < columns.size();) {
    do taken += columns[end++].width;
    while (end < columns.size() && columns[end].joined);
    if (fitting > 0 && taken > width) break;
    fitting = end;
  }
  return columns.first(fitting);
}

// Where the columns do not fit beside each other, those that are left follow in a further table.
std::string PrintTable(const std::vector<ComparedRecording>& recordings, double, size_t width) {
  const Comparison total = TotalOf(recordings);
  std::vector<TableRow> rows;
  for (const ComparedRecording& recording : recordings)
    rows.push_back({Shown(recording.id), &recording.comparison, ScoresOf(recording.comparison)});
  if (rows.size() != 1) rows.push_back({"total", &total, ScoresOf(total)});
  size_t id_width = 5;
  for (const TableRow& row : rows) id_width = std::max(id_width, Columns(row.id));
  std::string text;
  for (std::span<const TableColumn> left = kColumns; !left.empty();) {
    const std::span<const TableColumn> columns = Fitting(left, id_width, width);
    text += (text.empty() ? "" : "\n") + std::string(id_width, ' ');
    for (const TableColumn& column : columns) text += Cell(column.heading, column.width);
    text += "\n";
    for (const TableRow& row : rows) {
      text += row.id + std::string(id_width - Columns(row.id), ' ');
      for (const TableColumn& column : columns) text += column.cell(row, column.width);
      text += "\n";
    }
    left = left.subspan(columns.size());
  }
  return text;
}

Json Number(const std::optional<double>& value, int digits) { return value ? Json::parse(Fixed(*value, digits)) : Json(); }

Json ToJson(const Comparison& comparison) {
  const Scores scores = ScoresOf(comparison);
  const auto seconds = [](int64_t us) { return Number(SecondsOf(us), 6); };
  Json json;
  json["hit"] = seconds(comparison.hit_us);
  json["miss"] = seconds(comparison.miss_us);
  json["false"] = seconds(comparison.false_us);
  json["rest"] = seconds(comparison.rest_us);
  json["regions"] = seconds(comparison.region_us);
  json["precision"] = Number(scores.precision, 6);
  json["recall"] = Number(scores.recall, 6);
  json["f1"] = Number(scores.f1, 6);
  json["p_miss"] = Number(scores.p_miss, 6);
  json["p_false"] = Number(scores.p_false, 6);
  json["dcf"] = Number(scores.dcf, 6);
  json["error"] = Number(scores.error, 6);
  json["segments"] = comparison.segments;
  json["missed"] = comparison.missed;
  json["false_alarms"] = comparison.false_alarms;
  json["false_alarms_per_hour"] = Number(scores.false_alarms_per_hour, 6);
  json["onset"] = {
      {"pairs", comparison.onsets_us.size()}, {"median", Number(scores.onset_median_s, 6)}, {"95", Number(scores.onset_95_s, 6)}};
  json["offset"] = {
      {"pairs", comparison.offsets_us.size()}, {"median", Number(scores.offset_median_s, 6)}, {"95", Number(scores.offset_95_s, 6)}};
  return json;
}

std::string PrintJson(const std::vector<ComparedRecording>& recordings, double collar_s, size_t) {
  Json json;
  json["collar"] = Number(collar_s, 6);
  json["recordings"] = Json::array();
  for (const ComparedRecording& recording : recordings) {
    Json row;
    row["recording"] = recording.id;
    row.update(ToJson(recording.comparison));
    json["recordings"].push_back(row);
  }
  json["total"] = ToJson(TotalOf(recordings));
  return json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

constexpr CompareFormat kFormats[] = {{"table", "for people", ".txt", PrintTable}, {"json", "one document", ".json", PrintJson}};

}  // namespace

std::span<const CompareFormat> CompareFormats() { return kFormats; }

const CompareFormat* CompareFormatOfEnding(const std::string& path) {
  return RowOfEnding(CompareFormats(), path, [](const CompareFormat& row) { return row.ending; });
}

}  // namespace TSEG::tool
