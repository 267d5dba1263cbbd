// SPDX-License-Identifier: Apache-2.0
#include "wvad/plain_settings.h"

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using Settings = std::vector<std::string>;

TEST(PlainSettings, WhatIsNotSaidIsLeftToTheEngine) { EXPECT_EQ(EngineSettings({}, 16000), Settings{}); }

TEST(PlainSettings, EachBecomesTheEnginesParameterInItsUnit) {
  PlainSettings plain;
  plain.values = {{"threshold", "0.6"},  {"min_speech", "0.15"}, {"min_silence", "0.25"},     {"pad_before", "0"},
                  {"pad_after", "0.05"}, {"max_sentence", "20"}, {"energy_floor_db", "-46.8"}};
  EXPECT_EQ(EngineSettings(plain, 16000),
            (Settings{"wvad_param_vad_threshold=0.6", "wvad_param_vad_StartPointJudgeWinLen=15", "wvad_param_nFrameGap=25",
                      "wvad_param_nFrameStartMargin=0", "wvad_param_nFrameEndMargin=5", "wvad_param_nSpeechTimeOut=20000",
                      "wvad_param_nEnergyThreshhood=16"}));
}

TEST(PlainSettings, ProfileSettlesAllOfThemAndAPlainNameWins) {
  PlainSettings plain;
  plain.profile = "dictation";
  plain.values = {{"min_silence", "1"}};
  const Settings settings = EngineSettings(plain, 16000);
  EXPECT_EQ(settings.size(), 7U);
  EXPECT_NE(std::find(settings.begin(), settings.end(), "wvad_param_nFrameGap=100"), settings.end());
  EXPECT_NE(std::find(settings.begin(), settings.end(), "wvad_param_nSpeechTimeOut=120000"), settings.end());
}

TEST(PlainSettings, OptionsAreTheNamesWithDashes) {
  EXPECT_EQ(OptionOf(*stream::FindSetting("min_silence")), "--min-silence");
  EXPECT_EQ(OptionOf(*stream::FindSetting("energy_floor_db")), "--energy-floor");
}

class PlainOptions : public Program {
 protected:
  std::string Csv(std::vector<std::string> arguments) {
    const std::string path = folder_.file("a.wav");
    WriteAudio(path, Bursts(5, {{1.0, 2.0}, {2.3, 3.0}}));
    arguments.insert(arguments.begin(), {"segment", "-q", "-f", "csv", "-m", WVAD_TEST_MODEL});
    arguments.push_back(path);
    const Outcome run = Call(arguments);
    EXPECT_EQ(run.code, 0) << run.err;
    return run.out;
  }
};

TEST_F(PlainOptions, ActAsTheirEngineParametersAndSetWins) {
  const std::string usual = Csv({});
  EXPECT_NE(Csv({"--min-silence", "0.2"}), usual);
  EXPECT_EQ(Csv({"--min-silence", "0.2"}), Csv({"--set", "wvad_param_nFrameGap=20"}));
  EXPECT_EQ(Csv({"--min-silence", "0.2", "--set", "wvad_param_nFrameGap=40"}), usual);
  EXPECT_EQ(Csv({"--profile", "dictation", "--pad-before", "0.3", "--pad-after", "0.2", "--min-silence", "0.4"}), usual);
}

TEST_F(PlainOptions, BadValuesAreRefusedWithTheirRange) {
  const std::string path = folder_.file("a.wav");
  WriteAudio(path, Bursts(1, {}));
  for (const std::vector<std::string>& bad : std::vector<std::vector<std::string>>{{"--min-silence", "11"},
                                                                                   {"--threshold", "nan"},
                                                                                   {"--pad-after", "x"},
                                                                                   {"--max-sentence", "5 threshold=0.5"},
                                                                                   {"--profile", "slow"}}) {
    const Outcome run = Call({"segment", "-m", WVAD_TEST_MODEL, bad[0], bad[1], path});
    EXPECT_EQ(run.code, 6) << bad[0];
    EXPECT_NE(run.err.find("wvad: " + bad[0] + ": "), std::string::npos) << run.err;
  }
  ExpectFailure(Call({"segment", "-m", WVAD_TEST_MODEL, "--min-silence", "0,3", path}), 6,
                "--min-silence: \"0,3\" is not a number; a point stands before decimals");
  ExpectFailure(Call({"segment", "-m", WVAD_TEST_MODEL, "--profile", "slow", path}), 6,
                "--profile: there is no \"slow\"; choose default, fast, dictation, meeting or telephone");
  EXPECT_EQ(Call({"segment", "-m", WVAD_TEST_MODEL, "--min-silence", "11", path}).err,
            "wvad: --min-silence: 11 s is outside of its range, 0.05 to 10 s\n");
  EXPECT_EQ(Call({"segment", "-m", WVAD_TEST_MODEL, "--threshold", "", path}).code, 2);
}

TEST_F(PlainOptions, EnergyFloorIsTwelveUnlessAConfigurationOrAnOptionSaysOtherwise) {
  // A burst at -53.5 dB of full scale: 70 in units of 16-bit samples. Its 25 ms windows have the energy ln(400 * 70 * 70) = 14.5.
  std::vector<int16_t> signal = Bursts(4, {{1.0, 2.0}});
  for (int16_t& sample : signal) sample = static_cast<int16_t>(sample * 70 / 8000);
  const std::string path = folder_.file("faint.wav");
  WriteAudio(path, signal);
  const auto sentences = [&](std::vector<std::string> more) {
    more.insert(more.begin(), {"segment", "-q", "-f", "json", "-m", WVAD_TEST_MODEL});
    more.push_back(path);
    const Outcome run = Call(more);
    EXPECT_EQ(run.code, 0) << run.err;
    return Found(run.out).size();
  };
  EXPECT_EQ(sentences({}), 1U);
  EXPECT_EQ(sentences({"--energy-floor", "-46.8"}), 0U);
  EXPECT_EQ(sentences({"--set", "wvad_param_nEnergyThreshhood=16"}), 0U);
  EXPECT_EQ(sentences({"--config", folder_.write("own.cfg", "[vad]\nwvad_param_nEnergyThreshhood = 16\n")}), 0U);
}

}  // namespace
}  // namespace TSEG::tool
