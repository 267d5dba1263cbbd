// SPDX-License-Identifier: Apache-2.0
//
// The decision about one 10 ms frame: network pair and frame energy to a signed score, score to a frame verdict.
//
// Work on the instance record of the calling thread. Intermediate values are double, rounded to single where a field or result is single.
// Constant work per frame but for the energy floor once in 100 frames; only the score trace grows.
#ifndef WVAD_DECISION_FRAME_DECISION_H_
#define WVAD_DECISION_FRAME_DECISION_H_

#include <cstdint>

#include "session/tseg_inst.h"

namespace TSEG {

// The signed score of one frame: negative is silence. `a` is the speech output of the network, `b` the other.
// A frame without an energy in the history leaves as std::out_of_range.
float wVadProcess(TsegInst* inst, float a, float b);
// Scores one frame and gives its verdict; begin and end frame of the current sentence go to `outBegin` and `outEnd`. `stride` is not used.
FrameVerdict wVadFrameStep(TsegInst* inst, const float* pair, int32_t stride, int32_t* outBegin, int32_t* outEnd);

}  // namespace TSEG

#endif  // WVAD_DECISION_FRAME_DECISION_H_
