// SPDX-License-Identifier: Apache-2.0
//
// What wVadGetResult hands out. "vol" is due once per sentence, "fnt" and "bkt" once per session, audio-quality entries and "sil" each
// time.
#include "decision/results.h"

#include <cstdio>

#include "base/wrap.h"
#include "decision/energy_history.h"

namespace TSEG {
namespace {

constexpr char kSilText[] = "\"ws\":[{\"sil\":true}]";
// Stands in the sample count once "bkt" has been looked at, so that the test is made once.
constexpr int32_t kBktSpent = 9999999;

class ItemList {
 public:
  explicit ItemList(ResultHolder* holder) : holder_(holder) {}
  bool full() const { return count_ >= kMaxResultItems; }
  void Add(const char* key, const char* text) { AddWords("KEL", key, text, 0); }
  void AddWords(const char* name, const char* key, const char* text, uint32_t word) {
    WVadResultItem& item = holder_->items[count_++];
    item.pName = name;
    item.pKey = key;
    item.pText = text;
    item.nWord = word;  // the last word of an item is never written
  }
  int Deliver(WVadResult** out) {
    holder_->list.nCount = count_;
    *out = &holder_->list;
    return 0;
  }

 private:
  ResultHolder* holder_;
  int count_ = 0;
};

void AddVolTexts(TsegInst* inst, ItemList* items) {
  if (!inst->results.bVolDelivered) {
    for (const std::string& text : *inst->results.pVolResults) {
      if (items->full()) break;
      items->Add("vol", text.c_str());
    }
  }
  inst->results.bVolDelivered = 1;
}

void AddFnt(TsegInst* inst, ItemList* items) {
  FrontBackProbe* probe = inst->results.pProbe.get();
  const CFG_VAD& cfg = *inst->pCfg;
  const int32_t begin = inst->decision.pEndpoint->nFirstBegin;
  const int32_t index = FirstSoundFrame(*inst);
  if (begin >= 0 && probe->nFntState == 1 && static_cast<uint32_t>(index + 2) < inst->decision.eScore.size()) {
    const int32_t delta = WrapMul32(WrapSub32(begin, index), 10);
    const bool trig = static_cast<double>(cfg.wvad_param_fnt_threshold) > static_cast<double>(delta) &&
                      FirstSoundEnergy(*inst, index) >= cfg.wvad_param_fnt_score_threshold;
    std::snprintf(probe->szFnt, sizeof probe->szFnt, "\"ws\":[{\"fnt\":%d,\"trig\":%s,\"bg\":%d}]", delta, trig ? "true" : "false",
                  WrapMul32(begin, 10));
    probe->nFntState = 2;
  }
  if (probe->nFntState == 2) {
    items->Add("fnt", probe->szFnt);
    probe->nFntState = 3;
  }
}

// How far the last three frames lie from the usual energy of speech, squared.
double TailDistance(const FrameHistory<float>& history) {
  if (history.size() < 3) return 70.0;
  double sum = 0;
  for (size_t i = history.size() - 3; i < history.size(); ++i) {
    const double distance = static_cast<double>(history[i]) / 1000.0 - 14.5;
    sum += distance * distance;
  }
  return sum / 3.0;
}

void AddBkt(TsegInst* inst, ItemList* items) {
  FrontBackProbe* probe = inst->results.pProbe.get();
  const double tail = TailDistance(inst->decision.eScore);
  const int32_t last_end = inst->decision.pEndpoint->nLastEnd;
  if (last_end <= 0) return;
  const int32_t delta = WrapMul32(WrapSub32(probe->nTotalSamples / SamplesPerFrame(*probe), last_end), 10);
  if (!(static_cast<double>(inst->pCfg->wvad_param_bkt_threshold) > static_cast<double>(delta))) return;
  std::snprintf(probe->szBkt, sizeof probe->szBkt, "\"ws\":[{\"bkt\":%d,\"trig\":true,\"ed\":%d}]", delta, WrapMul32(last_end, 10));
  probe->nTotalSamples = kBktSpent;
  // When this refuses, the report is lost: the count is spent.
  if (1.6 * tail >= static_cast<double>(inst->results.fLastVol) || tail >= 70.0) items->Add("bkt", probe->szBkt);
}

// What the audio-quality component adds to the "vol" texts. Stops where the list is full; what is still due then comes with a later call.
void AddQualityAndEvents(TsegInst* inst, ItemList* items) {
  for (const WVadResultItem& entry : *inst->results.pKelResults) {
    if (items->full()) break;
    items->AddWords(entry.pName, entry.pKey, entry.pText, entry.nWord);
  }
  if (items->full()) return;
  AddFnt(inst, items);
  if (items->full()) return;
  if (!inst->decision.bAudioFinish && !inst->decision.bTimeOut) return;
  AddBkt(inst, items);
  if (items->full()) return;
  if (inst->reading.nReadBegun == 0) items->Add("sil", kSilText);
}

}  // namespace

int CollectResults(TsegInst* inst, WVadResult** out) {
  *out = nullptr;
  inst->results.pResultList->list.nStatus = 0;
  inst->results.pResultList->list.nCount = 0;
  ItemList items(inst->results.pResultList.get());
  AddVolTexts(inst, &items);
  if (inst->pCfg->wvad_param_bKelOn) AddQualityAndEvents(inst, &items);
  return items.Deliver(out);
}

}  // namespace TSEG
