// SPDX-License-Identifier: Apache-2.0
#include "wvad/time_map.h"

#include <functional>
#include <nlohmann/json.hpp>
#include <span>

#include "wvad/form_of_ending.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kDecimals = 6;  // finer than a sample at any rate

std::string SecondsText(const TimeMap& map, int64_t frame) { return Fixed(Seconds(frame, map.rate_hz), kDecimals); }

// Each stretch with its begin in the output; gives the length of that.
int64_t ForEachKept(const TimeMap& map, const std::function<void(const FrameSpan& span, int64_t begin)>& act) {
  int64_t begin = 0;
  for (const FrameSpan& span : map.kept) {
    act(span, begin);
    begin += span.length();
  }
  return begin;
}

std::string ToJsonText(const TimeMap& map) {
  Json head;
  head["source"] = map.source;
  head["output"] = map.output;
  head["rate"] = map.rate_hz;
  head["source_frames"] = map.frames;
  head["frames"] = ForEachKept(map, [](const FrameSpan&, int64_t) {});
  if (!map.made_by.empty()) head["made_by"] = Json::parse(map.made_by);
  const std::string text = JsonText(head);
  std::string rows;
  ForEachKept(map, [&](const FrameSpan& span, int64_t begin) {
    Json row;
    row["source_begin_frame"] = span.begin;
    row["source_end_frame"] = span.end;
    row["begin_frame"] = begin;
    row["end_frame"] = begin + span.length();
    row["source_begin"] = Json::parse(SecondsText(map, span.begin));
    row["source_end"] = Json::parse(SecondsText(map, span.end));
    row["begin"] = Json::parse(SecondsText(map, begin));
    row["end"] = Json::parse(SecondsText(map, begin + span.length()));
    rows += (rows.empty() ? "\n  " : ",\n  ") + JsonText(row);
  });
  return text.substr(0, text.size() - 1) + ",\n\"kept\":[" + rows + "]}\n";
}

std::string ToCsv(const TimeMap& map) {
  std::string text = "source_begin_frame,source_end_frame,begin_frame,end_frame,source_begin,source_end,begin,end\n";
  ForEachKept(map, [&](const FrameSpan& span, int64_t begin) {
    const int64_t places[] = {span.begin, span.end, begin, begin + span.length()};
    for (const int64_t place : places) text += std::to_string(place) + ",";
    for (const int64_t& place : places) text += SecondsText(map, place) + (&place == &places[3] ? "\n" : ",");
  });
  return text;
}

constexpr MapForm kForms[] = {{"json", ".json", ToJsonText}, {"csv", ".csv", ToCsv}};

}  // namespace

const MapForm* MapFormOfEnding(const std::string& path) {
  return RowOfEnding(std::span<const MapForm>(kForms), path, [](const MapForm& form) { return form.ending; });
}

}  // namespace TSEG::tool
