// SPDX-License-Identifier: Apache-2.0
//
// wvad explain: what was decided at a place, and why. The energy model calls every frame speech, so the floor decides (signals.h).
#include <nlohmann/json.hpp>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using nlohmann::json;

class Explain : public Program {
 protected:
  json Stretches(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const Outcome run = Run("explain", std::move(arguments));
    EXPECT_EQ(run.code, 0) << run.err;
    return json::parse(run.out).at("files").at(0).at("stretches");
  }
  // The keys of what is told of the first stretch.
  static std::vector<std::string> Keys(const json& stretch) {
    std::vector<std::string> keys;
    for (const json& reason : stretch.at("because")) keys.push_back(reason.at("key"));
    return keys;
  }
  static std::string Words(const json& stretch, const std::string& key) {
    for (const json& reason : stretch.at("because")) {
      if (reason.at("key") == key) return reason.at("words");
    }
    return "not told";
  }
};

using ::testing::ElementsAre;

TEST_F(Explain, WhatIsWrongWithARecordingIsToldAsInSegment) {
  std::vector<int16_t> opposite;
  for (const int16_t sample : Bursts(5, kTwoBursts)) opposite.insert(opposite.end(), {sample, static_cast<int16_t>(-sample)});
  const std::string path = folder_.file("opposite.wav");
  WriteAudio(path, opposite, 16000, 2);
  const std::string note = Segment({path}).err;
  EXPECT_THAT(note, HasSubstr("opposite phase"));
  const Outcome run = Run("explain", {"--json", "--at", "0.5", path});
  EXPECT_EQ(run.err, note);
  EXPECT_THAT(json::parse(run.out)["files"][0]["note"].get<std::string>(), HasSubstr("opposite phase"));
  EXPECT_EQ(Run("explain", {"-q", "--json", "--at", "0.5", path}).err, "");
  const std::string whole = folder_.read("opposite.wav");
  folder_.write("cut.wav", whole.substr(0, whole.size() / 2));
  const Outcome cut = Run("explain", {"-q", "--json", "--at", "0.5-2", folder_.file("cut.wav")});
  EXPECT_EQ(cut.code, 4);
  EXPECT_THAT(json::parse(cut.out)["files"][0]["damage"].get<std::string>(), HasSubstr("cut short"));
}

TEST_F(Explain, SilenceBelowTheFloorIsToldWithItsParameter) {
  const json told = Stretches({Wav("a.wav", 5, kTwoBursts), "--at", "0.5"})[0];
  EXPECT_EQ(told["verdict"], "silence");
  EXPECT_EQ(told["begin"], 0.5);
  EXPECT_EQ(told["end"], 0.51);
  // The frame before it was silence as well, so this one is held over too.
  EXPECT_THAT(Keys(told), ElementsAre("speech_score", "held_over", "below_floor", "no_sentence"));
  EXPECT_THAT(Words(told, "below_floor"), StartsWith("silence: below the energy floor: "));
  EXPECT_THAT(Words(told, "below_floor"), HasSubstr("under 12.00 (wvad_param_nEnergyThreshhood)"));
  EXPECT_THAT(Words(told, "speech_score"), HasSubstr("not below the threshold 0.7 (wvad_param_vad_threshold)"));
  EXPECT_EQ(told["sentence"], nullptr);
}

