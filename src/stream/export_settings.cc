// SPDX-License-Identifier: Apache-2.0
//
// The exported functions about settings and profiles.
#include <iterator>

#include "stream/handles.h"
#include "stream/last_error.h"
#include "stream/settings.h"
#include "stream/settings_table.h"
#include "stream/sized_struct.h"
#include "wvad_stream.h"

using namespace TSEG::stream;

const char* wvad_profile_model(int32_t profile, int32_t rate_hz) {
  const Profile* found = FindProfile(profile);
  if (found == nullptr) return nullptr;
  // Audio of no more holds nothing above 4 kHz, the band that a narrow model knows.
  constexpr int32_t kNarrowRate = 8000;
  return rate_hz <= kNarrowRate ? found->narrow_model : found->model;
}

wvad_status wvad_settings_init(wvad_settings* settings, size_t size, int32_t profile) {
  return AtBorder([&] {
    NeedPointer(settings, "settings");
    CheckSize(size, kFirstSize<wvad_settings>, "wvad_settings");
    const Profile* found = FindProfile(profile);
    if (found == nullptr) throw Refusal(WVAD_E_PARAMETER, "profile: there is no number " + std::to_string(profile));
    const uint32_t given = static_cast<uint32_t>(std::min<size_t>(size, sizeof *settings));
    settings->size = given;
    HandOut(settings, SettingsOf(*found), "wvad_settings");
    return WVAD_OK;
  });
}

wvad_status wvad_settings_parse(wvad_settings* settings, const char* text) {
  return AtBorder([&] {
    NeedPointer(settings, "settings");
    NeedPointer(text, "text");
    wvad_settings taken = TakeIn(settings, SettingsOf(kProfiles[0]), "wvad_settings");
    ParseSettings(text, &taken);
    HandOut(settings, taken, "wvad_settings");
    return WVAD_OK;
  });
}

wvad_status wvad_settings_check(const wvad_settings* settings) {
  return AtBorder([&] {
    NeedPointer(settings, "settings");
    CheckSettings(TakeIn(settings, SettingsOf(kProfiles[0]), "wvad_settings"));
    return WVAD_OK;
  });
}

wvad_status wvad_settings_describe(size_t index, wvad_setting_info* info) {
  return AtBorder([&] {
    NeedPointer(info, "info");
    CheckSize(SizeOf(info), kFirstSize<wvad_setting_info>, "wvad_setting_info");
    if (index >= std::size(kSettings)) return 0;
    const SettingRow& row = kSettings[index];
    wvad_setting_info told{};
    told.name = row.name;
    told.unit = row.unit;
    told.low = row.low;
    told.high = row.high;
    told.zero_is_off = row.zero_is_off ? 1 : 0;
    told.initial = kProfiles[0].values[index];
    told.engine_name = row.engine_name;
    told.meaning = row.meaning;
    HandOut(info, told, "wvad_setting_info");
    return 1;
  });
}
