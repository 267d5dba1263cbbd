// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/properties.h"

#include <algorithm>
#include <cstring>

namespace TSEG::gst {
namespace {

enum PropertyId : guint { kNone, kMode, kModel, kProfile, kChannel, kPostMessages, kPostProbabilities, kFirstSetting };

constexpr int kMostChannels = 65535;

// In the order of the stream library's table, which has ranges and meanings.
constexpr double wvad_settings::*kFields[kSettingCount] = {
    &wvad_settings::threshold,       &wvad_settings::min_speech,   &wvad_settings::min_silence,
    &wvad_settings::pad_before,      &wvad_settings::pad_after,    &wvad_settings::max_sentence,
    &wvad_settings::energy_floor_db, &wvad_settings::turn_silence, &wvad_settings::still_every};

wvad_setting_info Describe(size_t index) {
  wvad_setting_info info{};
  info.size = sizeof info;
  wvad_settings_describe(index, &info);
  return info;
}

wvad_settings SettingsOf(int32_t profile) {
  wvad_settings settings{};
  wvad_settings_init(&settings, sizeof settings, profile);
  return settings;
}

GType ProfileType() {
  static const GEnumValue values[] = {{WVAD_PROFILE_DEFAULT, "Conversation and recordings", "default"},
                                      {WVAD_PROFILE_FAST, "A machine that answers: early begins and ends", "fast"},
                                      {WVAD_PROFILE_DICTATION, "Pauses for thought belong to the sentence", "dictation"},
                                      {WVAD_PROFILE_MEETING, "Distant and quiet talkers", "meeting"},
                                      {WVAD_PROFILE_TELEPHONE, "Narrow band, noise of the line", "telephone"},
                                      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("GstWvadProfile", values);
  return type;
}

GType ModeType() {
  static const GEnumValue values[] = {{static_cast<int>(Mode::kPass), "All audio passes, at once", "pass"},
                                      {static_cast<int>(Mode::kCut), "Only sentences pass, at their own times", "cut"},
                                      {static_cast<int>(Mode::kMute), "What lies outside of sentences becomes silence", "mute"},
                                      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("GstWvadMode", values);
  return type;
}

GParamFlags Flags(GParamFlags more) { return static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | more); }
GParamFlags Playing() { return Flags(static_cast<GParamFlags>(GST_PARAM_MUTABLE_PLAYING)); }
GParamFlags Ready() { return Flags(static_cast<GParamFlags>(GST_PARAM_MUTABLE_READY)); }

void InstallSetting(GObjectClass* object_class, size_t index) {
  const wvad_setting_info info = Describe(index);
  std::string name = info.name;
  std::replace(name.begin(), name.end(), '_', '-');
  std::string blurb = info.meaning;
  blurb[0] = g_ascii_toupper(blurb[0]);
  if (std::strcmp(info.unit, "s") == 0) blurb += " (seconds)";
  if (std::strcmp(info.unit, "dB") == 0) blurb += " (dB)";
  const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING);
  GParamSpec* spec =
      g_param_spec_double(name.c_str(), name.c_str(), blurb.c_str(), info.zero_is_off != 0 ? 0 : info.low, info.high, info.initial, flags);
  g_object_class_install_property(object_class, kFirstSetting + static_cast<guint>(index), spec);
}

}  // namespace

void Properties::Install(GObjectClass* object_class) {
  g_object_class_install_property(object_class, kMode,
                                  g_param_spec_enum("mode", "Mode", "What becomes of audio outside of sentences", ModeType(),
                                                    static_cast<int>(Mode::kPass), Playing()));
  g_object_class_install_property(
      object_class, kModel,
      g_param_spec_string("model", "Model",
                          "Name of a bundled model (lstm_fb75, lstm_fb40, dnn_fb75, lstm_fb75_8k, lstm_fb40_8k) or path of a model file; "
                          "the one that suits profile and rate if none is given",
                          nullptr, Ready()));
  g_object_class_install_property(
      object_class, kProfile,
      g_param_spec_enum("profile", "Profile", "Occasion whose values the settings have that are not set by themselves", ProfileType(),
                        WVAD_PROFILE_DEFAULT, Playing()));
  g_object_class_install_property(
      object_class, kChannel,
      g_param_spec_int("channel", "Channel", "Channel that is listened to, from 1; 0 for the mean of all", 0, kMostChannels, 0, Playing()));
  g_object_class_install_property(
      object_class, kPostMessages,
      g_param_spec_boolean("post-messages", "Post messages", "Post an element message on the bus for each event", TRUE, Playing()));
  g_object_class_install_property(object_class, kPostProbabilities,
                                  g_param_spec_boolean("post-probabilities", "Post probabilities",
                                                       "Post the probability of speech of each 10 ms, too", FALSE, Playing()));
  for (size_t i = 0; i < kSettingCount; ++i) InstallSetting(object_class, i);
}

bool Properties::Set(guint id, const GValue* value) {
  const std::lock_guard<std::mutex> guard(lock_);
  switch (id) {
    case kMode:
      given_.mode = static_cast<Mode>(g_value_get_enum(value));
      break;
    case kModel: {
      const char* text = g_value_get_string(value);
      given_.model = text != nullptr ? text : "";
      break;
    }
    case kProfile:
      profile_ = g_value_get_enum(value);
      break;
    case kChannel:
      given_.channel = g_value_get_int(value);
      break;
    case kPostMessages:
      given_.post_messages = g_value_get_boolean(value) != FALSE;
      break;
    case kPostProbabilities:
      given_.post_probabilities = g_value_get_boolean(value) != FALSE;
      break;
    default: {
      if (id < kFirstSetting || id >= kFirstSetting + kSettingCount) return false;
      const size_t index = id - kFirstSetting;
      const double wanted = g_value_get_double(value);
      // Between "off" and the smallest value there is nothing that could be meant.
      set_[index] = wanted > 0 ? std::max(wanted, Describe(index).low) : wanted;
    }
  }
  ++changes_;
  return true;
}

bool Properties::Get(guint id, GValue* value) const {
  const Configuration now = Copy();
  switch (id) {
    case kMode:
      g_value_set_enum(value, static_cast<int>(now.mode));
      return true;
    case kModel:
      g_value_set_string(value, now.model.empty() ? nullptr : now.model.c_str());
      return true;
    case kProfile:
      g_value_set_enum(value, now.settings.profile);
      return true;
    case kChannel:
      g_value_set_int(value, now.channel);
      return true;
    case kPostMessages:
      g_value_set_boolean(value, now.post_messages ? TRUE : FALSE);
      return true;
    case kPostProbabilities:
      g_value_set_boolean(value, now.post_probabilities ? TRUE : FALSE);
      return true;
    default:
      if (id < kFirstSetting || id >= kFirstSetting + kSettingCount) return false;
      g_value_set_double(value, now.settings.*kFields[id - kFirstSetting]);
      return true;
  }
}

Configuration Properties::Copy() const {
  const std::lock_guard<std::mutex> guard(lock_);
  Configuration copy = given_;
  copy.settings = SettingsOf(profile_);
  for (size_t i = 0; i < kSettingCount; ++i) {
    if (set_[i]) copy.settings.*kFields[i] = *set_[i];
  }
  return copy;
}

uint64_t Properties::changes() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return changes_;
}

}  // namespace TSEG::gst
