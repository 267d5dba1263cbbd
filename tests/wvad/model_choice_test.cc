// SPDX-License-Identifier: Apache-2.0
#include "wvad/model_choice.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "wvad/program_fixture.h"
#include "wvad/raw_source.h"

namespace TSEG::tool {
namespace {

// A folder with the models "both", "both_8k" and "wide", and recordings of several rates.
class ModelChoiceTest : public ::testing::Test {
 protected:
  ModelChoiceTest() {
    engine_.model = "both";
    engine_.models_dir = models_.path();
    for (const char* name : {"both.bin", "both_8k.bin", "wide.bin"}) models_.write(name, "any");
  }
  std::string Wav(int rate_hz) {
    const std::string path = audio_.file(std::to_string(rate_hz) + ".wav");
    WriteAudio(path, Bursts(0.5, {}, rate_hz), rate_hz);
    return path;
  }
  std::string For(int rate_hz) { return ModelChoice(engine_).For(rate_hz); }
  int Ahead(const std::string& name) { return RateAhead(name, source_); }

  testing_support::TempFolder models_, audio_;
  EngineOptions engine_;
  SourceOptions source_;
};

TEST_F(ModelChoiceTest, ItIsTheNarrowFormUpTo8000Hz) {
  EXPECT_EQ(For(16000), "both");
  EXPECT_EQ(For(8001), "both");
  EXPECT_EQ(For(8000), "both_8k");
  EXPECT_EQ(For(6000), "both_8k");
}

TEST_F(ModelChoiceTest, ARateThatIsNotKnownCountsAsAHighOne) { EXPECT_EQ(For(0), "both"); }

TEST_F(ModelChoiceTest, BothFormsMayBeRead) {
  EXPECT_EQ(ModelChoice(engine_).models(), (std::vector<std::string>{"both", "both_8k"}));
  EXPECT_EQ(FilesBesideRecordings(engine_, ""), (std::vector<std::string>{models_.file("both.bin"), models_.file("both_8k.bin")}));
}

TEST_F(ModelChoiceTest, TheRateAheadIsThatOfTheFile) {
  EXPECT_EQ(Ahead(Wav(8000)), 8000);
  EXPECT_EQ(Ahead(Wav(44100)), 44100);
  EXPECT_EQ(Ahead(audio_.file("missing.wav")), 0);
}

TEST_F(ModelChoiceTest, OfWhatIsHeardOnceTheRateIsNotKnownAhead) {
  source_.raw.rate_hz = 8000;
  EXPECT_EQ(Ahead("-"), 0);
  EXPECT_EQ(Ahead("http://127.0.0.1:9/a.wav"), 0);
}

TEST_F(ModelChoiceTest, RawSamplesHaveTheRateThatIsGiven) {
  source_.raw.rate_hz = 8000;
  source_.raw.form = RawForms().data();
  EXPECT_EQ(Ahead(Wav(16000)), 8000);
  EXPECT_EQ(Ahead("-"), 8000);
}

TEST_F(ModelChoiceTest, TheRateOfSessionsChoosesForAllRecordings) {
  engine_.settings = {"VAD_PARAM_SAMPLERATE=8000", "VAD_PARAM_SAMPLERATE=16000"};
  EXPECT_EQ(For(8000), "both");
  engine_.settings.emplace_back("VAD_PARAM_SAMPLERATE=8000");
  EXPECT_EQ(For(16000), "both_8k");
  EXPECT_FALSE(ModelChoice(engine_).is_open());
}

TEST_F(ModelChoiceTest, AModelWithoutAnotherFormOrNamedWholeStaysAsItIs) {
  for (const std::string& model : {std::string("wide"), std::string("both.bin"), models_.file("both.bin"), std::string("both_8k")}) {
    engine_.model = model;
    EXPECT_EQ(For(8000), model);
    EXPECT_EQ(For(16000), model);
    EXPECT_FALSE(ModelChoice(engine_).is_open());
  }
}

TEST_F(ModelChoiceTest, BothFormsHaveToLieInOneFolder) {
  testing_support::TempFolder first;
  first.write("both.bin", "any");
  engine_.models_dir = first.path();
  EXPECT_EQ(For(8000), "both");
}

TEST_F(ModelChoiceTest, EnginesSideBySideAreAllNarrowOrNone) {
  std::vector<EngineOptions> engines = {engine_, engine_};
  engines[1].settings = {"wvad_param_nFrameGap=60"};
  ChooseForms(engines, 8000);
  EXPECT_EQ(engines[0].model, "both_8k");
  EXPECT_EQ(engines[1].model, "both_8k");
  engines = {engine_, engine_};
  engines[1].model = "wide";
  ChooseForms(engines, 8000);
  EXPECT_EQ(engines[0].model, "both");
  EXPECT_EQ(engines[1].model, "wide");
}

TEST_F(ModelChoiceTest, AFormIsMadeOnceAndWhenItIsAskedFor) {
  std::vector<std::string> made;
  PerForm<std::string> forms(engine_, [&](const EngineOptions& options) {
    made.push_back(options.model);
    return std::make_unique<std::string>(options.model);
  });
  EXPECT_TRUE(made.empty());
  EXPECT_EQ(forms.For(8000), "both_8k");
  EXPECT_EQ(forms.For(44100), "both");
  EXPECT_EQ(forms.For(6000), "both_8k");
  forms.MakeAll();
  EXPECT_EQ(made, (std::vector<std::string>{"both_8k", "both"}));
}

}  // namespace

// The bundled models lie beside the library of this build.
class BundledModels : public Program {};

TEST_F(BundledModels, ATelephoneRecordingIsHeardAt8000HzWithoutResampling) {
  const std::string narrow = Wav("narrow.wav", 3, {{1.0, 2.0}}, 8000);
  const std::string wide = Wav("wide.wav", 3, {{1.0, 2.0}}, 16000);
  const auto about = [&](const std::string& path, const std::string& model, const std::string& folder) {
    EXPECT_EQ(Call({"split", "-q", "--model", model, "-d", folder_.file(folder), path}).code, 0);
    const std::string name = path.substr(path.rfind('/') + 1);
    return nlohmann::json::parse(folder_.read(folder + "/" + name.substr(0, name.size() - 4) + "-split.json"));
  };
  for (const std::string& model : {std::string("lstm_fb75"), std::string("lstm_fb40")}) {
    EXPECT_EQ(about(narrow, model, model + "n")["model"], model + "_8k");
    EXPECT_EQ(about(narrow, model, model + "m")["sample_rate"], 8000);
    EXPECT_EQ(about(wide, model, model + "w")["model"], model);
    EXPECT_EQ(about(wide, model, model + "v")["sample_rate"], 16000);
  }
}

}  // namespace TSEG::tool
