// SPDX-License-Identifier: Apache-2.0
//
// The float front end: 16-bit PCM in, one StaticFeatureFB per frame out. A handle with a small C-style interface.
//
// A handle belongs to one channel and one thread at a time; creation and rate tables are the only places that allocate. Transforms are
// planned under a process-wide lock, since the planner of the FFT library is not re-entrant, and run without one.
#ifndef WVAD_FRONTEND_FLOAT_FRONT_H_
#define WVAD_FRONTEND_FLOAT_FRONT_H_

#include <cstdint>

#include "frontend/feature_records.h"

namespace TSEG {

class FloatFront;
using FrontHandle = FloatFront*;

enum FrontResult : int {
  kFrontOk = 0,                 // success; a record was delivered
  kFrontPending = 1,            // no record now, frames are pending
  kFrontNone = 2,               // no record now, all computed frames are delivered
  ORVAFE_ERRID_BUFFERFULL = 3,  // the PCM ring has no room
  ORVAFE_ERRID_ERROR = 4        // bad handle, argument or value
};

// Makes a front end at 16000 Hz with everything at its beginning and stores it in `*out`. Returns 0, or 4 for a null `out`.
int ORVAFloatFrontCreate(FrontHandle* out);
// Frees it. Null is allowed.
void ORVAFloatFrontDestroy(FrontHandle handle);
// Rewinds the ring and the counters; with `bNewSession` also the sums behind the mean. Rebuilds the filter banks for the rate in force.
void ORVAFloatFrontReset(FrontHandle handle, int bNewSession);
// After a reset for a new session: frames leave at once, whatever the mean schedule says, and the mean begins as the usual one, which
// counts for `frames` frames beside those that are heard. Holds until the next reset for a new session. Means of types 1 and 4 stay
// what they are.
void ORVAFloatFrontBeginReady(FrontHandle handle, int32_t frames);
// So many suit the bundled models, as measured on the judged recordings: what is built above the exported functions begins with them.
constexpr int32_t kReadyMeans = 50;
// Sets "wffpl_param_cmn_type", "wffpl_param_SampleRate", "wffpl_param_k4_energy" or "wffpl_param_ispitch_enable" from decimal text.
int ORVAFloatFrontSetParameter(FrontHandle handle, const char* param, const char* value);
// Appends `count` samples to the ring of 409600. Returns 0 or ORVAFE_ERRID_BUFFERFULL with nothing taken.
int ORVAFloatFrontAppendData(FrontHandle handle, const int16_t* samples, int count);
// Fills `*record` with the next frame that the mean schedule lets go; with `bFlush` every computed frame may go. 0, 1, 2 or 4.
int ORVAFloatFrontGetFeature(FrontHandle handle, StaticFeatureFB* record, int bFlush);

}  // namespace TSEG

#endif  // WVAD_FRONTEND_FLOAT_FRONT_H_
