// SPDX-License-Identifier: Apache-2.0
//
// GetResult, QueryEPInfo and GetSilLen: what a session has found so far.
#include "decision/results.h"

#include "decision/sentence_table.h"
#include "engine/engine.h"
#include "engine/engine_call.h"
#include "log/refusal.h"
#include "session/tseg_inst.h"

namespace TSEG {

int Engine::GetResult(WVADInst inst, WVadResult** out) {
  const LogRoute route(log_to(), log_sink());
  if (inst == nullptr || out == nullptr) {
    if (out != nullptr) *out = nullptr;
    return HandleIsNull("wVadGetResult", inst == nullptr ? "WVADInst" : "out", WVAD_ERROR_NULL_HANDLE);
  }
  return CollectResults(inst, out);
}

int Engine::QueryEPInfo(WVADInst inst, int* nEndPoints, int nSize) {
  const EngineCall call(*this, "TSEG::wVadQueryEPInfo");
  if (!up()) {
    EngineIsDown("wVadQueryEPInfo", WVAD_ERROR_NOT_INIT);
    return 0;
  }
  if (inst == nullptr) {
    WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "WVADAPI wVadQueryEPInfo | WVAD = Null");
    return 0;
  }
  if (nEndPoints == nullptr) {
    WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadQueryEPInfo | nEndPoints = Null");
    return 0;
  }
  if (inst->bInstStart == 0) {
    WVAD_REFUSE(WVAD_ERROR_NOT_START, "WVADAPI wVadQueryEPInfo | pTsegInst->bInstStart != Null");
    return 0;
  }
  return CollectEndpoints(*inst->results.pSentences, nEndPoints, nSize);
}

int Engine::GetSilLen(WVADInst inst, int nIndexPause, int* pLen) {
  const EngineCall call(*this, "TSEG::wVadGetSilLen");
  if (!up()) return EngineIsDown("wVadGetSilLen", WVAD_ERROR_NOT_INIT);
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "WVADAPI wVadGetSilLen | WVAD = Null");
  if (nIndexPause < 0) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadGetSilLen | nIndexPause should >=0");
  if (pLen == nullptr) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadGetSilLen | pLen = Null");
  const std::vector<int32_t>& silence = inst->results.pSentences->vecSilLen;
  const size_t index = static_cast<size_t>(nIndexPause);
  *pLen = index < silence.size() ? silence[index] : -1;
  return 0;
}

}  // namespace TSEG
