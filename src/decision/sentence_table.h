// SPDX-License-Identifier: Apache-2.0
//
// The table of sentences that the read path and the queries use, and the one place through which every frame verdict goes.
//
// Runs on the writing thread of its instance. Allocates where table and "vol" list grow: at a sentence's begin and end, never per frame.
#ifndef WVAD_DECISION_SENTENCE_TABLE_H_
#define WVAD_DECISION_SENTENCE_TABLE_H_

#include <cstdint>

#include "session/tseg_inst.h"

namespace TSEG {

// Enters `verdict` with the two frame numbers of its step: opens, updates or closes a sentence, or marks the session as over. At a close
// it adds the sentence's "vol" text.
void wVadEmitVerdict(TsegInst* inst, FrameVerdict verdict, int32_t begin, int32_t end);
// Closes an open sentence and marks the audio as finished.
void wVadFinishAudio(TsegInst* inst);
// Closed sentences, in order up to the first open one, as pairs of frames into `out` [nSize]; returns the integers written. With an odd
// `nSize` the last pair goes one beyond it.
int CollectEndpoints(const SentenceTable& table, int* out, int nSize);

}  // namespace TSEG

#endif  // WVAD_DECISION_SENTENCE_TABLE_H_
