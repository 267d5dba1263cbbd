// SPDX-License-Identifier: Apache-2.0
//
// Settings as struct and as text, their ranges, and the engine's parameters that they become.
#include "stream/settings.h"

#include <cmath>
#include <limits>
#include <map>

#include "stream/settings_table.h"
#include "stream/signals.h"
#include "support/comma_locale.h"

namespace TSEG::stream::testing {
namespace {

TEST(StreamSettings, TextSetsEachByItsName) {
  wvad_settings settings = Settings();
  ASSERT_EQ(wvad_settings_parse(&settings,
                                "threshold=0.5, min_speech=0.1 min_silence=0.25\npad_before=0 pad_after=1 max_sentence=20,"
                                "energy_floor_db=-50 turn_silence=0 still_every=2.5"),
            WVAD_OK);
  EXPECT_EQ(settings.threshold, 0.5);
  EXPECT_EQ(settings.min_speech, 0.1);
  EXPECT_EQ(settings.min_silence, 0.25);
  EXPECT_EQ(settings.pad_before, 0);
  EXPECT_EQ(settings.pad_after, 1);
  EXPECT_EQ(settings.max_sentence, 20);
  EXPECT_EQ(settings.energy_floor_db, -50);
  EXPECT_EQ(settings.turn_silence, 0);
  EXPECT_EQ(settings.still_every, 2.5);
}

TEST(StreamSettings, ProfileInTextYieldsToItsNeighboursWhereverItStands) {
  const wvad_settings before = Settings("profile=fast min_silence=0.33");
  const wvad_settings behind = Settings("min_silence=0.33 profile=fast");
  EXPECT_EQ(before.profile, WVAD_PROFILE_FAST);
  EXPECT_EQ(before.min_silence, 0.33);
  EXPECT_EQ(behind.min_silence, 0.33);
  EXPECT_EQ(before.threshold, behind.threshold);
}

TEST(StreamSettings, TextThatIsRefusedChangesNothing) {
  struct Row {
    const char* text;
    wvad_status status;
    const char* says;
  };
  const Row rows[] = {
      {"threshold=0.5 min_silence=11", WVAD_E_RANGE, "min_silence: 11 s is outside of its range, 0.05 to 10 s"},
      {"threshold=0.5 min_silense=1", WVAD_E_PARAMETER, "\"min_silense\": there is no such setting"},
      {"threshold=0.5 min_silence", WVAD_E_PARAMETER, "\"min_silence\": expected name=value"},
      {"threshold=0.5 =1", WVAD_E_PARAMETER, "\"=1\": expected name=value"},
      {"threshold=half", WVAD_E_RANGE, "threshold: \"half\" is not a number"},
      {"threshold=", WVAD_E_RANGE, "threshold: \"\" is not a number"},
      {"threshold=0.5x", WVAD_E_RANGE, "threshold: \"0.5x\" is not a number"},
      {"threshold=0x1p-1", WVAD_E_RANGE, "threshold: \"0x1p-1\" is not a number"},
      {"threshold=nan", WVAD_E_RANGE, "threshold: nan is outside of its range, 0.01 to 0.99"},
      {"max_sentence=inf", WVAD_E_RANGE, "max_sentence: inf s is outside of its range, 2 to 3600 s"},
      {"turn_silence=0.01", WVAD_E_RANGE, "turn_silence: 0.01 s is outside of its range, 0 or 0.05 to 3600 s"},
      {"profile=slow", WVAD_E_PARAMETER, "profile: there is no \"slow\"; choose default, fast, dictation, meeting or telephone"},
  };
  for (const Row& row : rows) {
    wvad_settings settings = Settings();
    EXPECT_EQ(wvad_settings_parse(&settings, row.text), row.status) << row.text;
    EXPECT_STREQ(wvad_last_error(), row.says);
    EXPECT_EQ(settings.threshold, Settings().threshold) << row.text;
  }
}

void ExpectPoints() {
  EXPECT_EQ(Settings("threshold=0.25").threshold, 0.25);
  EXPECT_EQ(Settings("max_sentence=1234.5").max_sentence, 1234.5);
  EXPECT_EQ(EngineParameter("threshold", 0.25, 16000).second, "0.25");
  EXPECT_EQ(EngineParameter("max_sentence", 1234.5, 16000).second, "1234500");
  wvad_settings settings = Settings();
  EXPECT_EQ(wvad_settings_parse(&settings, "max_sentence=3600.5"), WVAD_E_RANGE);
  EXPECT_STREQ(wvad_last_error(), "max_sentence: 3600.5 s is outside of its range, 2 to 3600 s");
}

TEST(StreamSettings, NumbersHaveAPointInEveryLocale) {
  const testing_support::CommaCLocale comma;
  if (!comma.ok()) GTEST_SKIP() << "no locale with a decimal comma here";
  ExpectPoints();
}

TEST(StreamSettings, NumbersHaveAPointInEveryCxxLocale) {
  const testing_support::CommaLocale comma;
  ExpectPoints();
}

TEST(StreamSettings, BothEndsOfEachRangeAreTakenAndWhatLiesBeyondIsNot) {
  wvad_setting_info info{};
  info.size = sizeof info;
  size_t rows = 0;
  for (; wvad_settings_describe(rows, &info) == 1; ++rows) {
    const SettingRow& row = *FindSetting(info.name);
    for (const double good : {info.low, info.high}) {
      wvad_settings settings = Settings();
      settings.*row.field = good;
      EXPECT_EQ(wvad_settings_check(&settings), WVAD_OK) << info.name << " " << wvad_last_error();
    }
    for (const double bad : {info.low - 1e-6, info.high + 1e-6, std::nan(""), std::numeric_limits<double>::infinity(), -1e300}) {
      wvad_settings settings = Settings();
      settings.*row.field = bad;
      EXPECT_EQ(wvad_settings_check(&settings), WVAD_E_RANGE) << info.name << " " << bad;
    }
    wvad_settings off = Settings();
    off.*row.field = 0;
    if (info.zero_is_off == 1) {
      EXPECT_EQ(wvad_settings_check(&off), WVAD_OK) << info.name;
    }
    EXPECT_EQ(Settings().*row.field, info.initial) << info.name;
    EXPECT_GT(std::string(info.meaning).size(), 5U);
  }
  EXPECT_EQ(rows, 9U);
  EXPECT_EQ(wvad_settings_describe(rows + 1000, &info), 0);
}

TEST(StreamSettings, EveryProfileIsWithinTheRangesAndHasAModel) {
  for (int32_t profile = WVAD_PROFILE_DEFAULT; profile <= WVAD_PROFILE_TELEPHONE; ++profile) {
    wvad_settings settings;
    ASSERT_EQ(wvad_settings_init(&settings, sizeof settings, profile), WVAD_OK);
    EXPECT_EQ(settings.profile, profile);
    EXPECT_EQ(wvad_settings_check(&settings), WVAD_OK) << profile << " " << wvad_last_error();
    EXPECT_NE(wvad_profile_model(profile, 16000), nullptr);
  }
  EXPECT_STREQ(wvad_profile_model(WVAD_PROFILE_FAST, 16000), "lstm_fb40");
  EXPECT_STREQ(wvad_profile_model(WVAD_PROFILE_FAST, 8001), "lstm_fb40");
  EXPECT_STREQ(wvad_profile_model(WVAD_PROFILE_FAST, 8000), "lstm_fb40_8k");
  EXPECT_STREQ(wvad_profile_model(WVAD_PROFILE_TELEPHONE, 4000), "lstm_fb75_8k");
  EXPECT_EQ(wvad_profile_model(5, 16000), nullptr);
  wvad_settings settings = Settings();
  EXPECT_EQ(wvad_settings_init(&settings, sizeof settings, 5), WVAD_E_PARAMETER);
  settings.profile = -1;
  EXPECT_EQ(wvad_settings_check(&settings), WVAD_E_PARAMETER);
}

TEST(StreamSettings, BecomeTheEnginesParameters) {
  wvad_settings settings = Settings("threshold=0.6 min_speech=0.15 min_silence=0.25 pad_before=0.1 pad_after=0.07 max_sentence=12.5");
  std::map<std::string, std::string> engine;
  for (const auto& [name, value] : EngineParameters(settings, 16000, false)) engine[name] = value;
  EXPECT_EQ(engine["wvad_param_vad_threshold"], "0.6");
  EXPECT_EQ(engine["wvad_param_vad_StartPointJudgeWinLen"], "15");
  EXPECT_EQ(engine["wvad_param_nFrameGap"], "25");
  EXPECT_EQ(engine["wvad_param_nFrameStartMargin"], "10");
  EXPECT_EQ(engine["wvad_param_nFrameEndMargin"], "7");
  EXPECT_EQ(engine["wvad_param_nSpeechTimeOut"], "12500");
  EXPECT_EQ(engine["wvad_param_nEnergyThreshhood"], "12");
  EXPECT_EQ(engine["wvad_param_nReadType"], "1");
}

TEST(StreamSettings, EnergyFloorIsTheLogarithmOfAWindowsEnergy) {
  // ln(400 samples * 32768^2) = 26.786 at 0 dB; 4.343 dB are one.
  const std::pair<double, const char*> rows[] = {{-46.84, "16"}, {-64.2, "12"}, {-116, "0"}, {-12, "24"}, {-66.0, "12"}, {-66.8, "11"}};
  for (const auto& [db, number] : rows) EXPECT_EQ(EngineParameter("energy_floor_db", db, 16000).second, number) << db;
  // Half the samples at 8000 Hz.
  EXPECT_EQ(EngineParameter("energy_floor_db", -46.84, 8000).second, "15");
}

}  // namespace
}  // namespace TSEG::stream::testing
