// SPDX-License-Identifier: Apache-2.0
//
// The result list of an instance: "vol", the audio-quality entries, "fnt", "bkt" and "sil", as short pieces of JSON.
//
// Texts are owned by the instance. Called on demand only; formats into the probe's two buffers, allocates nothing.
#ifndef WVAD_DECISION_RESULTS_H_
#define WVAD_DECISION_RESULTS_H_

#include "session/tseg_inst.h"

namespace TSEG {

// Builds the list of what is due, at most 16 items, and sets `*out` to it; gives 0. One case leaves as std::out_of_range: a first sound
// that lies one or two frames before the energy history ("invalid vector<T> subscript").
int CollectResults(TsegInst* inst, WVadResult** out);

}  // namespace TSEG

#endif  // WVAD_DECISION_RESULTS_H_
