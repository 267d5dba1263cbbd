// SPDX-License-Identifier: Apache-2.0
//
// SessionResults: the sentences of a session and the texts about them that the caller has not collected yet.
//
// Plain data; the rules that fill it live in decision/. It grows at a sentence's begin and end, never per frame.
#ifndef WVAD_SESSION_SESSION_RESULTS_H_
#define WVAD_SESSION_SESSION_RESULTS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "params/cfg_vad.h"
#include "session/decision_records.h"
#include "wvad.h"

namespace TSEG {

constexpr int kMaxResultItems = 16;

// What wVadGetResult hands out: the record with its array.
struct ResultHolder {
  ResultHolder() { list.pItems = items; }
  ResultHolder(const ResultHolder&) = delete;
  ResultHolder& operator=(const ResultHolder&) = delete;
  WVadResult list = {};
  WVadResultItem items[kMaxResultItems] = {};
};

struct SessionResults {
  std::unique_ptr<ResultHolder> pResultList = std::make_unique<ResultHolder>();
  std::unique_ptr<SentenceTable> pSentences = std::make_unique<SentenceTable>();
  std::unique_ptr<std::vector<std::string>> pVolResults = std::make_unique<std::vector<std::string>>();
  uint8_t bVolDelivered = 0;
  float fLastVol = 0;
  std::unique_ptr<std::vector<WVadResultItem>> pKelResults = std::make_unique<std::vector<WVadResultItem>>();
  std::unique_ptr<FrontBackProbe> pProbe = std::make_unique<FrontBackProbe>();

  // The values of a fresh session at `rate` Hz under `cfg`, which must outlive it. "vol" texts that wait stay.
  void Start(int32_t rate, const CFG_VAD* cfg);
  void End() { pKelResults->clear(); }
};

}  // namespace TSEG

#endif  // WVAD_SESSION_SESSION_RESULTS_H_
