// SPDX-License-Identifier: Apache-2.0
//
// Engines as objects: several in one process, each with a model of its own, beside each other and beside the one of the exported functions.
#include "engine/engine.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

constexpr const char* kModels[] = {"models/dnn.bin", "models/lstm75.bin", "models/lstm40.bin"};

std::string FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

EngineSource FromFile(const std::string& model) {
  EngineSource source;
  source.model_path = DataFile(model);
  return source;
}

// What a client sees of one session.
struct Outcome {
  std::vector<int> endpoints;
  std::string pcm;  // of all sentences
  std::vector<std::string> texts;
  bool operator==(const Outcome&) const = default;
};

Outcome RunSession(Engine& engine, const std::vector<int16_t>& audio, size_t piece) {
  Outcome outcome;
  WVADInst inst = nullptr;
  EXPECT_EQ(engine.CreateInst(&inst), 0);
  EXPECT_EQ(engine.SetParameter(inst, "wvad_param_nReadType", "1"), 0);
  EXPECT_EQ(engine.Start(inst), 0);
  for (size_t at = 0; at < audio.size(); at += piece) {
    const size_t n = std::min(piece, audio.size() - at);
    WVadAudioSample sample = {};
    sample.pData = const_cast<int16_t*>(audio.data() + at);
    sample.len = static_cast<uint32_t>(2 * n);
    sample.status = at + n == audio.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE;
    if (engine.AudioWrite(inst, &sample) != 0) break;
    WVadAudioSample speech = {};
    do {  // behind the last piece until everything has come out
      EXPECT_EQ(engine.AudioRead(inst, &speech), 0);
      outcome.pcm.append(static_cast<const char*>(speech.pData), speech.len);
    } while (sample.status == WVAD_WRITE_LAST && speech.status != WVAD_READ_OVER);
    WVadResult* results = nullptr;
    EXPECT_EQ(engine.GetResult(inst, &results), 0);
    for (int i = 0; i < results->nCount; ++i) outcome.texts.emplace_back(results->pItems[i].pText);
  }
  outcome.endpoints.resize(64);
  outcome.endpoints.resize(static_cast<size_t>(engine.QueryEPInfo(inst, outcome.endpoints.data(), 64)));
  EXPECT_EQ(engine.Stop(inst), 0);
  EXPECT_EQ(engine.DestroyInst(inst), 0);
  return outcome;
}

class EngineObjectTest : public EngineTest {
 protected:
  std::vector<int16_t> audio_ = ReadPcm(DataFile("sessions/pcm_16000.i16"));
};

TEST_F(EngineObjectTest, EnginesSideBySideInThreadsAnswerAsEachByItself) {
  std::vector<Outcome> alone;
  for (const char* model : kModels) {
    Engine engine;
    ASSERT_EQ(engine.Open(FromFile(model)), 0);
    alone.push_back(RunSession(engine, audio_, 1600));
    EXPECT_FALSE(alone.back().endpoints.empty()) << model;
    EXPECT_FALSE(alone.back().pcm.empty()) << model;
    engine.Close();
  }
  EXPECT_NE(alone[0], alone[1]);  // the models do differ

  std::vector<Engine> engines(std::size(kModels));
  for (size_t i = 0; i < engines.size(); ++i) ASSERT_EQ(engines[i].Open(FromFile(kModels[i])), 0);
  std::vector<Outcome> together(2 * engines.size());
  std::vector<std::thread> threads;
  for (size_t i = 0; i < together.size(); ++i) {
    threads.emplace_back([&, i] { together[i] = RunSession(engines[i % engines.size()], audio_, 1600); });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < together.size(); ++i) EXPECT_EQ(together[i], alone[i % engines.size()]) << kModels[i % engines.size()];
}

TEST_F(EngineObjectTest, ModelFromMemoryIsTheModelFromItsFile) {
  Engine from_file;
  ASSERT_EQ(from_file.Open(FromFile("models/lstm75.bin")), 0);
  Engine from_memory;
  {
    const std::string bytes = FileBytes(DataFile("models/lstm75.bin"));
    EngineSource source;
    source.model_data = bytes.data();
    source.model_bytes = bytes.size();
    ASSERT_EQ(from_memory.Open(std::move(source)), 0);
  }  // the bytes are gone
  EXPECT_EQ(RunSession(from_memory, audio_, 1600), RunSession(from_file, audio_, 1600));
}

