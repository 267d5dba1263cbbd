// SPDX-License-Identifier: Apache-2.0
#include "api/write_path.h"

#include <cstring>

#include "api/engine.h"
#include "api/error_codes.h"
#include "decision/decision.h"
#include "log/log.h"

namespace TSEG {

bool NextChunk(TsegInst* inst, const WVadAudioSample& audio, uint32_t* status) {
  if (*status == WVAD_WRITE_LAST && inst->nChunkConsumed == audio.len) {
    // An empty last write pushes out the partial chunk of the write before, once.
    if (audio.len != 0 || inst->bEmptyChunkSent != 0) return false;
    inst->bEmptyChunkSent = 1;
    return true;
  }
  *status = WVAD_WRITE_CONTINUE;
  inst->nChunkFill %= kChunkBytes;
  const uint32_t have = inst->nChunkFill;
  const uint32_t avail = audio.len - inst->nChunkConsumed;
  const uint32_t need = kChunkBytes - have;
  const uint8_t* from = static_cast<const uint8_t*>(audio.pData) + inst->nChunkConsumed;
  if (avail >= need) {
    std::memcpy(inst->pChunk.data() + have, from, need);
    inst->nChunkConsumed += need;
    inst->nChunkFill = kChunkBytes;
    return true;
  }
  if (avail > 0) std::memcpy(inst->pChunk.data() + have, from, avail);
  inst->nChunkConsumed = audio.len;
  inst->nChunkFill = (have + avail) % kChunkBytes;
  if (audio.status != WVAD_WRITE_LAST) return false;
  *status = WVAD_WRITE_LAST;
  return true;
}

namespace {

bool HasAgc(const TsegInst& inst) { return inst.pCfg->wvad_param_vad_AgcOn && inst.pFrontEndB && inst.pWavB; }

// Moves finished frames to the feature container, with their energies when `with_energies` is set.
void MoveFrames(TsegInst* inst, FrontEndChannel* channel, FrameFeaContainer* container, bool with_energies) {
  const float scale = inst->pCfg->wvad_param_k4_energy ? 1.0f : 1000.0f;
  const int32_t end = FinishedFrames(*channel);
  while (channel->nFramesOut < end) {
    const float energy = FillFeatureFrame(*channel, channel->nFramesOut, container->addFrame());
    if (with_energies) inst->eScore.push_back(scale * energy);
    ++channel->nFramesOut;
  }
}

// The sum of squares of each 10 ms of input, for the level of a sentence. Squares are integers, so their sum is exact in any order.
void UpdateFrameEnergy(TsegInst* inst, const uint8_t* chunk, uint32_t nBytes) {
  const uint32_t samples_per_frame = static_cast<uint32_t>(inst->nSampleRate / 100);
  uint32_t left = nBytes / 2;
  const uint8_t* at = chunk;
  while (left > 0) {
    const uint32_t to_boundary = samples_per_frame - inst->nEnergySamples % samples_per_frame;
    const uint32_t run = left < to_boundary ? left : to_boundary;
    int64_t sum = 0;
    for (uint32_t i = 0; i < run; ++i, at += 2) {
      int16_t x;
      std::memcpy(&x, at, sizeof(x));
      sum += static_cast<int32_t>(x) * static_cast<int32_t>(x);
    }
    inst->fEnergyAcc += static_cast<double>(sum);
    inst->nEnergySamples += run;
    left -= run;
    if (inst->nEnergySamples % samples_per_frame == 0) {
      inst->frameEnergy.push_back(inst->fEnergyAcc);
      inst->fEnergyAcc = 0;
    }
  }
}

enum class Loop { kLstm75, kDnn, kLstm40, kNone };

// The loop that the model type selects by its exact name, if the session has the network that it drives.
Loop SelectLoop(const TsegInst& inst) {
  const std::string& type = inst.pCfg->wvad_param_TsegModelType;
  const LstmModel* lstm = inst.pLstm ? inst.pLstm->pModel : nullptr;
  const DnnModel* dnn = inst.pDnn ? inst.pDnn->pModel : nullptr;
  if (type == "lstm_fb75" && lstm != nullptr && lstm->form == LstmForm::kFixed) return Loop::kLstm75;
  if (type == "dnn_fb75" && dnn != nullptr) return Loop::kDnn;
  if (type == "lstm_fb40" && lstm != nullptr && lstm->form != LstmForm::kFixed) return Loop::kLstm40;
  return Loop::kNone;
}

void RunLoop(TsegInst* inst, bool bLast) {
  int ret = 0;
  switch (SelectLoop(*inst)) {
    case Loop::kLstm75:
      ret = wReadProcessLstmFea(inst, bLast);
      if (ret != 0) WVAD_FAIL(ret, "ret", "wVadAudioWrite | wReadProcessLstmFea %d", ret);
      return;
    case Loop::kDnn:
      ret = wReadProcessDnnFea(inst, bLast);
      if (ret != 0) WVAD_FAIL(ret, "ret", "wVadAudioWrite | wReadProcessDnnFea %d", ret);
      return;
    case Loop::kLstm40:
      ret = wReadProcessLstmFea40(inst, bLast);
      if (ret != 0) WVAD_FAIL(ret, "ret", "wVadAudioWrite | wReadProcessLstmFea40 %d", ret);
      return;
    case Loop::kNone:
      WVAD_REFUSE(WVAD_ERROR_RESOURCE_TYPE, "wVadAudioWrite | wReadProcess %d", WVAD_ERROR_RESOURCE_TYPE);
      // The chunk is not decided upon; its frames have been stored and make room.
      DropMovedFrames(inst->pFrontEndA.get());
      if (HasAgc(*inst)) DropMovedFrames(inst->pFrontEndB.get());
      return;
  }
}

}  // namespace

void wVadWriteNoAGC(TsegInst* inst, const uint8_t* chunk, uint32_t status, uint32_t nBytes) {
  ApiScope scope("TSEG::wVadWriteNoAGC");
  const bool last = status == WVAD_WRITE_LAST;
  const bool agc = HasAgc(*inst);
  FrontEndChannel* channel = inst->pFrontEndA.get();
  inst->pWavA->write(chunk, nBytes);
  FrontBackProbeScan(inst->pProbe.get(), chunk, static_cast<int32_t>(nBytes));
  inst->nAudioBytes += nBytes;
  const uint32_t rate = static_cast<uint32_t>(inst->nSampleRate);
  if (inst->nAudioBytes % (rate * 1200) == 0) {
    WVAD_LOG_CRIT("%s | audio time = %d min.", "TSEG::wVadWriteNoAGC", static_cast<int>(inst->nAudioBytes / (rate * 120)));
  }
  if (last) inst->pWavA->markLast();
  bool more = FrontEndPush(channel, reinterpret_cast<const int16_t*>(chunk), static_cast<int>(nBytes / 2), last);
  MoveFrames(inst, channel, inst->pFeaA.get(), !agc);
  UpdateFrameEnergy(inst, chunk, nBytes);
  if (agc) return;
  RunLoop(inst, last && !more);
  // A push that stopped short of a full ring goes on in the room that the loop has made.
  while (more) {
    more = FrontEndContinue(channel);
    MoveFrames(inst, channel, inst->pFeaA.get(), true);
    RunLoop(inst, last && !more);
  }
}

void wVadWriteAGC(TsegInst* inst, const uint8_t* chunk, uint32_t nBytes, uint32_t status) {
  if (!HasAgc(*inst)) return;
  const bool last = status == WVAD_WRITE_LAST;
  FrontEndChannel* a = inst->pFrontEndA.get();
  FrontEndChannel* b = inst->pFrontEndB.get();
  uint8_t* out = inst->pAgcChunk.data();
  GainControlApply(inst->pAgc.get(), chunk, out, static_cast<int32_t>(nBytes));
  inst->pWavB->write(out, nBytes);
  if (last) inst->pWavB->markLast();
  FrontEndPush(b, reinterpret_cast<const int16_t*>(out), static_cast<int>(nBytes / 2), last);
  MoveFrames(inst, b, inst->pFeaB.get(), true);
  RunLoop(inst, last && !a->bMore && !b->bMore);
  // The loop pops both sides in step, so both go on together.
  while (a->bMore || b->bMore) {
    if (a->bMore) {
      FrontEndContinue(a);
      MoveFrames(inst, a, inst->pFeaA.get(), false);
    }
    if (b->bMore) {
      FrontEndContinue(b);
      MoveFrames(inst, b, inst->pFeaB.get(), true);
    }
    RunLoop(inst, last && !a->bMore && !b->bMore);
  }
}

}  // namespace TSEG

