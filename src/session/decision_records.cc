// SPDX-License-Identifier: Apache-2.0
#include "session/decision_records.h"

namespace TSEG {

void EndpointReset(EndpointDetector* detector, const CFG_VAD* cfg) {
  EndpointDetector fresh;
  fresh.pCfg = cfg;
  fresh.nTraceBegin = detector->nTraceBegin;
  fresh.nTraceEnd = detector->nTraceEnd;
  *detector = fresh;
}

void EnergyStatsReset(EnergyStats* stats) { *stats = EnergyStats(); }

void SentenceTableReset(SentenceTable* table, const CFG_VAD* cfg) {
  table->nIdx = -1;
  table->vecBegin.clear();
  table->vecEnd.clear();
  table->bitsClosed.clear();
  table->vecSilLen.clear();
  table->pCfg = cfg;
}

void FrontBackProbeReset(FrontBackProbe* probe, int32_t nSampleRate, const CFG_VAD* cfg) {
  *probe = FrontBackProbe();
  probe->nSampleRate = nSampleRate;
  probe->pCfg = cfg;
}

}  // namespace TSEG
