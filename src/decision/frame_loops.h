// SPDX-License-Identifier: Apache-2.0
//
// The three frame loops: blocks out of the instance's channels, through the network, into a decision for every frame that comes back.
//
// Each runs to its end inside one write, holds nothing between calls beyond the instance, allocates nothing per frame and takes no lock. An
// instance that lacks the network or the channel that its loop needs has its frames dropped, with one error line.
#ifndef WVAD_DECISION_FRAME_LOOPS_H_
#define WVAD_DECISION_FRAME_LOOPS_H_

#include "session/tseg_inst.h"

namespace TSEG {

// `bLast` opens the held-back frames of the session's end. All return 0.
int wReadProcessDnnFea(TsegInst* inst, bool bLast);
int wReadProcessLstmFea(TsegInst* inst, bool bLast);
int wReadProcessLstmFea40(TsegInst* inst, bool bLast);

}  // namespace TSEG

#endif  // WVAD_DECISION_FRAME_LOOPS_H_
