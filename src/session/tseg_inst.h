// SPDX-License-Identifier: Apache-2.0
//
// TsegInst: the record behind a WVADInst. Everything that one detector owns, in parts; in a session, everything that it knows.
//
// Each part has a start and an end of its own; the record puts them in order. No lock: the caller serialises. Buffers and rings are made
// with the record, so that no frame allocates. With the length of a session grow the sentence table and, with the debug text, the text and
// its two histories.
#ifndef WVAD_SESSION_TSEG_INST_H_
#define WVAD_SESSION_TSEG_INST_H_

#include <cstdint>
#include <memory>

#include "channel/intake.h"
#include "params/cfg_vad.h"
#include "quality/kel.h"
#include "scoring/network.h"
#include "session/decision_state.h"
#include "session/diagnostics.h"
#include "session/power_track.h"
#include "session/read_state.h"
#include "session/session_results.h"
#include "session/side.h"
#include "wvad.h"

namespace TSEG {
class Engine;
}

struct TsegInst {
  // An instance under a copy of `defaults`. What they ask for is made: the second side with wvad_param_vad_AgcOn, the forward object for
  // wvad_param_isTsegLstm. An instance whose parameters are turned later works with what it has.
  explicit TsegInst(const TSEG::CFG_VAD& defaults);
  TsegInst(const TsegInst&) = delete;
  TsegInst& operator=(const TsegInst&) = delete;

  TSEG::Engine* pEngine = nullptr;  // the engine that made it and outlives it
  std::unique_ptr<TSEG::CFG_VAD> pCfg;
  int32_t nSampleRate = 16000;
  uint8_t bInstStart = 0;
  uint32_t nEpoch = 0;  // the engine's start that this session belongs to
  TSEG::KelInst* hKel = nullptr;
  int32_t nReadyMeans = 0;  // above 0: sessions begin with the usual means, which count for so many frames (ORVAFloatFrontBeginReady)

  TSEG::Diagnostics diagnostics;
  TSEG::Intake intake;
  TSEG::Side sideA;                         // the caller's audio
  std::unique_ptr<TSEG::GainedSide> sideB;  // the gain-controlled audio, or null
  TSEG::PowerTrack power;
  TSEG::Network network;
  TSEG::DecisionState decision;
  TSEG::SessionResults results;
  TSEG::ReadState reading;

  // The gain-controlled side, where there is one and the parameters ask for it; else null. Decisions then rest on it.
  TSEG::GainedSide* gained() const { return pCfg->wvad_param_vad_AgcOn ? sideB.get() : nullptr; }
  // The side that reads hand out.
  TSEG::Side& read_side() { return gained() != nullptr && pCfg->wvad_param_vad_ReadAGC ? *sideB : sideA; }
  const TSEG::Side& read_side() const { return const_cast<TsegInst*>(this)->read_side(); }
  // What the network is fed from.
  TSEG::ChannelsInUse channels() const { return {sideA.pFrontEnd.get(), gained() != nullptr ? sideB->pFrontEnd.get() : nullptr}; }

  // The first half of a session's start: front ends and network on `models`. `cmn_type`: the mean removal type of the engine's defaults.
  void StartPipeline(const TSEG::NetworkModels& models, int cmn_type);
  // The second half: every part as in a fresh session. From here on the session runs, as one of the engine's start `epoch`.
  void StartParts(uint32_t epoch);
  // Ends the session; the parameters are those of `defaults` again. Also without a running session.
  void End(const TSEG::CFG_VAD& defaults);
};

#endif  // WVAD_SESSION_TSEG_INST_H_
