// SPDX-License-Identifier: Apache-2.0
//
// The audio-quality component: signal-to-noise and clipping rate of a session's audio, behind a small interface of its own.
//
// The engine calls it when wvad_param_bKelOn is set. An instance belongs to one thread at a time; a component's default parameters are
// written by its start alone. All functions return 0 or a WKEL_ERROR_* code.
#ifndef WVAD_QUALITY_KEL_H_
#define WVAD_QUALITY_KEL_H_

#include <cstdint>

#include "base/error_codes.h"
#include "wvad.h"

namespace TSEG {

struct KelEngine;
struct KelInst;

// Brings `engine` up: opens the log if the process has none, and reads the section "kel" of the configuration.
int wKelInitialize(KelEngine* engine, void* reserved);
int wKelUninitialize(KelEngine* engine);
// An instance under the defaults of `engine`, which outlives it.
int wKelCreate(KelEngine* engine, KelInst** inst);
int wKelDestroy(KelInst* inst);
int wKelReset(KelInst* inst);
// Feeds `audio`: pData, len in bytes, status; status 2 ends the session's audio and computes the measures.
int wKelAudioWrite(KelInst* inst, const WVadAudioSample* audio);
int wKelStart(KelInst* inst);
int wKelStop(KelInst* inst);
int wKelSetParameter(KelInst** inst, const char* param, const char* value);
int wKelGetParameter(KelInst** inst, const char* param, char* value, int nLen);
// Sets `*out` to the instance's result record: "snr" if it is ready, then "cur".
int wKelGetResult(KelInst* inst, WVadResult** out);

}  // namespace TSEG

#endif  // WVAD_QUALITY_KEL_H_