TEST_F(EngineObjectTest, NeitherConfigurationNorLogOfTheProcessIsTouched) {
  // Read by an engine of the exported functions, this would end sentences after one frame and write a debug text.
  folder_.write("w_tseg.cfg", "[vad]\nwvad_param_nFrameGap = 1\nwvad_param_isVadDegOn = 1\n[heterogeneous]\ndevice = 3\n");
  const std::string log_before = Log();
  Engine engine;
  ASSERT_EQ(engine.Open(FromFile("models/dnn.bin")), 0);
  EXPECT_EQ(engine.defaults().wvad_param_nFrameGap, 40);
  const Outcome here = RunSession(engine, audio_, 1600);
  engine.Close();
  EXPECT_EQ(engine.CreateInst(&inst_), 14002);  // a refusal, which is told nowhere
  EXPECT_EQ(Log(), log_before);
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
    const std::string name = entry.path().filename().string();
    EXPECT_EQ(name, "w_tseg.cfg");
    ++files;
  }
  EXPECT_EQ(files, 1u);

  folder_.write("w_tseg.cfg", "");
  ASSERT_EQ(engine.Open(FromFile("models/dnn.bin")), 0);
  EXPECT_EQ(RunSession(engine, audio_, 1600), here);
}

TEST_F(EngineObjectTest, LinesGoToTheSinkOfTheirEngine) {
  std::vector<std::string> first_lines, second_lines;
  const auto sink = [](std::vector<std::string>* lines) {
    return LogSink{kLogErr, [lines](uint32_t bit, const char* text) {
                     EXPECT_EQ(bit, kLogErr);
                     lines->emplace_back(text);
                   }};
  };
  Engine first, second;
  EngineSource source = FromFile("models/dnn.bin");
  source.log = sink(&first_lines);
  ASSERT_EQ(first.Open(std::move(source)), 0);
  source = FromFile("models/lstm40.bin");
  source.log = sink(&second_lines);
  ASSERT_EQ(second.Open(std::move(source)), 0);
  EXPECT_EQ(first.Start(nullptr), 14011);
  EXPECT_EQ(first_lines, (std::vector<std::string>{"wVadStart | WVADInst handle is NULL. WVAD_ERROR_NULL_HANDLE = 14011"}));
  EXPECT_TRUE(second_lines.empty());
  EXPECT_EQ(second.CreateInst(nullptr), 14011);
  EXPECT_EQ(first_lines.size(), 1u);
  EXPECT_EQ(second_lines, (std::vector<std::string>{"WVADAPI wVadCreateInst | WVADInst = Null",
                                                    "Error! The error string is -> WVAD_ERROR_NULL_HANDLE = 14011\n"}));
}

TEST_F(EngineObjectTest, BytesThatAreNoModelAreRefusedWithACode) {
  Engine engine;
  const std::string text(20000, 'x');
  EngineSource source;
  source.model_data = text.data();
  source.model_bytes = text.size();
  EXPECT_EQ(engine.Open(std::move(source)), 30005);
  EXPECT_FALSE(engine.up());
  EXPECT_EQ(engine.Open(FromFile("models/none.bin")), 30000);
  std::string cut = FileBytes(DataFile("models/dnn.bin"));
  cut.resize(cut.size() / 2);
  source = EngineSource();
  source.model_data = cut.data();
  source.model_bytes = cut.size();
  EXPECT_EQ(engine.Open(std::move(source)), 30002);
  EXPECT_EQ(engine.CreateInst(&inst_), 14002);
  ASSERT_EQ(engine.Open(FromFile("models/dnn.bin")), 0);  // a refusal leaves it ready for another
  EXPECT_EQ(engine.Open(FromFile("models/dnn.bin")), 14001);
}

TEST_F(EngineObjectTest, StandsBesideTheEngineOfTheExportedFunctions) {
  UpWithInstance("models/dnn.bin");
  ASSERT_EQ(wVadStart(inst_), 0);
  Engine engine;
  ASSERT_EQ(engine.Open(FromFile("models/lstm75.bin")), 0);
  const Outcome inner = RunSession(engine, audio_, 1600);
  WriteAll(audio_, 3200);
  const std::vector<int> outer = Endpoints();
  EXPECT_NE(outer, inner.endpoints);
  EXPECT_FALSE(outer.empty());
  ASSERT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  WriteAll(audio_, 3200);
  EXPECT_EQ(Endpoints(), outer);
}

TEST_F(EngineObjectTest, AudioQualityIsTheEnginesOwn) {
  EngineSource source = FromFile("models/dnn.bin");
  source.defaults.wvad_param_bKelOn = true;
  Engine with, without;
  ASSERT_EQ(with.Open(std::move(source)), 0);
  ASSERT_EQ(without.Open(FromFile("models/dnn.bin")), 0);
  const auto says = [](const Outcome& outcome, const char* key) {
    return std::any_of(outcome.texts.begin(), outcome.texts.end(), [&](const std::string& text) { return text.find(key) != text.npos; });
  };
  EXPECT_TRUE(says(RunSession(with, audio_, audio_.size()), "\"cur\""));
  EXPECT_FALSE(says(RunSession(without, audio_, audio_.size()), "\"cur\""));
}

}  // namespace
}  // namespace TSEG::testing_support
