// SPDX-License-Identifier: Apache-2.0
//
// Instances and sessions: create, destroy, start, stop.
//
// Start looks at the handle before the engine, the others the other way round: callers have always told the two mistakes apart by these
// codes.
#include "engine/engine.h"
#include "engine/engine_call.h"
#include "log/refusal.h"
#include "session/tseg_inst.h"

namespace TSEG {

int Engine::CreateInst(WVADInst* inst) {
  const EngineCall call(*this, "TSEG::wVadCreateInst");
  if (!up()) return EngineIsDown("wVadCreateInst", WVAD_ERROR_NOT_INIT);
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "WVADAPI wVadCreateInst | WVADInst = Null");
  auto made = std::make_unique<TsegInst>(defaults_);
  made->pEngine = this;
  if (made->pCfg->wvad_param_bKelOn) {
    const int ret = table_.wKelCreate(&kel_, &made->hKel);
    if (ret != 0) return WVAD_FAIL(ret, "ret", "wVadCreateInst | wKelCreateInst failed");
  }
  *inst = made.release();
  return 0;
}

int Engine::DestroyInst(WVADInst inst) {
  const EngineCall call(*this, "TSEG::wVadDestroyInst");
  if (!up()) return EngineIsDown("wVadDestroyInst", WVAD_ERROR_NOT_INIT);
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "WVADAPI wVadDestroyInst | WVADInst = Null");
  if (inst->hKel != nullptr) table_.wKelDestroy(inst->hKel);
  delete inst;
  return 0;
}

int Engine::Start(WVADInst inst) {
  const EngineCall call(*this, "TSEG::wVadStart");
  if (inst == nullptr) return HandleIsNull("wVadStart", "WVADInst", WVAD_ERROR_NULL_HANDLE);
  if (!up()) return EngineIsDown("wVadStart", WVAD_ERROR_NOT_INIT);
  if (inst->bInstStart != 0) return WVAD_REFUSE(WVAD_ERROR_ALREADY_START, "WVADAPI wVadStart | pTsegInst->bInstStart has started");
  const CFG_VAD& cfg = *inst->pCfg;
  if (cfg.wvad_param_nFrameEndMargin < 0) {
    return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA_VALUE, "WVADAPI wVadAudioWrite | FrameEndMargin is less than 0 ");
  }
  if (cfg.wvad_param_nFrameStartMargin < 0) {
    return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA_VALUE, "WVADAPI wVadAudioWrite | FrameStartMargin is less than 0 ");
  }
  if (!IsServedRate(inst->nSampleRate)) {
    return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA_VALUE, "WVADAPI wVadStart | nSampleRate = %d don't support", inst->nSampleRate);
  }
  inst->StartPipeline(networks(), defaults_.wvad_param_cmn_type);
  if (cfg.wvad_param_isVadDegOn) inst->diagnostics.BeginText();
  if (cfg.wvad_param_bKelOn && inst->hKel != nullptr) {
    const int ret = table_.wKelStart(inst->hKel);
    if (ret != 0) return WVAD_FAIL(ret, "ret", "wVadStart | wKelStart failed");
  }
  inst->StartParts(epoch_);
  return 0;
}

int Engine::Stop(WVADInst inst) {
  const EngineCall call(*this, "TSEG::wVadStop");
  if (!up()) return EngineIsDown("wVadStop", WVAD_ERROR_NOT_INIT);
  if (inst == nullptr) return HandleIsNull("wVadStop", "WVADInst", WVAD_ERROR_NULL_HANDLE);
  HandOutDebugText(inst);
  if (inst->pCfg->wvad_param_bKelOn && inst->hKel != nullptr) {
    if (table_.wKelStop(inst->hKel) != 0) WVAD_LOG_ERROR("wVadStop | wKelStop failed");
  }
  inst->End(defaults_);
  return 0;
}

void Engine::HandOutDebugText(TsegInst* inst) {
  if (!inst->pCfg->wvad_param_isVadDegOn) return;
  const std::string& text = inst->diagnostics.CloseText(inst->decision.eScore);
  if (debug_text_) debug_text_(text, inst->pCfg->debug_log_filename());
}

}  // namespace TSEG
