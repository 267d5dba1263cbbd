// SPDX-License-Identifier: Apache-2.0
//
// The frame loops: scored frames out of the network of an instance, into a decision for every one.
//
// There is one walk; what kinds of network differ in is their scorers' affair. A loop runs to its end inside one write, holds nothing
// between calls beyond the instance, allocates nothing per frame and takes no lock.
#ifndef WVAD_DECISION_FRAME_LOOPS_H_
#define WVAD_DECISION_FRAME_LOOPS_H_

#include "session/tseg_inst.h"

namespace TSEG {

// Decides on all frames that the scorer of the session has now. `last` opens the held-back frames of the session's end. A session whose
// model type has no network has its frames dropped, with 14007 on the log: they have been stored, and make room.
void DecideOnFrames(TsegInst* inst, bool last);

// The same with the scorer of one kind, whatever the session's model type. An instance that lacks the network has its frames dropped, with
// one error line. All return 0.
int wReadProcessDnnFea(TsegInst* inst, bool last);
int wReadProcessLstmFea(TsegInst* inst, bool last);
int wReadProcessLstmFea40(TsegInst* inst, bool last);

}  // namespace TSEG

#endif  // WVAD_DECISION_FRAME_LOOPS_H_
