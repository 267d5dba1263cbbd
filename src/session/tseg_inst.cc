// SPDX-License-Identifier: Apache-2.0
#include "session/tseg_inst.h"

TsegInst::TsegInst(const TSEG::CFG_VAD& defaults)
    : pCfg(std::make_unique<TSEG::CFG_VAD>(defaults)),
      nSampleRate(defaults.wvad_param_SampleRate),
      sideB(defaults.wvad_param_vad_AgcOn ? std::make_unique<TSEG::GainedSide>() : nullptr),
      network(defaults.wvad_param_isTsegLstm, &diagnostics) {
  decision.nCurFrameGap = defaults.wvad_param_nFrameGap;
  if (sideB) decision.eScoreB.reserve(TSEG::kHistoryReserve);
  sideA.SetFrameSize(nSampleRate);
  if (sideB) sideB->SetFrameSize(nSampleRate);
}

void TsegInst::StartPipeline(const TSEG::NetworkModels& models, int cmn_type) {
  sideA.StartFrontEnd(nSampleRate, *pCfg, cmn_type, nReadyMeans);
  if (TSEG::GainedSide* side = gained()) side->StartFrontEnd(nSampleRate, *pCfg, cmn_type, nReadyMeans);
  network.Start(models, pCfg->wvad_param_TsegModelType, pCfg->wvad_param_vad_LstmPaddingNum);
}

void TsegInst::StartParts(uint32_t epoch) {
  if (TSEG::GainedSide* side = gained()) TSEG::GainControlStart(side->pAgc.get(), pCfg->wvad_param_SampleRate);
  sideA.SetFrameSize(nSampleRate);
  if (sideB) sideB->SetFrameSize(nSampleRate);
  intake.Start();
  power.fEnergyAcc = 0;
  decision.Start(pCfg.get());
  results.Start(nSampleRate, pCfg.get());
  reading.Start(*pCfg);
  diagnostics.Start(*pCfg);
  bInstStart = 1;
  nEpoch = epoch;
}

void TsegInst::End(const TSEG::CFG_VAD& defaults) {
  sideA.End();
  power.End();
  decision.End();
  results.End();
  reading.End();
  bInstStart = 0;
  diagnostics.End();
  if (!pCfg->wvad_param_isTsegLstm && network.pDnn) TSEG::DnnForwardForget(network.pDnn.get());
  *pCfg = defaults;
  if (TSEG::GainedSide* side = gained()) side->End();
}
