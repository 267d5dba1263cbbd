// SPDX-License-Identifier: Apache-2.0
#include "log/log_route.h"

namespace TSEG {
namespace {

// The route that the thread opened last.
thread_local constinit const LogRoute* innermost = nullptr;

}  // namespace

LogRoute::LogRoute(To to, const LogSink* sink)
    : outer_(innermost), diverted_(to == To::kSink || Diverted()), sink_(to == To::kSink ? sink : Sink()) {
  innermost = this;
}

LogRoute::~LogRoute() { innermost = outer_; }

bool LogRoute::Diverted() { return innermost != nullptr && innermost->diverted_; }

const LogSink* LogRoute::Sink() { return innermost != nullptr ? innermost->sink_ : nullptr; }

}  // namespace TSEG
