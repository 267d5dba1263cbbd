// SPDX-License-Identifier: Apache-2.0
//
// The two pipelines that a chunk of audio goes through, stage by stage: the plain one, and the gain-controlled one behind it.
//
// Run on the caller's thread, take no lock. In steady state nothing here allocates but the growth of the histories.
#ifndef WVAD_ENGINE_WRITE_PATH_H_
#define WVAD_ENGINE_WRITE_PATH_H_

#include <cstdint>

#include "session/tseg_inst.h"

namespace TSEG {

// Stores the chunk, gives it to the front end and, without gain control, decides on the frames that it completes. `status` is 2 on the last
// chunk of a session.
void wVadWriteNoAGC(TsegInst* inst, const uint8_t* chunk, uint32_t status, uint32_t n_bytes);
// The same on the second side, and the decision; nothing unless the instance has one and wvad_param_vad_AgcOn is set.
void wVadWriteAGC(TsegInst* inst, const uint8_t* chunk, uint32_t n_bytes, uint32_t status);

}  // namespace TSEG

#endif  // WVAD_ENGINE_WRITE_PATH_H_
