// SPDX-License-Identifier: Apache-2.0
//
// Sentences and the ends of files as JSON, and numbers as text, the same in every report and index.
#ifndef WVAD_WVAD_REPORT_JSON_H_
#define WVAD_WVAD_REPORT_JSON_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "wvad/recording.h"
#include "wvad/report.h"

namespace TSEG::tool {

// "2.50 of 5.00", with as many decimals, from two to six, as it takes to tell a part from the whole.
std::string PartOf(double part, double whole);
inline double Seconds(int64_t samples, int rate_hz) { return static_cast<double>(samples) / rate_hz; }

// With `digits` decimals, whatever the locale, which a log configuration may have changed: a comma in a number would be no JSON and no CSV.
std::string Fixed(double value, int digits);
// In one line. File names need not be UTF-8; what is not becomes a replacement character.
std::string JsonText(const nlohmann::ordered_json& json);

// begin, end, duration (seconds), vol, trig, eg; channel and saved where they are known.
nlohmann::ordered_json ToJson(const Sentence& sentence, int rate_hz);
// heard, stopped_by, whole, and what there is of recording, damage, note, quality and results.
nlohmann::ordered_json ToJson(const FileEnd& end);

// error and code.
nlohmann::ordered_json ToJson(const Failure& failure);

// What one session's audio-quality results say; a measure is missing where the session was too short for it.
struct Measures {
  struct Value {
    std::string text;  // as the component wrote the number
    bool bad = false;
  };
  std::optional<Value> snr, cur;
};
Measures MeasuresOf(const SessionQuality& quality);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_REPORT_JSON_H_
