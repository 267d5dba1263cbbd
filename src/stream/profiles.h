// SPDX-License-Identifier: Apache-2.0
//
// The profiles: sets of settings, and how soon the inner parts speak up, which no setting says.
#ifndef WVAD_STREAM_PROFILES_H_
#define WVAD_STREAM_PROFILES_H_

#include <cstdint>
#include <string_view>

#include "wvad_stream.h"

namespace TSEG::stream {

struct Profile {
  int32_t number;
  const char* name;
  // In the order of kSettings.
  double values[9];
  // The bundled model that suits it best, and the one for audio of up to 8000 Hz.
  const char* model;
  const char* narrow_model;
  // Frames of speech in a row after which it may have begun.
  int32_t onset_frames;
  // Resampling with a short filter, which costs some of the highest frequencies.
  bool short_filter;
};

// In the order of their numbers, which are positions too.
inline constexpr Profile kProfiles[] = {
    {WVAD_PROFILE_DEFAULT, "default", {0.7, 0.2, 0.4, 0.3, 0.2, 60, -64.2, 1.8, 0}, "lstm_fb75", "lstm_fb75_8k", 3, false},
    {WVAD_PROFILE_FAST, "fast", {0.5, 0.06, 0.25, 0.2, 0.1, 60, -64.2, 0.6, 0}, "lstm_fb40", "lstm_fb40_8k", 1, true},
    {WVAD_PROFILE_DICTATION, "dictation", {0.7, 0.2, 0.8, 0.4, 0.3, 120, -64.2, 3, 0}, "lstm_fb75", "lstm_fb75_8k", 3, false},
    {WVAD_PROFILE_MEETING, "meeting", {0.6, 0.2, 0.5, 0.3, 0.3, 60, -72.9, 2, 0}, "lstm_fb75", "lstm_fb75_8k", 3, false},
    {WVAD_PROFILE_TELEPHONE, "telephone", {0.7, 0.2, 0.4, 0.3, 0.2, 60, -55.5, 1.2, 0}, "lstm_fb75", "lstm_fb75_8k", 3, false},
};

// The profile, or null.
const Profile* FindProfile(int32_t number);
const Profile* FindProfile(std::string_view name);

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_PROFILES_H_
