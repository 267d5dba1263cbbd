// SPDX-License-Identifier: Apache-2.0
//
// Verdicts into the sentence table, the "vol" text at a sentence's end, and the endpoints as the query gives them.
//
// An index that the table does not hold is passed over: the machinery never makes one, and a table must not be damaged by it.
#include "decision/sentence_table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "base/number_text.h"
#include "base/wrap.h"
#include "decision/endpoint_detector.h"

namespace TSEG {
namespace {

// Mean frame energy of speech at a level that needs no remark, in the unit of the energy history over 1000.
constexpr double kUsualEnergy = 14.5;
constexpr float kLeastRms = 1e-7f;
constexpr size_t kMaxVolTexts = 16;

// Element `index` or null.
template <typename T>
T* Place(std::vector<T>& array, int32_t index) {
  return static_cast<uint32_t>(index) < array.size() ? &array[static_cast<size_t>(index)] : nullptr;
}

void StoreAt(std::vector<int32_t>& array, int32_t index, int32_t value) {
  if (int32_t* place = Place(array, index)) *place = value;
}

// How far the mean energy of the sentence's speech lies from the usual one, squared.
float SentenceVol(const TsegInst& inst) {
  const double frames = static_cast<double>(std::max(inst.decision.nSpeechEnergyCount, 1));
  const float average = static_cast<float>(static_cast<double>(inst.decision.fSpeechEnergySum) / frames);
  const float distance = static_cast<float>(static_cast<double>(average) - kUsualEnergy);
  return static_cast<float>(static_cast<double>(distance) * static_cast<double>(distance));
}

// Level of frames `begin` to `end` - 1 in dB. Frames without a stored power add nothing, and count nevertheless.
float SentenceLevel(const TsegInst& inst, int32_t begin, int32_t end) {
  float rms = 0;
  if (end > begin) {
    const size_t first = static_cast<size_t>(std::max(begin, 0));
    const size_t last = std::min(static_cast<size_t>(std::max(end, 0)), inst.power.frameEnergy.size());
    double sum = 0;
    for (size_t i = first; i < last; ++i) sum += inst.power.frameEnergy[i];
    const double samples = (static_cast<double>(end) - static_cast<double>(begin)) * static_cast<double>(inst.nSampleRate / 100);
    rms = static_cast<float>(std::sqrt(sum / samples));
  }
  if (!(rms > kLeastRms)) return -140.0f;
  const float decades = static_cast<float>(std::log10(static_cast<double>(rms)));
  return static_cast<float>(static_cast<double>(decades) * 20.0);
}

void AddVolText(TsegInst* inst, int32_t begin, int32_t end) {
  const float vol = SentenceVol(*inst);
  inst->results.fLastVol = vol;
  const float level = SentenceLevel(*inst, begin, end);
  const bool trig = inst->pCfg->wvad_param_vol_threshold > vol;
  char text[256];
  std::snprintf(text, sizeof text, "\"ws\":[{\"vol\":%s,\"trig\":%s,\"bg\":%d,\"ed\":%d,\"eg\":%s}]", FixedText(vol, 1).c_str(),
                trig ? "true" : "false", WrapMul32(begin, 10), WrapMul32(end, 10), FixedText(level, 2).c_str());
  std::vector<std::string>& list = *inst->results.pVolResults;
  if (inst->results.bVolDelivered || list.size() >= kMaxVolTexts) list.clear();
  inst->results.bVolDelivered = 0;
  list.emplace_back(text);
}

void OpenSentence(SentenceTable* table, int32_t begin, int32_t end) {
  ++table->nIdx;
  table->vecBegin.push_back(begin);
  table->vecEnd.push_back(end);
  table->vecSilLen.push_back(0);
}

void CloseSentence(TsegInst* inst, int32_t begin, int32_t end) {
  SentenceTable* table = inst->results.pSentences.get();
  StoreAt(table->vecEnd, table->nIdx, end);
  table->bitsClosed.push_back(1);
  StoreAt(table->vecSilLen, table->nIdx, inst->decision.pEndpoint->nSilFrames);
  AddVolText(inst, begin, end);
  inst->decision.fSpeechEnergySum = 0;
  inst->decision.nSpeechEnergyCount = 0;
}

bool IsClosed(const SentenceTable& table, int32_t index) {
  return static_cast<uint32_t>(index) < table.bitsClosed.size() && table.bitsClosed[static_cast<size_t>(index)] != 0;
}

// Frames in the feature container that the reader is served from.
int32_t FramesHeld(const TsegInst& inst) { return static_cast<int32_t>(inst.read_side().pFea->frames.size()); }

// Moves the end of an open sentence along, as far as the margin, the last speech frame and the frames held allow.
void UpdateSentence(TsegInst* inst, int32_t end) {
  if (end <= 0) return;
  SentenceTable* table = inst->results.pSentences.get();
  const EndpointDetector& detector = *inst->decision.pEndpoint;
  int32_t* held_end = Place(table->vecEnd, table->nIdx);
  if (held_end != nullptr && !IsClosed(*table, table->nIdx)) {
    *held_end = std::max(*held_end, end);
    const int32_t margin = inst->pCfg->wvad_param_nFrameEndMargin;
    const int32_t by_end = WrapSub32(WrapAdd32(margin, end), 1);
    const int32_t by_floor = WrapSub32(WrapAdd32(margin, detector.nFloor), 1);
    if (detector.nState == 1 && *held_end < by_end && *held_end < by_floor) {
      *held_end = std::min(std::min(FramesHeld(*inst) - 1, by_end), by_floor);
    }
  }
  StoreAt(table->vecSilLen, table->nIdx, detector.nSilFrames);
}

}  // namespace

void wVadEmitVerdict(TsegInst* inst, FrameVerdict verdict, int32_t begin, int32_t end) {
  switch (verdict) {
    case WVAD_FRAME_BEGIN:
      OpenSentence(inst->results.pSentences.get(), begin, end);
      break;
    case WVAD_FRAME_PAUSE:
      CloseSentence(inst, begin, end);
      break;
    case WVAD_FRAME_TAIL:
      inst->decision.bAudioFinish = 1;
      break;
    case WVAD_FRAME_NOSPEECH:
      inst->decision.bTimeOut = 1;
      break;
    case WVAD_FRAME_GOON:
    default:
      UpdateSentence(inst, end);
      break;
  }
}

void wVadFinishAudio(TsegInst* inst) {
  EndpointDetector* detector = inst->decision.pEndpoint.get();
  if (detector->nState == 1) {
    const int32_t end = MarkEnd(detector, inst->decision.nFrameIdx);
    wVadEmitVerdict(inst, WVAD_FRAME_PAUSE, detector->nBeginFrame, end);
    if (inst->pCfg->wvad_param_isVadDegOn) {
      char text[32];
      std::snprintf(text, sizeof text, " %d %d ", detector->nTraceBegin, detector->nTraceEnd);
      inst->diagnostics.debugText += text;
    }
  }
  inst->decision.bAudioFinish = 1;
}

int CollectEndpoints(const SentenceTable& table, int* out, int nSize) {
  int closed = 0;
  while (IsClosed(table, closed)) ++closed;
  int written = 0;
  for (int i = 0; i < closed && written < nSize; ++i) {
    const size_t at = static_cast<size_t>(i);
    out[written] = at < table.vecBegin.size() ? table.vecBegin[at] : -1;
    out[written + 1] = at < table.vecEnd.size() ? table.vecEnd[at] : -1;
    written += 2;
  }
  return written;
}

}  // namespace TSEG