TEST_F(Explain, BeginIsToldStepByStep) {
  // The first window that reaches into the burst is that of frame 98; two frames are held over, speech counts from 100 on, and a rise at
  // 100 is proved at 120.
  const json told = Stretches({Wav("a.wav", 5, kTwoBursts), "--at", "0.97-1.25"});
  ASSERT_EQ(told.size(), 5U);
  EXPECT_THAT(Keys(told[0]), ElementsAre("speech_score", "held_over", "below_floor", "no_sentence"));
  EXPECT_EQ(told[1]["begin"], 0.98);
  EXPECT_EQ(told[1]["end"], 1.0);
  EXPECT_THAT(Keys(told[1]), ElementsAre("speech_score", "held_over", "above_floor", "no_sentence"));
  EXPECT_EQ(told[1]["verdict"], "silence");
  EXPECT_EQ(told[1]["sentence"]["part"], "margin before");
  EXPECT_EQ(told[2]["begin"], 1.0);
  EXPECT_EQ(told[2]["end"], 1.2);
  EXPECT_EQ(Words(told[2], "waits_for_speech"),
            "waiting for 0.20 s of speech, 0.00 to 0.19 s so far (wvad_param_vad_StartPointJudgeWinLen)");
  EXPECT_EQ(told[2]["sentence"]["part"], "speech");
  EXPECT_EQ(told[3]["begin"], 1.2);
  EXPECT_THAT(Keys(told[3]), ElementsAre("speech_score", "above_floor", "begins"));
  EXPECT_THAT(Keys(told[4]), ElementsAre("speech_score", "above_floor", "in_speech"));
}

TEST_F(Explain, EndIsToldStepByStep) {
  // The fall at 200 is the last frame that the detector takes for speech; with 40 frames behind it the sentence ends.
  const json told = Stretches({Wav("a.wav", 5, kTwoBursts), "--at", "2.3", "--at", "2.4", "--at", "2.41"});
  ASSERT_EQ(told.size(), 3U);
  EXPECT_EQ(Words(told[0], "in_silence"), "in a sentence, 0.30 of 0.40 s of silence (wvad_param_nFrameGap)");
  EXPECT_EQ(told[0]["sentence"], nullptr);  // behind its margin
  EXPECT_THAT(Words(told[1], "ends"), StartsWith("the sentence ends: 0.40 of 0.40 s of silence (wvad_param_nFrameGap)"));
  EXPECT_EQ(Words(told[2], "no_sentence"), "no sentence is open");
}

TEST_F(Explain, SentenceIsToldWithItsNumberAndTimes) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Stretches({path, "--at", "3.2"})[0]["sentence"], (json{{"number", 2}, {"begin", 2.7}, {"end", 3.7}, {"part", "speech"}}));
  EXPECT_EQ(Stretches({path, "--at", "3.6"})[0]["sentence"]["part"], "margin behind");
  EXPECT_EQ(Stretches({path, "--at", "2.5"})[0]["sentence"], nullptr);
  const Outcome text = Run("explain", {path, "--at", "3.6"});
  EXPECT_THAT(text.out, HasSubstr("  sentence   number 2, 2.70 to 3.70 s, in its margin behind the speech (wvad_param_nFrameEndMargin)\n"));
}

TEST_F(Explain, RunThatIsTooShortIsToldAsWaitingAndAsDropped) {
  // 0.05 s counts as speech for 5 frames more than it is held over: less than a click of 10. 0.15 s is a run that waits for more.
  const std::string click = Wav("click.wav", 3, {{1.0, 1.05}});
  EXPECT_THAT(Words(Stretches({click, "--at", "1.05"})[0], "run_dropped"), StartsWith("a run of 0.05 s of speech is dropped"));
  const std::string run = Wav("run.wav", 3, {{1.0, 1.15}});
  EXPECT_EQ(Words(Stretches({run, "--at", "1.25"})[0], "run_waits"),
            "a short run of speech waits for more, 0.10 of 0.40 s (wvad_param_nStartSearchWinGap)");
}

TEST_F(Explain, ThresholdAndAdaptiveFloorAreThoseInForce) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_THAT(Words(Stretches({path, "--at", "1.5", "-s", "wvad_param_vad_threshold=0.25"})[0], "speech_score"),
              HasSubstr("threshold 0.25 "));
  // Before the first computation the adaptive floor stands at 65.
  EXPECT_THAT(Words(Stretches({path, "--at", "0.5", "-s", "wvad_param_k4_energy=1"})[0], "below_floor"),
              HasSubstr("under 65.00 (adaptive, wvad_param_k4_energy)"));
}

TEST_F(Explain, SlidingVariantIsToldInFrames) {
  const json told = Stretches({Wav("a.wav", 5, kTwoBursts), "--at", "1.05", "-s", "wvad_param_isPostProcessWinSlideOn=1"})[0];
  EXPECT_THAT(Words(told, "waits_for_window"), StartsWith("waiting for 15 frames of speech among the last 20, "));
}

