// SPDX-License-Identifier: Apache-2.0
//
// The plain names of what is most often set, in seconds and decibels, as the stream library has them (stream/settings_table.h): what the
// user said of them, as the engine's parameters.
#ifndef WVAD_WVAD_PLAIN_SETTINGS_H_
#define WVAD_WVAD_PLAIN_SETTINGS_H_

#include <map>
#include <string>
#include <vector>

#include "stream/settings_table.h"

namespace TSEG::tool {

struct PlainSettings {
  std::string profile;                        // empty: none was asked for
  std::map<std::string, std::string> values;  // what was said, by the row's name; empty for what was not
};

// The option of a row: "--min-silence", and "--energy-floor" without its unit.
std::string OptionOf(const stream::SettingRow& row);
// Whether the program has it: the engine knows the others not.
bool IsOption(const stream::SettingRow& row);

// What the user has said as the stream library's settings. Throws Failure(kBadParameter).
wvad_settings StreamSettings(const PlainSettings& plain);
// NAME=VALUE for each of the engine's parameters that the user has settled by a plain name or a profile; a plain name wins over the
// profile. `rate_hz` is the model's. Throws Failure(kBadParameter).
std::vector<std::string> EngineSettings(const PlainSettings& plain, int rate_hz);
// The entry for the engine's configuration that stands where the user settles no energy floor: the default profile's, below the engine's
// own.
std::string UsualFloor(int rate_hz);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PLAIN_SETTINGS_H_
