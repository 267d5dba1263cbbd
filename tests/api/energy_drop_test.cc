// SPDX-License-Identifier: Apache-2.0
//
// A session forgets energies and powers that nothing can ask for any more; with the debug text it keeps the energies. What a client is
// given is the same, whatever asks for them and however late, and the level of each sentence is that of its samples.
#include <cmath>
#include <cstdio>

#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

struct Given {
  std::vector<int> codes;
  std::vector<int> endpoints;
  std::vector<std::string> results;
  std::vector<int> reads;  // status, frame, bytes and a sum of the bytes of each read
  bool operator==(const Given&) const = default;
};

struct Asking {
  const char* name;
  bool results_at_the_end;  // or after each piece
  size_t piece;             // samples
  std::vector<std::pair<const char*, const char*>> parameters;
};

// 20 log10 of the root mean square of samples `first` to `past` - 1.
double LevelOf(const std::vector<int16_t>& pcm, size_t first, size_t past) {
  double sum = 0;
  for (size_t i = first; i < past; ++i) sum += static_cast<double>(pcm[i]) * static_cast<double>(pcm[i]);
  return 10 * std::log10(sum / static_cast<double>(past - first));
}

class EnergyDropTest : public EngineTest {
 protected:
  Given Session(const std::vector<int16_t>& pcm, const Asking& asking, const char* debug) {
    Given given;
    EXPECT_EQ(wVadCreateInst(&inst_), 0);
    for (const auto& [name, value] : asking.parameters) EXPECT_EQ(Set(name, value), 0) << name;
    EXPECT_EQ(Set("wvad_param_isVadDegOn", debug), 0);
    EXPECT_EQ(wVadStart(inst_), 0);
    for (size_t at = 0; at < pcm.size(); at += asking.piece) {
      const size_t n = std::min(asking.piece, pcm.size() - at);
      given.codes.push_back(Write(pcm.data() + at, n, at + n == pcm.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE));
      for (;;) {
        WVadAudioSample read = {};
        given.codes.push_back(wVadAudioRead(inst_, &read));
        int sum = 0;
        for (uint32_t i = 0; i < read.len; ++i) sum = sum * 31 % 65536 + static_cast<const uint8_t*>(read.pData)[i];
        for (const int value : {static_cast<int>(read.status), read.nFrame, static_cast<int>(read.len), sum}) given.reads.push_back(value);
        if (read.status == WVAD_READ_NONE || read.status == WVAD_READ_OVER || (read.status == WVAD_READ_GOON && read.len == 0)) break;
      }
      if (asking.results_at_the_end && at + n < pcm.size()) continue;
      for (std::string& text : Results()) given.results.push_back(std::move(text));
    }
    given.endpoints = Endpoints();
    EXPECT_EQ(wVadStop(inst_), 0);
    EXPECT_EQ(wVadDestroyInst(inst_), 0);
    inst_ = nullptr;
    return given;
  }
};

TEST_F(EnergyDropTest, WhatIsForgottenIsNotMissed) {
  // A pause, then the same sentences again and again, at levels that go up and down: 56 s.
  std::vector<int16_t> pcm(16000);
  const std::vector<int16_t> part = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  for (int round = 0; round < 6; ++round) {
    for (const int16_t x : part) pcm.push_back(static_cast<int16_t>(x / (1 + round % 3)));
  }
  const Asking kAskings[] = {
      {"plain", false, 1600, {}},
      {"in large pieces", true, 160000, {}},
      {"adaptive floor", true, 1600, {{"wvad_param_k4_energy", "1"}}},
      {"adaptive floor in large pieces", false, 160000, {{"wvad_param_k4_energy", "1"}}},
      {"position in the first second", true, 1600, {{"wvad_param_nSilBytes", "16000"}}},
      {"position in the middle", true, 800, {{"wvad_param_nSilBytes", "400000"}}},
      {"position before the first frame", false, 1600, {{"wvad_param_nSilBytes", "80"}}},
      {"position behind the end", true, 1600, {{"wvad_param_nSilBytes", "2000000000"}}},
      {"wide margins", true, 1600, {{"wvad_param_nFrameStartMargin", "300"}, {"wvad_param_nFrameEndMargin", "200"}}},
      {"margins that wrap", true, 1600, {{"wvad_param_nFrameStartMargin", "2147483647"}, {"wvad_param_nFrameEndMargin", "2147483647"}}},
      {"whole-sentence mean", true, 1600, {{"wvad_param_srec_cmn_type", "4"}}},
  };
  size_t sentences = 0;
  size_t first_sounds = 0;
  size_t levels = 0;
  for (const char* model : {"models/dnn.bin", "models/lstm75.bin", "models/lstm40.bin"}) {
    ProcessEngine().defaults() = CFG_VAD();
    UpQuiet(model,
            "wvad_param_bKelOn = 1\nwvad_param_nSpeechTailMS = 100000\nwvad_param_nResponseTimeOut = 100000\nwvad_param_fnt_threshold = "
            "1000000");
    for (const Asking& asking : kAskings) {
      const Given whole = Session(pcm, asking, "1");
      const Given dropped = Session(pcm, asking, "0");
      EXPECT_EQ(dropped.codes, whole.codes) << model << ", " << asking.name;
      EXPECT_EQ(dropped.endpoints, whole.endpoints) << model << ", " << asking.name;
      EXPECT_EQ(dropped.results, whole.results) << model << ", " << asking.name;
      EXPECT_EQ(dropped.reads, whole.reads) << model << ", " << asking.name;
      sentences += dropped.endpoints.size() / 2;
      for (const std::string& text : dropped.results) first_sounds += text.find("\"fnt\"") != std::string::npos ? 1u : 0u;
      // An end that has wrapped lies before its begin, and such a sentence has no level.
      if (asking.name == std::string("margins that wrap")) continue;
      // The powers of a sentence go in both sessions: its level is held against the samples themselves.
      for (const std::string& text : dropped.results) {
        const size_t at = text.find("\"bg\":");
        int begin_ms = 0;
        int end_ms = 0;
        double level = 0;
        if (at == std::string::npos || std::sscanf(text.c_str() + at, "\"bg\":%d,\"ed\":%d,\"eg\":%lf", &begin_ms, &end_ms, &level) != 3)
          continue;
        const size_t past = static_cast<size_t>(end_ms) * 16;
        if (past > pcm.size()) continue;
        EXPECT_NEAR(level, LevelOf(pcm, static_cast<size_t>(begin_ms) * 16, past), 0.006) << model << ", " << asking.name << ", " << text;
        ++levels;
      }
    }
  }
  // There was something to be lost.
  EXPECT_GT(sentences, 100u);
  EXPECT_GT(first_sounds, 10u);
  EXPECT_GT(levels, 100u);
}

}  // namespace
}  // namespace TSEG::testing_support
