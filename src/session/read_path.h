// SPDX-License-Identifier: Apache-2.0
//
// The read step: walks the sentence table and hands out, in order, the features or the PCM of the frames that lie inside sentences.
//
// Runs on the caller's thread and shares its data with the write path without a lock. No allocation in steady state. Frames outside of
// sentences are freed unseen, so that the memory of a long session stays bounded.
#ifndef WVAD_SESSION_READ_PATH_H_
#define WVAD_SESSION_READ_PATH_H_

#include "session/tseg_inst.h"

namespace TSEG {

// One step of the read machine of a started instance; fills all of `audio`, with `pData` at the instance's read buffer. The buffer is never
// overrun: frames that do not fit wait, in order, and come with the next read. Always 0.
int ReadStep(TsegInst* inst, WVadAudioSample* audio);

}  // namespace TSEG

#endif  // WVAD_SESSION_READ_PATH_H_
