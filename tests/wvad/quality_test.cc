// SPDX-License-Identifier: Apache-2.0
//
// wvad quality: what the audio-quality component measures of a recording.
#include <cstdlib>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

class Quality : public Program {
 protected:
  // A square wave (period 20 ms) of the given amplitudes, each for so many seconds.
  std::string Steps(const std::string& name, const std::vector<std::pair<double, int>>& steps, int rate_hz = 16000) {
    std::vector<int16_t> signal;
    for (const auto& [seconds, amplitude] : steps) {
      const size_t end = signal.size() + static_cast<size_t>(seconds * rate_hz + 0.5);
      while (signal.size() < end) {
        const bool up = (signal.size() / (static_cast<size_t>(rate_hz) / 100)) % 2 == 0;
        signal.push_back(static_cast<int16_t>(up ? amplitude : -amplitude));
      }
    }
    const std::string path = folder_.file(name);
    WriteAudio(path, signal, rate_hz);
    return path;
  }
  static nlohmann::json First(const Outcome& run) { return nlohmann::json::parse(run.out).at("files").at(0); }
};

// Power is that of the amplitude: 800 lies 20 dB under 8000. The quiet part is 30 % of the windows, so the 15th percentile lies in it, and
// the two together are 90 %, so the 80th lies in the middle part. The measure takes 2.5 off: 17.5.
const std::vector<std::pair<double, int>> kKnownDistance = {{3, 800}, {6, 8000}, {1, 16000}};

TEST_F(Quality, DistanceBetweenLoudAndQuietIsMeasured) {
  const nlohmann::json file = First(Run("quality", {"-f", "json", Steps("a.wav", kKnownDistance)}));
  ASSERT_EQ(file["quality"].size(), 1U);
  const nlohmann::json& quality = file["quality"][0];
  EXPECT_NEAR(quality["snr"].get<double>(), 17.5, 0.001);
  EXPECT_EQ(quality["snr_trig"], false);
  EXPECT_EQ(quality["cur"], 0.0);
  EXPECT_EQ(quality["cur_trig"], false);
  EXPECT_EQ(quality["begin"], 0.0);
  EXPECT_EQ(quality["end"], 10.0);
}

TEST_F(Quality, ThresholdsCanBeSet) {
  const std::string path = Steps("a.wav", kKnownDistance);
  EXPECT_EQ(First(Run("quality", {"-f", "json", "-s", "wkel_param_snr_threshold=17", path}))["quality"][0]["snr_trig"], false);
  EXPECT_EQ(First(Run("quality", {"-f", "json", "-s", "wkel_param_snr_threshold=18", path}))["quality"][0]["snr_trig"], true);
  const std::string config = folder_.write("my.cfg", "[kel]\nwkel_param_snr_threshold = 18\n");
  EXPECT_EQ(First(Run("quality", {"-f", "json", "--config", config, path}))["quality"][0]["snr_trig"], true);
  ExpectFailure(Run("quality", {"-q", "-s", "wkel_param_snr_threshold=much", path}), 6, "is not a number");
  ExpectFailure(Run("quality", {"-q", "-s", "wkel_param_sampleRate=44100", path}), 6, "is not 16000, 8000 or 6000");
  ExpectFailure(Run("quality", {"-q", "-s", "wvad_param_bKelOn=0", path}), 6, "settled by the command");
}

// Windows of 30 ms begin every 20 ms: 499 in 10 s. Those that reach into the clipped stretch from 3 to 5 s begin from 2.98 to 4.98 s: 101.
TEST_F(Quality, ShareOfClippedWindowsAtEachRate) {
  const std::vector<std::pair<double, int>> steps = {{3, 1000}, {2, 32767}, {5, 1000}};
  for (const int rate : {16000, 8000}) {
    const std::string set = "VAD_PARAM_SAMPLERATE=" + std::to_string(rate);
    const nlohmann::json quality = First(Run("quality", {"-f", "json", "-s", set, Steps("a.wav", steps, rate)}))["quality"][0];
    EXPECT_EQ(quality["cur"], 0.202) << rate;
    EXPECT_EQ(quality["cur_trig"], true) << rate;
  }
}

TEST_F(Quality, TableHasTheSentencesAndTheMeasures) {
  const Outcome run = Run("quality", {Steps("a.wav", kKnownDistance)});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_THAT(run.out, StartsWith("     begin       end  duration     vol      eg\n"));
  EXPECT_THAT(run.out, HasSubstr("\n      from        to       snr            cur\n      0.00     10.00    17.500  ok      0.000  ok\n"));
}

TEST_F(Quality, SentencesAreThoseOfSegment) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  const Outcome run = Run("quality", {"-f", "json", path});
  EXPECT_EQ(Found(run.out), kTwoSentences);
  EXPECT_EQ(First(run)["sentences"], First(Segment({"-f", "json", path}))["sentences"]);
}

TEST_F(Quality, TooShortForAMeasureIsNull) {
  // Fewer than 0.35 s.
  const Outcome run = Run("quality", {"-f", "json", Steps("a.wav", {{0.3, 800}})});
  EXPECT_EQ(run.code, 0);
  EXPECT_TRUE(First(run)["quality"][0]["snr"].is_null());
  EXPECT_EQ(First(run)["quality"][0]["cur"], 0.0);
  EXPECT_THAT(Run("quality", {folder_.file("a.wav")}).out, HasSubstr("      0.00      0.30         -          0.000  ok\n"));
}

TEST_F(Quality, EndpointMeasuresWhatALiveClientHears) {
  const nlohmann::json file = First(Run("quality", {"--endpoint", "-f", "json", Wav("a.wav", 10, {{1.0, 2.0}, {7.0, 8.0}})}));
  EXPECT_EQ(file["stopped_by"], "tail silence");
  ASSERT_EQ(file["quality"].size(), 1U);
  EXPECT_EQ(file["quality"][0]["end"], file["heard"]);
  EXPECT_TRUE(file["quality"][0]["snr"].is_number());
}

TEST_F(Quality, OutputFileIsNotReplacedWithoutForce) {
  const std::string path = Steps("a.wav", kKnownDistance);
  const std::string out = folder_.write("q.json", "mine");
  ExpectFailure(Run("quality", {"-f", "json", "-o", out, path}), 8, "q.json: exists already; --force replaces it");
  EXPECT_EQ(folder_.read("q.json"), "mine");
  EXPECT_EQ(Run("quality", {"-f", "json", "--force", "-o", out, path}).code, 0);
  EXPECT_EQ(nlohmann::json::parse(folder_.read("q.json"))["files"].size(), 1U);
}

}  // namespace
}  // namespace TSEG::tool
