// SPDX-License-Identifier: Apache-2.0
//
// The one table of settings: name, unit, range, field, and the engine's parameter behind it. Text, checks, the description that clients
// read, and the profiles' pages go by it.
#ifndef WVAD_STREAM_SETTINGS_TABLE_H_
#define WVAD_STREAM_SETTINGS_TABLE_H_

#include <string_view>

#include "wvad_stream.h"

namespace TSEG::stream {

// What becomes of a value on its way to the engine.
enum class EngineUnit {
  kNone,          // the engine has no such parameter
  kAsItIs,        // a float
  kFrames,        // seconds as frames of 10 ms
  kMilliseconds,  // seconds as ms
  kLogEnergy      // dB of full scale as the natural logarithm of a window's energy, whole
};

struct SettingRow {
  const char* name;
  const char* unit;
  double low;
  double high;
  bool zero_is_off;
  double wvad_settings::*field;
  const char* engine_name;
  EngineUnit engine_unit;
  const char* meaning;
};

inline constexpr SettingRow kSettings[] = {
    {"threshold", "", 0.01, 0.99, false, &wvad_settings::threshold, "wvad_param_vad_threshold", EngineUnit::kAsItIs,
     "probability of speech from which 10 ms are speech"},
    {"min_speech", "s", 0.03, 2, false, &wvad_settings::min_speech, "wvad_param_vad_StartPointJudgeWinLen", EngineUnit::kFrames,
     "how long speech has to last to begin a sentence"},
    {"min_silence", "s", 0.05, 10, false, &wvad_settings::min_silence, "wvad_param_nFrameGap", EngineUnit::kFrames,
     "silence that ends a sentence; half of it in one of over 10 s"},
    {"pad_before", "s", 0, 2, false, &wvad_settings::pad_before, "wvad_param_nFrameStartMargin", EngineUnit::kFrames,
     "put before the first speech of a sentence"},
    {"pad_after", "s", 0, 2, false, &wvad_settings::pad_after, "wvad_param_nFrameEndMargin", EngineUnit::kFrames,
     "put behind the last speech of a sentence"},
    {"max_sentence", "s", 2, 3600, false, &wvad_settings::max_sentence, "wvad_param_nSpeechTimeOut", EngineUnit::kMilliseconds,
     "longest sentence"},
    {"energy_floor_db", "dB", -116, -12, false, &wvad_settings::energy_floor_db, "wvad_param_nEnergyThreshhood", EngineUnit::kLogEnergy,
     "level of full scale under which nothing is speech"},
    {"turn_silence", "s", 0.05, 3600, true, &wvad_settings::turn_silence, "", EngineUnit::kNone,
     "silence behind a sentence after which the turn is over; 0 for never"},
    {"still_every", "s", 0.1, 3600, true, &wvad_settings::still_every, "", EngineUnit::kNone, "between two reports of silence; 0 for none"},
};

// The row of `name`, or null.
constexpr const SettingRow* FindSetting(std::string_view name) {
  for (const SettingRow& row : kSettings) {
    if (name == row.name) return &row;
  }
  return nullptr;
}

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_SETTINGS_TABLE_H_
