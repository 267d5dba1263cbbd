// SPDX-License-Identifier: Apache-2.0
#include "session/session_results.h"

namespace TSEG {

void SessionResults::Start(int32_t rate, const CFG_VAD* cfg) {
  SentenceTableReset(pSentences.get(), cfg);
  FrontBackProbeReset(pProbe.get(), rate, cfg);
  pKelResults->clear();
  fLastVol = 0;
}

}  // namespace TSEG
