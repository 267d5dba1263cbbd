// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/compare_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "wvad/form_of_ending.h"
#include "wvad/report_json.h"

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

std::string TableLine(const std::string& id, size_t id_width, const Comparison& comparison) {
  const Scores scores = ScoresOf(comparison);
  const int64_t scored_us = comparison.hit_us + comparison.miss_us + comparison.false_us + comparison.rest_us;
  std::string line = id + std::string(id_width - id.size(), ' ') + Cell(Fixed(SecondsOf(scored_us), 2), 10) +
                     Cell(Fixed(SecondsOf(comparison.hit_us + comparison.miss_us), 2), 10);
  for (const auto& value : {scores.precision, scores.recall, scores.f1, scores.p_miss, scores.p_false, scores.dcf})
    line += Cell(value, 4, 8);
  line += Cell(std::to_string(comparison.segments), 7) + Cell(std::to_string(comparison.missed), 7) +
          Cell(std::to_string(comparison.false_alarms), 7) + Cell(scores.false_alarms_per_hour, 2, 8);
  for (const auto& value : {scores.onset_median_s, scores.onset_95_s, scores.offset_median_s, scores.offset_95_s})
    line += Cell(value, 3, 8);
  return line + "\n";
}

std::string PrintTable(const std::vector<ComparedRecording>& recordings, double) {
  size_t width = 5;
  for (const ComparedRecording& recording : recordings) width = std::max(width, recording.id.size());
  std::string text = std::string(width, ' ') +
                     "    scored    speech    prec  recall      f1    miss   false     dcf   segs missed  false false/h   onset     95%"
                     "  offset     95%\n";
  for (const ComparedRecording& recording : recordings) text += TableLine(recording.id, width, recording.comparison);
  return recordings.size() == 1 ? text : text + TableLine("total", width, TotalOf(recordings));
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

std::string PrintJson(const std::vector<ComparedRecording>& recordings, double collar_s) {
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
