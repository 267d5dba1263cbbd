// SPDX-License-Identifier: Apache-2.0
//
// What the strain tests share: everything that one session gives its client, in one comparable record.
#ifndef WVAD_STRAIN_STRAIN_SUPPORT_H_
#define WVAD_STRAIN_STRAIN_SUPPORT_H_

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "params/cfg_vad.h"
#include "strain/live_bytes.h"
#include "support/engine_fixture.h"

namespace TSEG::testing_support {

inline const char* const kModels[] = {"models/dnn.bin", "models/lstm75.bin", "models/lstm40.bin"};

// What a client gets of a session.
struct Outcome {
  std::vector<int> codes;  // of all calls, in order
  std::vector<int> endpoints;
  std::vector<std::string> results;
  std::vector<uint32_t> statuses;
  std::vector<uint8_t> read;
  bool operator==(const Outcome&) const = default;
};

// Reads until nothing is left and adds what comes to `outcome`.
inline void ReadAll(WVADInst inst, Outcome* outcome) {
  for (;;) {
    WVadAudioSample piece = {};
    outcome->codes.push_back(wVadAudioRead(inst, &piece));
    outcome->statuses.push_back(piece.status);
    const auto* bytes = static_cast<const uint8_t*>(piece.pData);
    outcome->read.insert(outcome->read.end(), bytes, bytes + piece.len);
    if (piece.status == WVAD_READ_NONE || piece.status == WVAD_READ_OVER) return;
    if (piece.status == WVAD_READ_GOON && piece.len == 0) return;
  }
}

inline void Collect(WVADInst inst, Outcome* outcome) {
  WVadResult* list = nullptr;
  outcome->codes.push_back(wVadGetResult(inst, &list));
  for (int i = 0; list != nullptr && i < list->nCount; ++i) {
    outcome->results.push_back(std::string(list->pItems[i].pKey) + " " + list->pItems[i].pText);
  }
}

// One whole session on an instance of its own: `pcm` in pieces of `samples`, read and asked for results after each. `parameters` are set
// first.
inline Outcome RunSession(const std::vector<int16_t>& pcm, size_t samples,
                          const std::vector<std::pair<std::string, std::string>>& parameters = {}) {
  Outcome outcome;
  WVADInst inst = nullptr;
  outcome.codes.push_back(wVadCreateInst(&inst));
  if (inst == nullptr) return outcome;
  for (const auto& [name, value] : parameters) outcome.codes.push_back(wVadSetParameter(inst, name.c_str(), value.c_str()));
  outcome.codes.push_back(wVadStart(inst));
  for (size_t at = 0; at < pcm.size(); at += samples) {
    const size_t n = std::min(samples, pcm.size() - at);
    WVadAudioSample piece = {};
    piece.pData = const_cast<int16_t*>(pcm.data() + at);
    piece.len = static_cast<uint32_t>(n * 2);
    piece.status = at + n == pcm.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE;
    outcome.codes.push_back(wVadAudioWrite(inst, &piece));
    ReadAll(inst, &outcome);
    Collect(inst, &outcome);
  }
  outcome.endpoints.resize(512);
  outcome.endpoints.resize(static_cast<size_t>(wVadQueryEPInfo(inst, outcome.endpoints.data(), 512)));
  outcome.codes.push_back(wVadStop(inst));
  outcome.codes.push_back(wVadDestroyInst(inst));
  return outcome;
}

inline bool AllZero(const std::vector<int>& codes) {
  return std::all_of(codes.begin(), codes.end(), [](int code) { return code == 0; });
}

// The audio of the session tests: 9 s with several sentences on each of the test models.
inline const std::vector<int16_t>& SessionAudio() {
  static const std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  return pcm;
}

class StrainTest : public EngineTest {
 protected:
  void SetUp() override {
    // What an earlier test of this process configured would still hold.
    ProcessEngine().defaults() = CFG_VAD{};
    EngineTest::SetUp();
  }
  // Puts a logger with the configuration `text` in the place of the fixture's, and gives the path of its configuration.
  std::string Relog(const std::string& text) { return PutLogger(folder_, text); }
};

}  // namespace TSEG::testing_support

#endif  // WVAD_STRAIN_STRAIN_SUPPORT_H_
