// SPDX-License-Identifier: Apache-2.0
//
// A recording of any length: a chain of sessions (stream/session_chain.h) on one detector of the program's engine.
#ifndef WVAD_WVAD_RECORDING_H_
#define WVAD_WVAD_RECORDING_H_

#include <memory>
#include <utility>

#include "stream/session_chain.h"
#include "wvad/engine.h"

namespace TSEG::tool {

using stream::RenewalPolicy;
using stream::Sentence;
using stream::SessionQuality;

class Recording : public stream::SessionChain {
 public:
  // `parameters` are set for every session.
  Recording(Detector& detector, ParameterList parameters, int rate_hz, RenewalPolicy policy, Sink sink, size_t frame_bytes = 0)
      : SessionChain([&detector, parameters = std::move(parameters),
                      frame_bytes](int64_t) { return std::make_unique<Session>(detector, parameters, frame_bytes); },
                     rate_hz, policy, std::move(sink), frame_bytes) {}
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RECORDING_H_
