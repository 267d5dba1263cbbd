// SPDX-License-Identifier: Apache-2.0
//
// Settings: filled from a profile, read from text, checked, and turned into the engine's parameters.
//
// The struct is the public one, of this library's own size; the border copies what a client of another version hands in.
#ifndef WVAD_STREAM_SETTINGS_H_
#define WVAD_STREAM_SETTINGS_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "stream/profiles.h"
#include "wvad_stream.h"

namespace TSEG::stream {

using ParameterList = std::vector<std::pair<std::string, std::string>>;

// The values of a profile.
wvad_settings SettingsOf(const Profile& profile);
// Takes over entries name=value. On a Refusal `*settings` stays as it was.
void ParseSettings(std::string_view text, wvad_settings* settings);
// Throws Refusal for the first value outside its range, and for a profile that is none.
void CheckSettings(const wvad_settings& settings);
// One parameter as the engine's name and text; `rate_hz` is the model's. Both empty for a setting that the engine does not have.
std::pair<std::string, std::string> EngineParameter(const char* name, double value, int rate_hz);
// All of them, for a session that does not end by itself. `features`: reads hand out features, else PCM.
ParameterList EngineParameters(const wvad_settings& settings, int rate_hz, bool features);

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_SETTINGS_H_