TEST_F(Explain, LastFramesHaveNoWholeWindow) {
  const json told = Stretches({Wav("a.wav", 5, kTwoBursts), "--at", "4.99"})[0];
  EXPECT_EQ(told["verdict"], "not decided");
  EXPECT_EQ(Keys(told), std::vector<std::string>{"not_decided"});
}

TEST_F(Explain, PlaceFarBehindARenewalIsOnTheRecordingsClock) {
  // The session is renewed after 240 s without a sentence, and where sound comes back after 10 s of stillness.
  const std::string path = Wav("a.wav", 262, {{1.0, 2.0}, {255.0, 256.0}});
  const json told = Stretches({path, "--at", "254.97-255.02", "--at", "256.3", "--at", "1.5"});
  ASSERT_EQ(told.size(), 5U);
  EXPECT_THAT(Keys(told[1]), ElementsAre("speech_score", "held_over", "above_floor", "no_sentence"));
  EXPECT_EQ(told[1]["begin"], 254.98);
  EXPECT_EQ(told[2]["begin"], 255.0);
  EXPECT_THAT(Words(told[3], "in_silence"), HasSubstr("0.30 of 0.40 s"));
  EXPECT_EQ(told[2]["sentence"]["number"], 2);
  EXPECT_EQ(told[4]["sentence"]["number"], 1);
}

TEST_F(Explain, PiecesOfAnyLengthTellTheSame) {
  const std::string path = Wav("a.wav", 30, {{1.0, 2.0}, {15.0, 16.0}, {16.3, 17.0}});
  const json expected = Stretches({path, "--at", "0-29.9"});
  EXPECT_GT(expected.size(), 15U);
  for (const char* chunk_ms : {"10", "37", "10000"})
    EXPECT_EQ(Stretches({path, "--at", "0-29.9", "--chunk-ms", chunk_ms}), expected) << chunk_ms;
}

TEST_F(Explain, RecordingThatIsLeftEarlyIsNotCalledDamaged) {
  const Outcome run = Run("explain", {std::string(WVAD_TEST_DATA_DIR) + "/../../examples/audio/jfk.flac", "--at", "0.1"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.err, "");
}

TEST_F(Explain, MistakesAreToldBeforeAnyWork) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  ExpectFailure(Run("explain", {path}), 2, "--at is required");
  ExpectFailure(Run("explain", {path, "--at", "x"}), 2, "--at x: expected seconds");
  ExpectFailure(Run("explain", {path, "--at", "3-2"}), 2, "ends before it begins");
  ExpectFailure(Run("explain", {path, "--at", "0-2:00:00"}), 2, "at most an hour");
  ExpectFailure(Run("explain", {path, "--at", "1", "--channel", "all"}), 2, "one channel at a time");
  ExpectFailure(Run("explain", {path, "--at", "3"}), 2, "--at 3 lies behind its end (3.00 s)");
  ExpectFailure(Run("explain", {folder_.file("missing.wav"), "--at", "1"}), 3, "missing.wav");
}

TEST_F(Explain, OutputReplacesNothingUnasked) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string out = folder_.write("out", "mine");
  ExpectFailure(Run("explain", {path, "--at", "1", "-o", folder_.file("out.flac")}), 2,
                "the result is text, and this name is one of sound");
  ExpectFailure(Run("report", {path, "-o", folder_.file("out.wav")}), 2, "the result is text, and this name is one of sound");
  ExpectFailure(Run("explain", {path, "--at", "1", "-o", out}), 8, "out: exists already; --force replaces it");
  ExpectFailure(Run("explain", {path, "--at", "1", "--force", "-o", path}), 8, "in the same run");
  EXPECT_EQ(Run("explain", {path, "--at", "1", "--force", "-o", out}).code, 0);
  EXPECT_THAT(folder_.read("out"), StartsWith("1.00 to 1.01 s: speech\n"));
}

}  // namespace
}  // namespace TSEG::tool
