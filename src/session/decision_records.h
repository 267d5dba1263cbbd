// SPDX-License-Identifier: Apache-2.0
//
// The records that the decision side keeps per instance: endpoint detector, energy statistics, sentence table, first-sound probe.
//
// Plain data with the values of a fresh session as defaults, and the functions that put those back; the rules that work on them live in
// decision/. Positions are frame numbers.
#ifndef WVAD_SESSION_DECISION_RECORDS_H_
#define WVAD_SESSION_DECISION_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "params/cfg_vad.h"

namespace TSEG {

// Room that histories of one value a frame begin with.
constexpr size_t kHistoryReserve = 4096;

struct EndpointDetector {
  int32_t nWinThreshold = 0;  // frames of speech needed in the sliding window
  uint8_t ring[20] = {};      // sliding window, 1 for a speech frame
  int32_t nRingPos = 0;
  int32_t nState = 0;       // 0 before the first sentence, 1 inside one, 2 after one
  int32_t nBeginFrame = 0;  // of the current or last sentence
  int32_t nEndFrame = 0;
  int32_t nSilFrames = 0;   // silence frames since the last sentence's last speech frame
  uint8_t bPending = 0;     // a speech run waits to be confirmed as a begin
  int32_t nEdgeState = 1;   // 1 silence, 2 speech
  int32_t nFloor = 0;       // lowest frame that a new sentence may claim; inside a sentence, the last speech frame
  int32_t nPendBegin = -1;  // the pending run
  int32_t nPendEnd = -1;
  int32_t nRiseFrame = -1;  // last rise and fall
  int32_t nFallFrame = -1;
  const CFG_VAD* pCfg = nullptr;
  int32_t nFirstBegin = -1;  // begin of the session's first sentence, before margins
  int32_t nLastEnd = -1;     // last speech frame before the last end, before margins
  int32_t nTraceBegin = 0;   // the two above for the debug text; meaningful only after their first writing
  int32_t nTraceEnd = 0;
};

struct EnergyStats {
  int32_t nLastFrame = 0;
  float fCentreLow = 0;
  float fCentreHigh = 0;
  float fSpreadAll = 0;
  float fSpreadOwn = 0;
  float fAbsDevSum = 0;
  float fOwnDevSum = 0;
  float fThreshold = 65.0f;
  float fSum = 0;
  float fSqDevSum = 0;
  float fClusterSum[2] = {};
  int32_t nClusterCount[2] = {};
};

struct SentenceTable {
  int32_t nIdx = -1;
  std::vector<int32_t> vecBegin;
  std::vector<int32_t> vecEnd;
  std::vector<uint8_t> bitsClosed;  // one bit a sentence that has ended
  std::vector<int32_t> vecSilLen;
  const CFG_VAD* pCfg = nullptr;
};

struct FrontBackProbe {
  int32_t nScanned = 0;       // audio positions scanned
  int32_t nRunFrame = -5;     // the frame before the one being examined
  int32_t nRun = 0;           // consecutive frames found active
  int32_t nHits = 0;          // active positions since the last frame counted
  int32_t nTotalSamples = 0;  // samples written so far; 9999999 once "bkt" is spent
  char szFnt[128] = {};
  char szBkt[128] = {};
  int32_t nSampleRate = 16000;
  int32_t nFntState = 0;    // 0 looking, 1 first sound found, 2 text made, 3 text delivered
  uint8_t bEnergyKept = 0;  // fEnergy is set
  float fEnergy = 0;        // energy at the first sound, once its frames have left the history
  const CFG_VAD* pCfg = nullptr;
};

// Puts the detector to the values of a fresh session, with `cfg`. The two trace values stay: they mean nothing before their first writing.
void EndpointReset(EndpointDetector* detector, const CFG_VAD* cfg);
// The values of a fresh session; the floor stands at 65.
void EnergyStatsReset(EnergyStats* stats);
// Empties the table for a session under `cfg`.
void SentenceTableReset(SentenceTable* table, const CFG_VAD* cfg);
// The values of a fresh session at `nSampleRate` Hz under `cfg`.
void FrontBackProbeReset(FrontBackProbe* probe, int32_t nSampleRate, const CFG_VAD* cfg);

}  // namespace TSEG

#endif  // WVAD_SESSION_DECISION_RECORDS_H_
