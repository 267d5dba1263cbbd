// SPDX-License-Identifier: Apache-2.0
//
// wVadGetResult, wVadQueryEPInfo and wVadGetSilLen: what a session has found so far.
#include "api/engine.h"
#include "api/error_codes.h"
#include "decision/decision.h"
#include "log/log.h"
#include "session/tseg_inst.h"
#include "wvad.h"

using namespace TSEG;

int wVadGetResult(WVADInst inst, WVadResult** out) {
  if (inst == nullptr || out == nullptr) {
    if (out != nullptr) *out = nullptr;
    return HandleIsNull("wVadGetResult", inst == nullptr ? "WVADInst" : "out", WVAD_ERROR_NULL_HANDLE);
  }
  return CollectResults(inst, out);
}

int wVadQueryEPInfo(WVADInst inst, int* nEndPoints, int nSize) {
  ApiScope scope("TSEG::wVadQueryEPInfo");
  if (!EngineIsUp()) {
    EngineIsDown("wVadQueryEPInfo");
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
  return CollectEndpoints(*inst->pSentences, nEndPoints, nSize);
}

int wVadGetSilLen(WVADInst inst, int nIndexPause, int* pLen) {
  ApiScope scope("TSEG::wVadGetSilLen");
  if (!EngineIsUp()) return EngineIsDown("wVadGetSilLen");
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "WVADAPI wVadGetSilLen | WVAD = Null");
  if (nIndexPause < 0) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadGetSilLen | nIndexPause should >=0");
  if (pLen == nullptr) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadGetSilLen | pLen = Null");
  const std::vector<int32_t>& silence = inst->pSentences->vecSilLen;
  const size_t index = static_cast<size_t>(nIndexPause);
  *pLen = index < silence.size() ? silence[index] : -1;
  return 0;
}
