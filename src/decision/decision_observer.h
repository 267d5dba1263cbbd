// SPDX-License-Identifier: Apache-2.0
//
// DecisionObserver: sees what became of each frame and why, for those who have to explain a session.
//
// Only looks: a session with an observer decides as one without.
#ifndef WVAD_DECISION_DECISION_OBSERVER_H_
#define WVAD_DECISION_DECISION_OBSERVER_H_

#include <cstdint>

#include "decision/endpoint_detector.h"
#include "session/tseg_inst.h"

namespace TSEG {

// One frame on its way from the network's pair to the signed score that the endpoint detector gets.
struct DecidedFrame {
  float speech = 0;  // the network's pair
  float other = 0;
  float raw = 0;             // the pair's difference less its threshold; negative is silence
  float score = 0;           // the same, once everything below has had its say
  double energy = 0;         // of the frame, in the unit of the energy history
  double floor = 0;          // what that was held against
  bool held_over = false;    // refused, since a negative frame lies just before it
  bool below_floor = false;  // silence, since the floor lies above its energy
  bool spliced = false;      // silence, since the sentence has become too long
};

class DecisionObserver {
 public:
  virtual ~DecisionObserver() = default;
  // Frame number `index` of the session has been decided on, for the reasons in `frame`. `inst` stands as this has left it: detector, gap
  // in force, counts.
  virtual void OnFrame(const TsegInst& inst, int32_t index, const DecidedFrame& frame, EndpointResult result) = 0;

  DecidedFrame reasons;  // where the decision puts them; what OnFrame gets
};

}  // namespace TSEG

#endif  // WVAD_DECISION_DECISION_OBSERVER_H_
