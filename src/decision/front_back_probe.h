// SPDX-License-Identifier: Apache-2.0
//
// The probe that watches the raw audio for the first sound of a session.
//
// Looks at bytes as they come, before the front end; constant work per byte, no allocation, no failure path.
#ifndef WVAD_DECISION_FRONT_BACK_PROBE_H_
#define WVAD_DECISION_FRONT_BACK_PROBE_H_

#include <cstdint>

#include "session/decision_records.h"

namespace TSEG {

// Scans a piece of `nBytes` bytes until the first sound has been found, and counts its samples in any case.
void FrontBackProbeScan(FrontBackProbe* probe, const uint8_t* pBuf, int32_t nBytes);

}  // namespace TSEG

#endif  // WVAD_DECISION_FRONT_BACK_PROBE_H_
