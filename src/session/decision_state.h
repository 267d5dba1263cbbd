// SPDX-License-Identifier: Apache-2.0
//
// DecisionState: what the decision about the frames of a session knows: how far it is, what it has heard, and whether it is over.
//
// Plain data; the rules that work on it live in decision/. With the debug text the energies of the whole session stay.
#ifndef WVAD_SESSION_DECISION_STATE_H_
#define WVAD_SESSION_DECISION_STATE_H_

#include <cstdint>
#include <memory>

#include "channel/frame_history.h"
#include "params/cfg_vad.h"
#include "session/decision_records.h"

namespace TSEG {

class DecisionObserver;

struct DecisionState {
  DecisionState();

  int32_t nFrameIdx = 0;     // index of the next frame to decide on
  uint8_t bSpeechFound = 0;  // the first sentence has begun
  uint8_t bTimeOut = 0;      // no speech within the response time
  uint8_t bAudioFinish = 0;  // the utterance has ended
  int32_t nState = 0;        // 0 before the first sentence, 1 inside one, 2 after one
  int32_t nCurSpeechFrameNum = 0;
  int32_t nNoSpeechFrames = 0;
  int32_t nHoldOver = 0;
  int32_t nCurFrameGap = 40;
  int32_t nSilenceResetCount = 0;
  float fSpeechEnergySum = 0;
  int32_t nSpeechEnergyCount = 0;
  FrameHistory<float> eScore;   // one energy per frame; those that nothing can ask for any more are dropped
  FrameHistory<float> eScoreB;  // stays empty: the energies of the gain-controlled side go to eScore
  std::unique_ptr<EndpointDetector> pEndpoint = std::make_unique<EndpointDetector>();
  std::unique_ptr<EnergyStats> pEnergyStats = std::make_unique<EnergyStats>();
  DecisionObserver* pObserver = nullptr;  // is told of every frame, if there is one; stays from session to session

  // The values of a fresh session under `cfg`, which must outlive it. The two sums of a sentence in progress stay.
  void Start(const CFG_VAD* cfg);
  // Forgets the energies and the sentence in progress.
  void End();
  // The session takes no more audio.
  bool over() const { return bAudioFinish != 0 || bTimeOut != 0; }
};

}  // namespace TSEG

#endif  // WVAD_SESSION_DECISION_STATE_H_
