// SPDX-License-Identifier: Apache-2.0
//
// The decision side as the write path sees it: frame loops, frame decision, endpoint state machine, energy floor, sentence table and
// results.
//
// Everything runs on the thread of the write, takes no lock, and allocates only where the sentence table and the result texts grow.
#ifndef WVAD_DECISION_DECISION_H_
#define WVAD_DECISION_DECISION_H_

#include "decision/endpoint_detector.h"  // IWYU pragma: export
#include "decision/energy_floor.h"       // IWYU pragma: export
#include "decision/energy_history.h"     // IWYU pragma: export
#include "decision/frame_decision.h"     // IWYU pragma: export
#include "decision/frame_loops.h"        // IWYU pragma: export
#include "decision/front_back_probe.h"   // IWYU pragma: export
#include "decision/results.h"            // IWYU pragma: export
#include "decision/sentence_table.h"     // IWYU pragma: export

#endif  // WVAD_DECISION_DECISION_H_
