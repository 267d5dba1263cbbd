// SPDX-License-Identifier: Apache-2.0
//
// Instances and sessions: create, destroy, start, stop, and the reset that does nothing.
//
// Two orders of checks differ on purpose: wVadStart looks at the handle before the engine, the others the other way round.
#include <cstdio>
#include <cstring>
#include <memory>

#include "api/engine.h"
#include "api/error_codes.h"
#include "base/wrap.h"
#include "decision/decision.h"
#include "log/log.h"
#include "dumps/file_log_singleton.h"
#include "session/tseg_inst.h"
#include "wvad.h"

namespace TSEG {
namespace {

constexpr size_t kHistoryReserve = 4096;
constexpr size_t kDebugTextReserve = 16384;

bool IsServedRate(int32_t rate) { return rate == 16000 || rate == 8000 || rate == 6000; }

// Bytes of a 10 ms frame. Only the three served rates have one: a session on another rate is refused before it needs it.
void SetFrameSize(TsegInst* inst) {
  if (!IsServedRate(inst->nSampleRate)) return;
  const uint32_t frame_bytes = static_cast<uint32_t>(inst->nSampleRate * 2 / 100);
  inst->pWavA->setFrameBytes(frame_bytes);
  if (inst->pWavB) inst->pWavB->setFrameBytes(frame_bytes);
}

std::unique_ptr<TsegInst> MakeInstance(const CFG_VAD& defaults) {
  auto inst = std::make_unique<TsegInst>();
  inst->pCfg = std::make_unique<CFG_VAD>(defaults);
  inst->nSampleRate = defaults.wvad_param_SampleRate;
  inst->pResultList = std::make_unique<ResultHolder>();
  inst->pResultList->list.pItems = inst->pResultList->items;
  inst->pFrontEndA = std::make_unique<FrontEndChannel>();
  if (defaults.wvad_param_isTsegLstm) {
    inst->pLstm = std::make_unique<LstmForward>();
  } else {
    inst->pDnn = std::make_unique<DnnForward>();
  }
  inst->pReadBuf = AlignedBuffer<uint8_t>::Uncleared(kReadBufBytes);
  inst->pSentences = std::make_unique<SentenceTable>();
  inst->pEndpoint = std::make_unique<EndpointDetector>();
  inst->pReadCmn = std::make_unique<ReadCmn>();
  inst->pWavA = std::make_unique<FrameWavContainer>();
  inst->pFeaA = std::make_unique<FrameFeaContainer>();
  std::memcpy(inst->szSid, "undefine ", 10);
  inst->mScore.reserve(kHistoryReserve);
  inst->eScore.reserve(kHistoryReserve);
  inst->pWatchInput = std::make_unique<DebugWatch>("TsegInputWav", 2u);
  inst->pWatchOutput = std::make_unique<DebugWatch>("TsegOutputWav", 4u);
  inst->pWatch75x11 = std::make_unique<DebugWatch>("Tseg75x11", 4u);
  inst->pWatch75x4 = std::make_unique<DebugWatch>("Tseg75x4", 4u);
  inst->pAgc = std::make_unique<GainControl>();
  inst->nCurFrameGap = defaults.wvad_param_nFrameGap;
  inst->pVolResults = std::make_unique<std::vector<std::string>>();
  inst->pKelResults = std::make_unique<std::vector<WVadResultItem>>();
  inst->pProbe = std::make_unique<FrontBackProbe>();
  inst->pChunk = AlignedBuffer<uint8_t>(kChunkBytes);
  inst->pEnergyStats = std::make_unique<EnergyStats>();
  inst->debugText.reserve(kDebugTextReserve);
  if (defaults.wvad_param_vad_AgcOn) {
    inst->pFrontEndB = std::make_unique<FrontEndChannel>();
    inst->pWavB = std::make_unique<FrameWavContainer>();
    inst->pFeaB = std::make_unique<FrameFeaContainer>();
    inst->eScoreB.reserve(kHistoryReserve);
    inst->pAgcChunk = AlignedBuffer<uint8_t>(inst->nAgcChunkSize);
  }
  SetFrameSize(inst.get());
  return inst;
}

void ConfigureFrontEnd(TsegInst* inst, FrontEndChannel* channel) {
  const CFG_VAD& cfg = *inst->pCfg;
  FrontEndChannelStart(channel, inst->nSampleRate, cfg.wvad_param_isTsegDoCMN, DefaultCfg().wvad_param_cmn_type, cfg.wvad_param_k4_energy,
                       cfg.wvad_param_TsegModelType);
}

// The forward object that the instance has gets the model of its kind.
void BindModel(TsegInst* inst) {
  const HMMResourceLink* model = LoadedModel();
  if (model == nullptr) return;
  if (inst->pLstm && model->pLstm) LstmForwardBind(inst->pLstm.get(), model->pLstm.get());
  if (inst->pDnn && model->pDnn) DnnForwardBind(inst->pDnn.get(), model->pDnn.get());
}

void ResetSession(TsegInst* inst) {
  const CFG_VAD& cfg = *inst->pCfg;
  SentenceTableReset(inst->pSentences.get(), &cfg);
  EndpointReset(inst->pEndpoint.get(), &cfg);
  FrontBackProbeReset(inst->pProbe.get(), inst->nSampleRate, &cfg);
  inst->pKelResults->clear();
  inst->fLastVol = 0;
  inst->fEnergyAcc = 0;
  SetFrameSize(inst);
  inst->bInstStart = 0;
  inst->bTimeOut = 0;
  inst->bAudioFinish = 0;
  inst->nReadState = 0;
  inst->nFrameIdx = 0;
  inst->bSpeechFound = 0;
  inst->nCurSpeechFrameNum = 0;
  inst->nNoSpeechFrames = 0;
  inst->nReadSentence = 0;
  inst->nHoldOver = 0;
  inst->nReadBegun = 0;
  inst->nAudioBytes = 0;
  inst->nChunkConsumed = 0;
  inst->bEmptyChunkSent = 0;
  inst->nChunkFill = 0;
  inst->nState = 0;
  inst->nSilenceResetCount = 0;
  inst->bFirstBlock = 1;
  inst->bInstStart = 1;
  inst->nEpoch = TheEngine().nEpoch;
  for (DebugWatch* watch : {inst->pWatchInput.get(), inst->pWatchOutput.get(), inst->pWatch75x11.get(), inst->pWatch75x4.get()}) {
    watch->nSubIndex = 0;
  }
  inst->pWatchInput->nPerRecord = 1;
  inst->pWatchOutput->nPerRecord = cfg.wvad_param_nReadType != 0 ? 1 : 75;
  inst->pWatch75x11->nPerRecord = 825;
  inst->pWatch75x4->nPerRecord = 300;
  if (cfg.wvad_param_isReadFtrDoCMN) {
    inst->pReadCmn->setup(cfg.wvad_param_srec_cmn_type);
  } else {
    inst->pReadCmn->bEnable = 0;
  }
  inst->nCurFrameGap = cfg.wvad_param_nFrameGap;
  EnergyStatsReset(inst->pEnergyStats.get());
}

void AppendNumber(std::string* text, int value) {
  char buffer[16];
  std::snprintf(buffer, sizeof(buffer), " %d", value);
  *text += buffer;
}

// The session's line for the debug text: what the decisions traced, then the scores and energies.
void HandOutDebugText(TsegInst* inst) {
  if (!inst->pCfg->wvad_param_isVadDegOn) return;
  if (!inst->mScore.empty()) {
    inst->debugText += "|mScore:";
    for (const int32_t value : inst->mScore) AppendNumber(&inst->debugText, value);
    inst->debugText += ' ';
  }
  if (!inst->eScore.empty()) {
    inst->debugText += "|eScore:";
    for (size_t i = 0; i < inst->eScore.size(); ++i) AppendNumber(&inst->debugText, CutLow32(inst->eScore[i]));
  }
  inst->debugText += '\n';
  FileLogSingleton::instance().append(inst->debugText, inst->pCfg->debug_log_filename());
}

void EndSession(TsegInst* inst) {
  inst->pWavA->reset();
  inst->pFeaA->reset();
  inst->mScore.clear();
  inst->eScore.clear();
  inst->pKelResults->clear();
  inst->nEnergySamples = 0;
  inst->frameEnergy.clear();
  inst->pReadCmn->reset();
  inst->bInstStart = 0;
  for (DebugWatch* watch : {inst->pWatchInput.get(), inst->pWatchOutput.get(), inst->pWatch75x11.get(), inst->pWatch75x4.get()}) {
    watch->nSubIndex = 0;
    watch->stop();
  }
  if (!inst->pCfg->wvad_param_isTsegLstm && inst->pDnn) DnnForwardForget(inst->pDnn.get());
  *inst->pCfg = DefaultCfg();
  if (inst->pCfg->wvad_param_vad_AgcOn && inst->pWavB) {
    inst->pWavB->reset();
    inst->pFeaB->reset();
    inst->eScoreB.clear();
  }
  inst->nSilenceResetCount = 0;
  inst->fEnergyAcc = 0;
  inst->debugText.clear();
}

}  // namespace
}  // namespace TSEG

