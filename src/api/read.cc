// SPDX-License-Identifier: Apache-2.0
//
// wVadAudioRead: checks, one read step, the output watch, and the closing of the audio-quality session.
#include "api/engine.h"
#include "api/error_codes.h"
#include "api/read_path.h"
#include "log/log.h"
#include "session/tseg_inst.h"
#include "wvad.h"

namespace TSEG {
namespace {

// Sends the closing write and takes over the measures. Status 4 can come several times after a time-out, and so can this.
int CloseKelSession(TsegInst* inst) {
  const ComponentTable& table = TheEngine().table;
  WVadAudioSample closing = {};
  closing.status = 2;
  int ret = table.wKelAudioWrite(inst->hKel, &closing);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "sRecAudioWrite | wKelAudioWrite failed %d", ret);
  WVadResult* measures = nullptr;
  ret = table.wKelGetResult(inst->hKel, &measures);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "sRecAudioWrite | wKelGetResult failed %d", ret);
  for (int32_t i = 0; measures != nullptr && i < measures->nCount; ++i) {
    WVadResultItem item = {};
    item.pName = measures->pItems[i].pName;
    item.pKey = measures->pItems[i].pKey;
    item.pText = measures->pItems[i].pText;
    item.nWord = measures->pItems[i].nWord;
    inst->pKelResults->push_back(item);
  }
  return 0;
}

}  // namespace
}  // namespace TSEG

using namespace TSEG;

int wVadAudioRead(WVADInst inst, WVadAudioSample* audio) {
  ApiScope scope("TSEG::wVadAudioRead");
  if (!EngineIsUp()) return EngineIsDown("wVadAudioRead");
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "wVadAudioRead | WVADInst = Null");
  if (audio == nullptr) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "wVadAudioRead | audio = Null");
  if (inst->bInstStart == 0) return WVAD_REFUSE(WVAD_ERROR_NOT_START, "wVadAudioRead | pTsegInst->bInstStart != Null");
  ReadStep(inst, audio);
  inst->pWatchOutput->add(audio->pData, static_cast<int32_t>(audio->len));
  if (audio->status == WVAD_READ_END || audio->status == WVAD_READ_OVER) inst->pWatchOutput->roll();
  if (audio->status == WVAD_READ_OVER && inst->pCfg->wvad_param_bKelOn && inst->hKel != nullptr) return CloseKelSession(inst);
  return 0;
}
