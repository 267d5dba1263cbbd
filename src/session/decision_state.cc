// SPDX-License-Identifier: Apache-2.0
#include "session/decision_state.h"

namespace TSEG {

DecisionState::DecisionState() { eScore.reserve(kHistoryReserve); }

void DecisionState::Start(const CFG_VAD* cfg) {
  EndpointReset(pEndpoint.get(), cfg);
  EnergyStatsReset(pEnergyStats.get());
  nFrameIdx = 0;
  bSpeechFound = 0;
  bTimeOut = 0;
  bAudioFinish = 0;
  nState = 0;
  nCurSpeechFrameNum = 0;
  nNoSpeechFrames = 0;
  nHoldOver = 0;
  nCurFrameGap = cfg->wvad_param_nFrameGap;
  nSilenceResetCount = 0;
}

void DecisionState::End() {
  eScore.clear();
  eScoreB.clear();
  nSilenceResetCount = 0;
  fSpeechEnergySum = 0;
  nSpeechEnergyCount = 0;
}

}  // namespace TSEG
