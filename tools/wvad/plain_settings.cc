// SPDX-License-Identifier: Apache-2.0
#include "wvad/plain_settings.h"

#include "stream/refusal.h"
#include "stream/settings.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

// One entry of text into `settings`. What would be several entries is no number.
void Take(const std::string& option, const std::string& name, const std::string& value, wvad_settings* settings) {
  if (value.find_first_of(" ,\t\r\n") != std::string::npos) {
    const bool decimal_comma = value.find_first_not_of("0123456789,-") == std::string::npos;
    throw Failure(ExitCode::kBadParameter, option + ": \"" + value.substr(0, value.find_first_of("\r\n")) + "\" is not a " +
                                               (decimal_comma ? "number; a point stands before decimals" : "value"));
  }
  try {
    stream::ParseSettings(name + "=" + value, settings);
  } catch (const stream::Refusal& refusal) {
    // The library's message begins with its own name of the setting.
    const std::string message = refusal.what();
    const bool named = message.starts_with(name + ": ");
    throw Failure(ExitCode::kBadParameter, option + (named ? message.substr(name.size()) : ": " + message));
  }
}

bool IsSaid(const PlainSettings& plain, const stream::SettingRow& row) {
  const auto said = plain.values.find(row.name);
  return said != plain.values.end() && !said->second.empty();
}

}  // namespace

std::string OptionOf(const stream::SettingRow& row) {
  std::string option = "--" + std::string(row.name);
  if (option.ends_with("_db")) option.resize(option.size() - 3);
  for (char& c : option) {
    if (c == '_') c = '-';
  }
  return option;
}

bool IsOption(const stream::SettingRow& row) { return row.engine_unit != stream::EngineUnit::kNone; }

wvad_settings StreamSettings(const PlainSettings& plain) {
  wvad_settings settings = stream::SettingsOf(stream::kProfiles[0]);
  if (!plain.profile.empty()) Take("--profile", "profile", plain.profile, &settings);
  for (const stream::SettingRow& row : stream::kSettings) {
    if (IsOption(row) && IsSaid(plain, row)) Take(OptionOf(row), row.name, plain.values.at(row.name), &settings);
  }
  return settings;
}

std::vector<std::string> EngineSettings(const PlainSettings& plain, int rate_hz) {
  const wvad_settings settings = StreamSettings(plain);
  std::vector<std::string> list;
  for (const stream::SettingRow& row : stream::kSettings) {
    if (!IsOption(row) || (!IsSaid(plain, row) && plain.profile.empty())) continue;
    const auto [name, value] = stream::EngineParameter(row.name, settings.*row.field, rate_hz);
    list.push_back(name + "=" + value);
  }
  return list;
}

std::string UsualFloor(int rate_hz) {
  const auto [name, value] = stream::EngineParameter("energy_floor_db", stream::SettingsOf(stream::kProfiles[0]).energy_floor_db, rate_hz);
  return name + " = " + value + "\n";
}

}  // namespace TSEG::tool
