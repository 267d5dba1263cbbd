// SPDX-License-Identifier: Apache-2.0
//
// wvad features: each sentence as an array of frames.
#include <algorithm>

#include "wvad/arrays.h"
#include "wvad/engine.h"
#include "wvad/parameters.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using testing::Array;
using ::testing::ElementsAre;
using testing::ParseNpy;

// All that the engine hands out of a recording, written and read in steps of a second.
std::vector<float> HandedOut(const std::vector<int16_t>& signal, const std::vector<std::string>& settings) {
  std::vector<float> floats;
  Engine engine(WVAD_TEST_MODEL, {}, "");
  Detector detector(engine);
  for (const auto& [name, value] : PlanParameters(settings, false, Handout::kFeatures).session) detector.Set(name, value);
  EXPECT_EQ(detector.core().Start(detector.handle()), 0);
  std::vector<int16_t> audio = signal;
  for (size_t at = 0; at <= audio.size(); at += 16000) {
    WVadAudioSample piece{};
    piece.pData = audio.data() + std::min(at, audio.size());
    piece.len = static_cast<uint32_t>(2 * std::min<size_t>(16000, audio.size() - at));
    piece.status = at + 16000 > audio.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE;
    EXPECT_EQ(detector.core().AudioWrite(detector.handle(), &piece), 0);
    for (int reads = 0; reads < 20; ++reads) {
      WVadAudioSample out{};
      EXPECT_EQ(detector.core().AudioRead(detector.handle(), &out), 0);
      EXPECT_STREQ(out.pType, "feature/F75*1");
      const float* first = static_cast<const float*>(out.pData);
      floats.insert(floats.end(), first, first + out.len / sizeof(float));
    }
  }
  detector.core().Stop(detector.handle());
  return floats;
}

TEST_F(Program, FeaturesReachAsFarBackAsTheMargin) {
  // Behind a sentence two runs that begin one together: the first frame of the second sentence lies 2 s before the first run.
  const std::string wav = Wav("a.wav", 12, {{1.0, 2.0}, {6.0, 6.15}, {6.25, 8.0}});
  EXPECT_EQ(Run("features", {"--pad-before", "2", "-d", folder_.file("out"), wav}).code, 0);
  const nlohmann::json second = nlohmann::json::parse(folder_.read("out/a-features.json"))["sentences"].at(1);
  EXPECT_DOUBLE_EQ(second["begin"], 4.0);
  EXPECT_DOUBLE_EQ(second["end"], 8.2);
  EXPECT_EQ(second["frames"], 420);
  EXPECT_EQ(ParseNpy(folder_.read("out/" + second["file"].get<std::string>())).rows, 420UL);
}

TEST_F(Program, FeaturesHaveARowForEachFrameOfTheirSentence) {
  const Outcome run = Run("features", {"-d", folder_.file("out"), Wav("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("out/a-0002.npy\n"));
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-0001.npy", "a-0002.npy", "a-features.json"));
  const nlohmann::json index = nlohmann::json::parse(folder_.read("out/a-features.json"));
  EXPECT_EQ(index["frame_ms"], 10);
  EXPECT_EQ(index["columns"].back()["to"], 115);
  const unsigned long rows[] = {150, 100};
  for (size_t i = 0; i < 2; ++i) {
    const nlohmann::json& sentence = index["sentences"][i];
    const Array array = ParseNpy(folder_.read("out/" + sentence["file"].get<std::string>()));
    EXPECT_EQ(array.rows, rows[i]);
    EXPECT_EQ(array.columns, 115U);
    EXPECT_EQ(sentence["frames"], rows[i]);
    EXPECT_EQ(sentence["begin"], kTwoSentences[i].first);
    EXPECT_EQ(sentence["end"], kTwoSentences[i].second);
  }
}

TEST_F(Program, FeaturesAreWhatTheLibraryHandsOut) {
  const std::vector<int16_t> signal = Bursts(8, {{1.0, 2.0}, {3.0, 3.5}, {4.5, 7.0}});
  const std::string path = folder_.file("a.wav");
  WriteAudio(path, signal);
  // With the running mean taken off, frames come late and all at once when a sentence ends.
  for (const std::vector<std::string>& settings :
       {std::vector<std::string>{}, {"wvad_param_isReadFtrDoCMN=1"}, {"wvad_param_isReadFtrDoCMN=1", "wvad_param_srec_cmn_type=4"}}) {
    std::vector<std::string> arguments = {"-q", "--force", "-d", folder_.file("out"), path};
    for (const std::string& setting : settings) arguments.insert(arguments.end(), {"--set", setting});
    EXPECT_EQ(Run("features", arguments).code, 0);
    std::vector<float> written;
    for (const char* name : {"out/a-0001.npy", "out/a-0002.npy", "out/a-0003.npy"}) {
      const std::vector<float> values = ParseNpy(folder_.read(name)).values;
      written.insert(written.end(), values.begin(), values.end());
    }
    EXPECT_EQ(written.size(), (150U + 100U + 300U) * 115U);
    EXPECT_EQ(written, HandedOut(signal, settings)) << settings.size();
  }
}

TEST_F(Program, FeaturesOfSilenceAroundABurstDiffer) {
  EXPECT_EQ(Run("features", {"-q", "-d", folder_.file("out"), Wav("a.wav", 5, {{1.0, 2.0}})}).code, 0);
  const Array array = ParseNpy(folder_.read("out/a-0001.npy"));
  // The sentence begins 30 frames before the burst; the 40 filter-bank values stand in the columns from 75 on.
  const auto energy = [&](unsigned long row) {
    float sum = 0;
    for (unsigned long column = 75; column < 115; ++column) sum += array.values[row * 115 + column];
    return sum;
  };
  EXPECT_GT(energy(60), energy(10) + 40.0F);
  EXPECT_GT(energy(60), energy(145) + 40.0F);
}

TEST_F(Program, FeaturesAreNotReplacedWithoutForce) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  folder_.write("out/a-features.json", "mine");
  ExpectFailure(Run("features", {"-d", folder_.file("out"), path}), 8, "a-features.json: exists already; --force replaces it");
  EXPECT_EQ(folder_.read("out/a-features.json"), "mine");
  EXPECT_EQ(Run("features", {"-q", "--force", "-d", folder_.file("out"), path}).code, 0);
  ExpectFailure(Run("features", {"-d", folder_.file("out2"), "--set", "wvad_param_nReadType=1", path}), 6, "settled by the command");
}

}  // namespace
}  // namespace TSEG::tool
