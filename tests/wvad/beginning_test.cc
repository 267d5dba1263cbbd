// SPDX-License-Identifier: Apache-2.0
//
// How a recording begins: at once, with the usual means, or with --slow-start as sessions of the exported functions do.
#include "session/tseg_inst.h"
#include "wvad/arrays.h"
#include "wvad/engine.h"
#include "wvad/program_fixture.h"
#include "wvad/recording.h"

namespace TSEG::tool {
namespace {

const std::string kRoot = std::string(WVAD_TEST_DATA_DIR) + "/../..";
const std::string kSpeech = kRoot + "/examples/audio/jfk.flac";
const std::string kModel = kRoot + "/models/lstm_fb75.bin";

class Beginning : public Program {
 protected:
  nlohmann::json Heard(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"segment", "-q", "-f", "json", "-m", kModel});
    const Outcome run = Call(arguments);
    EXPECT_EQ(run.code, 0) << run.err;
    return nlohmann::json::parse(run.out);
  }
};

// The frames that the calls of the exported functions find.
std::vector<int> FoundByTheFunctions(Engine& engine, std::vector<int16_t> samples) {
  WVADInst inst = nullptr;
  EXPECT_EQ(engine.core().CreateInst(&inst), WVAD_SUCCESS);
  EXPECT_EQ(engine.core().Start(inst), WVAD_SUCCESS);
  WVadAudioSample piece{};
  piece.pData = samples.data();
  piece.len = static_cast<uint32_t>(samples.size() * sizeof(int16_t));
  piece.status = WVAD_WRITE_LAST;
  EXPECT_EQ(engine.core().AudioWrite(inst, &piece), WVAD_SUCCESS);
  std::vector<int> frames(64);
  frames.resize(static_cast<size_t>(engine.core().QueryEPInfo(inst, frames.data(), 64)));
  engine.core().Stop(inst);
  engine.core().DestroyInst(inst);
  return frames;
}

std::vector<int> FoundBySessions(Engine& engine, const std::vector<int16_t>& samples) {
  Detector detector(engine);
  std::vector<int> frames;
  Recording recording(detector, {}, 16000, RenewalPolicy(), [&](const Sentence& sentence) {
    frames.push_back(static_cast<int>(sentence.begin_sample / 160));
    frames.push_back(static_cast<int>(sentence.end_sample / 160));
  });
  recording.Feed(samples);
  recording.Finish();
  return frames;
}

TEST_F(Beginning, SlowOneIsTold) {
  const std::string path = Wav("a.wav", 1, {});
  EXPECT_EQ(Heard({path})["made_by"]["parameters"]["slow_start"], false);
  EXPECT_EQ(Heard({"--slow-start", path})["made_by"]["parameters"]["slow_start"], true);
}

TEST_F(Beginning, SlowOneFindsWhatTheExportedFunctionsFind) {
  const std::vector<int16_t> speech = testing::ReadSound(kSpeech).samples;
  Engine slow(kModel, {}, "", true), ready(kModel, {}, "", false);
  const std::vector<int> wanted = FoundByTheFunctions(slow, speech);
  EXPECT_EQ(wanted.size(), 8U);
  EXPECT_EQ(FoundBySessions(slow, speech), wanted);
  EXPECT_EQ(FoundByTheFunctions(ready, speech), wanted);  // whatever else the engine serves
}

TEST_F(Beginning, ScoresAreThoseThatADecisionIsTakenBy) {
  std::vector<double> of_ways;
  for (const std::vector<std::string>& way : {std::vector<std::string>{}, {"--slow-start"}}) {
    std::vector<std::string> scores = {"scores", "-q", "-m", kModel, kSpeech};
    scores.insert(scores.end(), way.begin(), way.end());
    std::istringstream rows(Call(scores).out);
    std::vector<double> probabilities;
    for (double time = 0, probability = 0; rows >> time >> probability && probabilities.size() < 50;) probabilities.push_back(probability);
    ASSERT_EQ(probabilities.size(), 50U);
    for (const size_t frame : {10U, 33U, 49U}) {
      std::vector<std::string> explain = {"explain", "--json", "--at", "0." + std::to_string(frame), "-m", kModel, kSpeech};
      explain.insert(explain.end(), way.begin(), way.end());
      const nlohmann::json stretch = nlohmann::json::parse(Call(explain).out)["files"][0]["stretches"][0];
      EXPECT_NEAR(stretch["probability"]["least"].get<double>(), probabilities[frame], 1e-4) << frame;
    }
    of_ways.push_back(probabilities[33]);
  }
  EXPECT_GT(of_ways[0], of_ways[1] + 0.01);  // at once, the first word is known sooner
}

TEST_F(Beginning, AnotherKindOfMeanHasItsOwn) {
  const auto ready_means = [](const ParameterList& configuration, bool slow_start) {
    Engine engine(kModel, configuration, "", slow_start);
    return Detector(engine).handle()->nReadyMeans;
  };
  EXPECT_EQ(ready_means({}, false), 50);
  EXPECT_EQ(ready_means({}, true), 0);
  EXPECT_EQ(ready_means({{"wvad_param_cmn_type", "2"}}, false), 0);
}

}  // namespace
}  // namespace TSEG::tool
