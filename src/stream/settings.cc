// SPDX-License-Identifier: Apache-2.0
#include "stream/settings.h"

#include <cmath>
#include <iterator>
#include <optional>

#include "base/number_text.h"
#include "stream/refusal.h"
#include "stream/settings_table.h"

namespace TSEG::stream {
namespace {

static_assert(std::size(kSettings) == std::size(Profile{}.values));

constexpr const char* kForever = "2147483647";
constexpr std::string_view kBetweenEntries = " ,\t\n\r";

// Whole numbers, away from zero at the half.
std::string WholeText(double value) { return std::to_string(std::llround(value)); }

void CheckValue(const SettingRow& row, double value) {
  if (row.zero_is_off && value == 0) return;
  // Written so that what is no number fails too.
  if (value >= row.low && value <= row.high) return;
  const std::string unit = *row.unit == '\0' ? "" : std::string(" ") + row.unit;
  throw Refusal(WVAD_E_RANGE, std::string(row.name) + ": " + ShortestText(value) + unit + " is outside of its range, " +
                                  (row.zero_is_off ? "0 or " : "") + ShortestText(row.low) + " to " + ShortestText(row.high) + unit);
}

// "a, b or c".
std::string NamesOfProfiles() {
  std::string names;
  for (const Profile& profile : kProfiles) {
    const bool last = &profile == std::end(kProfiles) - 1;
    names += (names.empty() ? "" : last ? " or " : ", ") + std::string(profile.name);
  }
  return names;
}

void TakeEntry(std::string_view entry, wvad_settings* settings) {
  const size_t equals = entry.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    throw Refusal(WVAD_E_PARAMETER, "\"" + std::string(entry) + "\": expected name=value");
  }
  const std::string_view name = entry.substr(0, equals);
  const std::string_view value = entry.substr(equals + 1);
  if (name == "profile") return;  // taken before all others
  const SettingRow* row = FindSetting(name);
  if (row == nullptr) throw Refusal(WVAD_E_PARAMETER, "\"" + std::string(name) + "\": there is no such setting");
  const std::optional<double> number = ReadNumber(value);
  if (!number) throw Refusal(WVAD_E_RANGE, std::string(name) + ": \"" + std::string(value) + "\" is not a number");
  CheckValue(*row, *number);
  settings->*row->field = *number;
}

template <typename Step>
void ForEachEntry(std::string_view text, const Step& step) {
  while (!text.empty()) {
    const size_t start = text.find_first_not_of(kBetweenEntries);
    if (start == std::string_view::npos) return;
    text.remove_prefix(start);
    const size_t length = std::min(text.find_first_of(kBetweenEntries), text.size());
    step(text.substr(0, length));
    text.remove_prefix(length);
  }
}

}  // namespace

const Profile* FindProfile(int32_t number) {
  for (const Profile& profile : kProfiles) {
    if (profile.number == number) return &profile;
  }
  return nullptr;
}

const Profile* FindProfile(std::string_view name) {
  for (const Profile& profile : kProfiles) {
    if (name == profile.name) return &profile;
  }
  return nullptr;
}

wvad_settings SettingsOf(const Profile& profile) {
  wvad_settings settings{};
  settings.size = sizeof settings;
  settings.profile = profile.number;
  for (size_t i = 0; i < std::size(kSettings); ++i) settings.*kSettings[i].field = profile.values[i];
  return settings;
}

void ParseSettings(std::string_view text, wvad_settings* settings) {
  wvad_settings taken = *settings;
  constexpr std::string_view kProfile = "profile=";
  ForEachEntry(text, [&](std::string_view entry) {
    if (entry.substr(0, kProfile.size()) != kProfile) return;
    const std::string_view name = entry.substr(kProfile.size());
    const Profile* profile = FindProfile(name);
    if (profile == nullptr)
      throw Refusal(WVAD_E_PARAMETER, "profile: there is no \"" + std::string(name) + "\"; choose " + NamesOfProfiles());
    taken = SettingsOf(*profile);
  });
  ForEachEntry(text, [&](std::string_view entry) { TakeEntry(entry, &taken); });
  *settings = taken;
}

void CheckSettings(const wvad_settings& settings) {
  if (FindProfile(settings.profile) == nullptr) {
    throw Refusal(WVAD_E_PARAMETER, "profile: there is no number " + std::to_string(settings.profile));
  }
  for (const SettingRow& row : kSettings) CheckValue(row, settings.*row.field);
}

std::pair<std::string, std::string> EngineParameter(const char* name, double value, int rate_hz) {
  const SettingRow& row = *FindSetting(name);
  switch (row.engine_unit) {
    case EngineUnit::kNone:
      break;
    case EngineUnit::kAsItIs:
      return {row.engine_name, ShortestText(value)};
    case EngineUnit::kFrames:
      return {row.engine_name, WholeText(value * 100)};
    case EngineUnit::kMilliseconds:
      return {row.engine_name, WholeText(value * 1000)};
    case EngineUnit::kLogEnergy: {
      // The engine's number is the logarithm of the sum of squares over 25 ms, in units of 16-bit samples.
      const double window = rate_hz / 40.0;
      return {row.engine_name, WholeText(std::log(window * 32768.0 * 32768.0) + value * std::log(10.0) / 10)};
    }
  }
  return {};
}

ParameterList EngineParameters(const wvad_settings& settings, int rate_hz, bool features) {
  ParameterList list = {
      {"wvad_param_nReadType", features ? "0" : "1"}, {"wvad_param_nSpeechTailMS", kForever}, {"wvad_param_nResponseTimeOut", kForever}};
  for (const SettingRow& row : kSettings) {
    std::pair<std::string, std::string> parameter = EngineParameter(row.name, settings.*row.field, rate_hz);
    if (!parameter.first.empty()) list.push_back(std::move(parameter));
  }
  return list;
}

}  // namespace TSEG::stream
