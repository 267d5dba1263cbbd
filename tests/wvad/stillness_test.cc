// SPDX-License-Identifier: Apache-2.0
//
// The bundled models behind a long stillness: speech is found there as it is found without it.
#include <random>

#include "wvad/arrays.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

const std::string kRoot = std::string(WVAD_TEST_DATA_DIR) + "/../..";

class Stillness : public Program, public ::testing::WithParamInterface<const char*> {
 protected:
  Spans Sentences(const std::vector<int16_t>& signal) {
    const std::string path = folder_.file("a.wav");
    WriteAudio(path, signal);
    const Outcome run = Call({"segment", "-q", "-f", "json", "-m", kRoot + "/models/" + GetParam() + ".bin", path});
    EXPECT_EQ(run.code, 0) << run.err;
    return Found(run.out);
  }
  // Speech, `seconds` of noise of the given amplitude, and the same speech.
  void ExpectTheSameBehind(double seconds, int amplitude) {
    SCOPED_TRACE(std::to_string(seconds) + " s of amplitude " + std::to_string(amplitude));
    std::vector<int16_t> signal = speech_;
    std::mt19937 random(1);
    std::uniform_int_distribution<int> noise(-amplitude, amplitude);
    for (int i = 0; i < seconds * 16000; ++i) signal.push_back(static_cast<int16_t>(noise(random)));
    const double start = static_cast<double>(signal.size()) / 16000;
    signal.insert(signal.end(), speech_.begin(), speech_.end());
    Spans behind;
    for (const auto& [begin, end] : Sentences(signal)) {
      if (end > start) behind.emplace_back(begin - start, end - start);
    }
    ASSERT_EQ(behind.size(), alone_.size());
    // What comes before moves the edges a little.
    for (size_t i = 0; i < alone_.size(); ++i) {
      EXPECT_NEAR(behind[i].first, alone_[i].first, 0.35) << i;
      EXPECT_NEAR(behind[i].second, alone_[i].second, 0.35) << i;
    }
  }
  void SetUp() override {
    speech_ = testing::ReadSound(kRoot + "/examples/audio/jfk.flac").samples;
    alone_ = Sentences(speech_);
    ASSERT_EQ(alone_.size(), 4U);
  }

  std::vector<int16_t> speech_;
  Spans alone_;
};

TEST_P(Stillness, SpeechBehindZerosIsFoundAsWithoutThem) {
  for (const double seconds : {1.0, 10.0, 60.0, 300.0}) ExpectTheSameBehind(seconds, 0);
}

TEST_P(Stillness, SpeechBehindFaintNoiseIsFoundAsWithoutIt) {
  for (const double seconds : {1.0, 10.0, 60.0, 300.0}) ExpectTheSameBehind(seconds, 16);
}

TEST_P(Stillness, SpeechBehindZerosAtTheBeginIsFoundAsWithoutThem) {
  for (const int seconds : {20, 60}) {
    std::vector<int16_t> signal(static_cast<size_t>(seconds) * 16000, 0);
    signal.insert(signal.end(), speech_.begin(), speech_.end());
    EXPECT_EQ(Sentences(signal).size(), alone_.size()) << seconds;
  }
}

INSTANTIATE_TEST_SUITE_P(Bundled, Stillness, ::testing::Values("lstm_fb75", "lstm_fb40", "dnn_fb75"),
                         [](const ::testing::TestParamInfo<const char*>& model) { return std::string(model.param); });

}  // namespace
}  // namespace TSEG::tool
