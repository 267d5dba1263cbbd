// SPDX-License-Identifier: Apache-2.0
//
// AudioWrite: checks, then the stages that a piece of audio goes through.
#include "decision/energy_history.h"
#include "decision/sentence_table.h"
#include "engine/engine.h"
#include "engine/engine_call.h"
#include "engine/write_path.h"
#include "log/refusal.h"
#include "session/tseg_inst.h"

namespace TSEG {
namespace {

constexpr uint32_t WVAD_VADAUDIO_BUF_MAXSIZE = 3145728;
constexpr int32_t WVAD_PAUSEAUDIO_MAXSIZE = 20480;

// The audio-quality component knows 0 and 1 while a session runs; the read path sends it the 2 that closes it.
uint32_t KelStatus(uint32_t status) {
  if (status == WVAD_WRITE_FIRST) return 0;
  if (status == WVAD_WRITE_CONTINUE || status == WVAD_WRITE_LAST) return 1;
  WVAD_LOG_ERROR("wVadAudioWrite | audiosample status not support");
  return 2;
}

void FinishAudio(TsegInst* inst) {
  wVadFinishAudio(inst);
  inst->power.Forget();
}

}  // namespace

int Engine::CheckWrite(WVADInst inst, const WVadAudioSample* audio) const {
  if (!up()) return EngineIsDown("wVadAudioWrite", WVAD_ERROR_NOT_INIT);
  if (inst == nullptr) return HandleIsNull("wVadAudioWrite", "WVADInst", WVAD_ERROR_NULL_HANDLE);
  if (audio == nullptr) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadAudioWrite | audio = Null");
  // A session that was started before the engine went down and up again has lost its model.
  if (inst->bInstStart == 0 || inst->nEpoch != epoch_) {
    return WVAD_REFUSE(WVAD_ERROR_NOT_START, "WVADAPI wVadAudioWrite | pTsegInst->bInstStart == Null");
  }
  if (audio->len % 2 != 0) {
    return WVAD_REFUSE(WVAD_ERROR_WRITE_LENGTH_NOT_EVEN, "WVADAPI wVadAudioWrite | audio sample len is not even number ");
  }
  if (inst->results.pSentences->nIdx >= WVAD_PAUSEAUDIO_MAXSIZE - 1 || audio->len > WVAD_VADAUDIO_BUF_MAXSIZE) {
    return WVAD_REFUSE(
        WVAD_ERROR_BUF_NOT_ENOUGH,
        "WVADAPI wVadAudioWrite | pTsegInst->nPauseIdx >= WVAD_PAUSEAUDIO_MAXSIZE - 1\t|| (pTsegInst->nVadAudioLen + audio->len) > "
        "WVAD_VADAUDIO_BUF_MAXSIZE");
  }
  if (audio->pData == nullptr && audio->len != 0) {
    return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadAudioWrite | audio->pData = Null");
  }
  return 0;
}

int Engine::AudioWrite(WVADInst inst, WVadAudioSample* audio) {
  const EngineCall call(*this, "TSEG::wVadAudioWrite");
  if (const int code = CheckWrite(inst, audio)) return code;
  inst->diagnostics.pWatchInput->add(audio->pData, static_cast<int32_t>(audio->len));
  if (inst->decision.over()) {
    WVAD_LOG_WARN("WVADAudioWrite | pTsegInst->bAudioFinish = %d pTsegInst->bTimeOut = %d", inst->decision.bAudioFinish,
                  inst->decision.bTimeOut);
    return LogWarnLine(ErrorName(WVAD_ERROR_AUDIO_ENOUGH), WVAD_ERROR_AUDIO_ENOUGH);
  }

  Intake& intake = inst->intake;
  uint32_t status = audio->status;
  intake.TakePiece();
  while (intake.NextChunk(*audio, &status)) {
    wVadWriteNoAGC(inst, intake.pChunk.data(), status, intake.nChunkFill);
    wVadWriteAGC(inst, intake.pChunk.data(), intake.nChunkFill, status);
  }
  if (audio->status == WVAD_WRITE_LAST) FinishAudio(inst);
  DropPassedEnergies(inst);
  MeasureQuality(inst, *audio);
  return 0;
}

void Engine::MeasureQuality(TsegInst* inst, const WVadAudioSample& audio) {
  const uint32_t kel_status = KelStatus(audio.status);
  if (!inst->pCfg->wvad_param_bKelOn || inst->hKel == nullptr) return;
  WVadAudioSample piece = {};
  piece.pData = audio.pData;
  piece.len = audio.len;
  piece.status = kel_status;
  if (table_.wKelAudioWrite(inst->hKel, &piece) != 0) WVAD_LOG_ERROR("sRecAudioWrite | wKelAudioWrite failed");
}

}  // namespace TSEG