using namespace TSEG;

int wVadCreateInst(WVADInst* inst) {
  ApiScope scope("TSEG::wVadCreateInst");
  if (!EngineIsUp()) return EngineIsDown("wVadCreateInst");
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "WVADAPI wVadCreateInst | WVADInst = Null");
  std::unique_ptr<TsegInst> made = MakeInstance(DefaultCfg());
  if (made->pCfg->wvad_param_bKelOn) {
    const int ret = TheEngine().table.wKelCreate(&made->hKel);
    if (ret != 0) return WVAD_FAIL(ret, "ret", "wVadCreateInst | wKelCreateInst failed");
  }
  *inst = made.release();
  return 0;
}

int wVadDestroyInst(WVADInst inst) {
  ApiScope scope("TSEG::wVadDestroyInst");
  if (!EngineIsUp()) return EngineIsDown("wVadDestroyInst");
  if (inst == nullptr) return WVAD_REFUSE(WVAD_ERROR_NULL_HANDLE, "WVADAPI wVadDestroyInst | WVADInst = Null");
  if (inst->hKel != nullptr) TheEngine().table.wKelDestroy(inst->hKel);
  delete inst;
  return 0;
}

int wVadStart(WVADInst inst) {
  ApiScope scope("TSEG::wVadStart");
  if (inst == nullptr) return HandleIsNull("wVadStart", "WVADInst", WVAD_ERROR_NULL_HANDLE);
  if (!EngineIsUp()) return EngineIsDown("wVadStart");
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
  ConfigureFrontEnd(inst, inst->pFrontEndA.get());
  if (cfg.wvad_param_vad_AgcOn && inst->pFrontEndB) ConfigureFrontEnd(inst, inst->pFrontEndB.get());
  BindModel(inst);
  if (cfg.wvad_param_isVadDegOn) {
    inst->debugText.assign(inst->szSid, strnlen(inst->szSid, sizeof(inst->szSid)));
    inst->debugText += "|VAD:";
  }
  if (cfg.wvad_param_bKelOn && inst->hKel != nullptr) {
    const int ret = TheEngine().table.wKelStart(inst->hKel);
    if (ret != 0) return WVAD_FAIL(ret, "ret", "wVadStart | wKelStart failed");
  }
  GainControlStart(inst->pAgc.get(), cfg.wvad_param_SampleRate);
  ResetSession(inst);
  return 0;
}

int wVadStop(WVADInst inst) {
  ApiScope scope("TSEG::wVadStop");
  if (!EngineIsUp()) return EngineIsDown("wVadStop");
  if (inst == nullptr) return HandleIsNull("wVadStop", "WVADInst", WVAD_ERROR_NULL_HANDLE);
  inst->fSpeechEnergySum = 0;
  inst->nSpeechEnergyCount = 0;
  HandOutDebugText(inst);
  if (inst->pCfg->wvad_param_bKelOn && inst->hKel != nullptr) {
    if (TheEngine().table.wKelStop(inst->hKel) != 0) WVAD_LOG_ERROR("wVadStop | wKelStop failed");
  }
  EndSession(inst);
  return 0;
}

int wVadReset(WVADInst) { return 0; }
