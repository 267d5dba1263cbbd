// SPDX-License-Identifier: Apache-2.0
//
// EngineCall: what every call on an engine opens first: the way of its log lines, then timer and trace of the function.
#ifndef WVAD_ENGINE_ENGINE_CALL_H_
#define WVAD_ENGINE_ENGINE_CALL_H_

#include "engine/engine.h"
#include "log/log.h"
#include "log/log_route.h"

namespace TSEG {

class EngineCall {
 public:
  // `name` is that of the function in the log.
  EngineCall(const Engine& engine, const char* name) : route_(engine.log_to(), engine.log_sink()), scope_(name) {}

 private:
  LogRoute route_;
  ApiScope scope_;
};

}  // namespace TSEG

#endif  // WVAD_ENGINE_ENGINE_CALL_H_
