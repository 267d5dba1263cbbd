// SPDX-License-Identifier: Apache-2.0
#include "wvad/report_json.h"

#include <charconv>
#include <nlohmann/json.hpp>

#include "wvad/provenance.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// A decimal number as it shall stand in JSON: hundredths exactly, not the nearest double's seventeen digits.
Json Hundredths(double value) { return Json::parse(Fixed(value, 2)); }

Json ToJson(const std::optional<Measures::Value>& value) { return value ? Json::parse(value->text, nullptr, false) : Json(); }
Json Trig(const std::optional<Measures::Value>& value) { return value ? Json(value->bad) : Json(); }

Json ToJson(const SessionQuality& quality, int rate_hz) {
  const Measures measures = MeasuresOf(quality);
  Json json;
  if (quality.channel > 0) json["channel"] = quality.channel;
  json["begin"] = Hundredths(Seconds(quality.begin_sample, rate_hz));
  json["end"] = Hundredths(Seconds(quality.end_sample, rate_hz));
  json["snr"] = ToJson(measures.snr);
  json["snr_trig"] = Trig(measures.snr);
  json["cur"] = ToJson(measures.cur);
  json["cur_trig"] = Trig(measures.cur);
  return json;
}

}  // namespace

std::string Fixed(double value, int digits) {
  char text[400];
  const std::to_chars_result result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits);
  return std::string(text, result.ptr);
}

std::string PartOf(double part, double whole) {
  int digits = 2;
  while (digits < 6 && Fixed(part, digits) == Fixed(whole, digits)) ++digits;
  return Fixed(part, digits) + " of " + Fixed(whole, digits);
}

std::string JsonText(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json ToJson(const Sentence& sentence, int rate_hz) {
  Json json;
  if (sentence.channel > 0) json["channel"] = sentence.channel;
  const double begin = Seconds(sentence.begin_sample, rate_hz);
  const double end = Seconds(sentence.end_sample, rate_hz);
  json["begin"] = Hundredths(begin);
  json["end"] = Hundredths(end);
  json["duration"] = Hundredths(end - begin);
  json["vol"] = sentence.vol ? Json(*sentence.vol) : Json();
  json["trig"] = sentence.trig ? Json(*sentence.trig) : Json();
  json["eg"] = sentence.eg ? Json(*sentence.eg) : Json();
  if (!sentence.saved_as.empty()) json["saved"] = sentence.saved_as;
  return json;
}

Json ToJson(const FileEnd& end) {
  Json json;
  if (!end.quality.empty()) {
    json["quality"] = Json::array();
    for (const SessionQuality& quality : end.quality) json["quality"].push_back(ToJson(quality, end.rate_hz));
  }
  json["heard"] = Hundredths(Seconds(end.samples, end.rate_hz));
  json["stopped_by"] = end.reason;
  json["whole"] = HeardWhole(end);
  if (end.recording.rate_hz > 0) json["recording"] = ProvenanceOfRecording(end);
  if (!end.damage.empty()) json["damage"] = end.damage;
  if (!end.note.empty()) json["note"] = end.note;
  if (!end.others.empty()) {
    Json others = Json::array();
    for (const OtherResult& other : end.others) {
      Json row = Json::parse("{" + other.text + "}", nullptr, false);
      if (row.is_discarded()) continue;
      row["key"] = other.key;
      others.push_back(row);
    }
    json["results"] = others;
  }
  return json;
}

Json ToJson(const Failure& failure) {
  Json json;
  json["error"] = failure.what();
  json["code"] = static_cast<int>(failure.code());
  return json;
}

// A text is a JSON member such as "ws":[{"snr":18.250,"trig":false}].
Measures MeasuresOf(const SessionQuality& quality) {
  Measures measures;
  for (const OtherResult& result : quality.results) {
    if (result.key != "snr" && result.key != "cur") continue;
    const Json text = Json::parse("{" + result.text + "}", nullptr, false);
    if (text.is_discarded() || !text.contains("ws") || text["ws"].empty() || !text["ws"][0].contains(result.key)) continue;
    const Json& row = text["ws"][0];
    if (!row[result.key].is_number()) continue;
    const Measures::Value value{Fixed(row[result.key].get<double>(), 3), row.value("trig", false)};
    (result.key == "snr" ? measures.snr : measures.cur) = value;
  }
  return measures;
}

}  // namespace TSEG::tool
