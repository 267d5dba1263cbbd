// SPDX-License-Identifier: Apache-2.0
//
// The write path below wVadAudioWrite: the cutting into chunks of 800 bytes and the two pipelines that a chunk goes through.
//
// Runs on the caller's thread, takes no lock. In steady state nothing here allocates but the growth of the energy histories.
#ifndef WVAD_API_WRITE_PATH_H_
#define WVAD_API_WRITE_PATH_H_

#include <cstdint>

#include "session/tseg_inst.h"

namespace TSEG {

// The next chunk of `audio` into pChunk, nChunkFill bytes; `*status` is 2 on the last chunk of a session and 1 on the others. False when
// the rest has to wait for the next write.
bool NextChunk(TsegInst* inst, const WVadAudioSample& audio, uint32_t* status);
// The plain pipeline: stores the chunk, gives it to the front end, decides on the frames that it completes.
void wVadWriteNoAGC(TsegInst* inst, const uint8_t* chunk, uint32_t status, uint32_t nBytes);
// The gain-controlled pipeline; nothing unless wvad_param_vad_AgcOn is set.
void wVadWriteAGC(TsegInst* inst, const uint8_t* chunk, uint32_t nBytes, uint32_t status);

}  // namespace TSEG

#endif  // WVAD_API_WRITE_PATH_H_
