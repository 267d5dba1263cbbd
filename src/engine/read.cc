// SPDX-License-Identifier: Apache-2.0
//
// AudioRead: checks, one read step, the output watch, and the closing of the audio-quality session.
#include "engine/engine.h"
#include "engine/engine_call.h"
#include "log/refusal.h"
#include "session/read_path.h"
#include "session/tseg_inst.h"

namespace TSEG {

// Sends the closing write and takes over the measures. Status 4 can come several times after a time-out, and so can this.
int Engine::CloseKelSession(TsegInst* inst) {
  WVadAudioSample closing = {};
  closing.status = 2;
  int ret = table_.wKelAudioWrite(inst->hKel, &closing);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "sRecAudioWrite | wKelAudioWrite failed %d", ret);
  WVadResult* measures = nullptr;
  ret = table_.wKelGetResult(inst->hKel, &measures);
  if (ret != 0) return WVAD_FAIL(ret, "ret", "sRecAudioWrite | wKelGetResult failed %d", ret);
  for (int32_t i = 0; measures != nullptr && i < measures->nCount; ++i) {
    WVadResultItem item = {};
    item.pName = measures->pItems[i].pName;
    item.pKey = measures->pItems[i].pKey;
    item.pText = measures->pItems[i].pText;
    item.nWord = measures->pItems[i].nWord;
    inst->results.pKelResults->push_back(item);
  }
  return 0;
}

int Engine::AudioRead(WVADInst inst, WVadAudioSample* audio) {
  const EngineCall call(*this, "TSEG::wVadAudioRead");
  if (!up()) return EngineIsDown("wVadAudioRead", WVAD_ERROR_NOT_INIT);
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "wVadAudioRead | WVADInst = Null");
  if (audio == nullptr) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "wVadAudioRead | audio = Null");
  if (inst->bInstStart == 0) return WVAD_REFUSE(WVAD_ERROR_NOT_START, "wVadAudioRead | pTsegInst->bInstStart != Null");
  ReadStep(inst, audio);
  inst->diagnostics.pWatchOutput->add(audio->pData, static_cast<int32_t>(audio->len));
  if (audio->status == WVAD_READ_END || audio->status == WVAD_READ_OVER) inst->diagnostics.pWatchOutput->roll();
  if (audio->status == WVAD_READ_OVER && inst->pCfg->wvad_param_bKelOn && inst->hKel != nullptr) return CloseKelSession(inst);
  return 0;
}

}  // namespace TSEG