using namespace TSEG;

namespace {

// The audio-quality component knows 0 and 1 while a session runs; the read path sends it the 2 that closes it.
uint32_t KelStatus(uint32_t status) {
  if (status == WVAD_WRITE_FIRST) return 0;
  if (status == WVAD_WRITE_CONTINUE || status == WVAD_WRITE_LAST) return 1;
  WVAD_LOG_ERROR("wVadAudioWrite | audiosample status not support");
  return 2;
}

}  // namespace

int wVadAudioWrite(WVADInst inst, WVadAudioSample* audio) {
  ApiScope scope("TSEG::wVadAudioWrite");
  constexpr uint32_t WVAD_VADAUDIO_BUF_MAXSIZE = 3145728;
  constexpr int32_t WVAD_PAUSEAUDIO_MAXSIZE = 20480;
  if (!EngineIsUp()) return EngineIsDown("wVadAudioWrite");
  if (inst == nullptr) return HandleIsNull("wVadAudioWrite", "WVADInst", WVAD_ERROR_NULL_HANDLE);
  if (audio == nullptr) return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadAudioWrite | audio = Null");
  // A session that was started before the engine went down and up again has lost its model.
  if (inst->bInstStart == 0 || inst->nEpoch != TheEngine().nEpoch) {
    return WVAD_REFUSE(WVAD_ERROR_NOT_START, "WVADAPI wVadAudioWrite | pTsegInst->bInstStart == Null");
  }
  if (audio->len % 2 != 0) {
    return WVAD_REFUSE(WVAD_ERROR_WRITE_LENGTH_NOT_EVEN, "WVADAPI wVadAudioWrite | audio sample len is not even number ");
  }
  if (inst->pSentences->nIdx >= WVAD_PAUSEAUDIO_MAXSIZE - 1 || audio->len > WVAD_VADAUDIO_BUF_MAXSIZE) {
    return WVAD_REFUSE(
        WVAD_ERROR_BUF_NOT_ENOUGH,
        "WVADAPI wVadAudioWrite | pTsegInst->nPauseIdx >= WVAD_PAUSEAUDIO_MAXSIZE - 1\t|| (pTsegInst->nVadAudioLen + audio->len) > "
        "WVAD_VADAUDIO_BUF_MAXSIZE");
  }
  if (audio->pData == nullptr && audio->len != 0) {
    return WVAD_REFUSE(WVAD_ERROR_INVALID_PARA, "WVADAPI wVadAudioWrite | audio->pData = Null");
  }
  inst->pWatchInput->add(audio->pData, static_cast<int32_t>(audio->len));
  if (inst->bAudioFinish != 0 || inst->bTimeOut != 0) {
    WVAD_LOG_WARN("WVADAudioWrite | pTsegInst->bAudioFinish = %d pTsegInst->bTimeOut = %d", inst->bAudioFinish, inst->bTimeOut);
    return LogWarnLine(ErrorName(WVAD_ERROR_AUDIO_ENOUGH), WVAD_ERROR_AUDIO_ENOUGH);
  }

  inst->nChunkConsumed = 0;
  uint32_t status = audio->status;
  while (NextChunk(inst, *audio, &status)) {
    wVadWriteNoAGC(inst, inst->pChunk.data(), status, inst->nChunkFill);
    wVadWriteAGC(inst, inst->pChunk.data(), inst->nChunkFill, status);
  }
  if (audio->status == WVAD_WRITE_LAST) {
    wVadFinishAudio(inst);
    inst->nEnergySamples = 0;
    inst->frameEnergy.clear();
  }
  DropPassedEnergies(inst);
  const uint32_t kel_status = KelStatus(audio->status);
  if (inst->pCfg->wvad_param_bKelOn && inst->hKel != nullptr) {
    WVadAudioSample piece = {};
    piece.pData = audio->pData;
    piece.len = audio->len;
    piece.status = kel_status;
    if (TheEngine().table.wKelAudioWrite(inst->hKel, &piece) != 0) WVAD_LOG_ERROR("sRecAudioWrite | wKelAudioWrite failed");
  }
  return 0;
}
