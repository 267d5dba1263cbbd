// SPDX-License-Identifier: Apache-2.0
//
// LogRoute: where the lines of the calling thread go. Without one they go to the logger of the process; while one stands they go to its
// sink, or nowhere.
//
// An engine that a program holds as an object has no log of its own and must not write into that of the process: it opens a route at the
// top of each call. Routes nest; each is of its thread alone.
#ifndef WVAD_LOG_LOG_ROUTE_H_
#define WVAD_LOG_LOG_ROUTE_H_

#include <cstdint>
#include <functional>

namespace TSEG {

// Takes the lines of an engine. `line` runs on the thread of the call that logs, without a lock; `text` is valid during the call.
struct LogSink {
  uint32_t levels = 0;  // LogLevel bits that are wanted
  std::function<void(uint32_t bit, const char* text)> line;
};

class LogRoute {
 public:
  enum class To { kProcess, kSink };
  // `kProcess` leaves the lines where they go already. With `kSink` they go to `sink`, which outlives the route; null drops them.
  LogRoute(To to, const LogSink* sink) : pushed_(to == To::kSink), sink_(sink) {
    if (!pushed_) return;
    outer_ = innermost_;
    innermost_ = this;
  }
  ~LogRoute() {
    if (pushed_) innermost_ = outer_;
  }
  LogRoute(const LogRoute&) = delete;
  LogRoute& operator=(const LogRoute&) = delete;

  // Whether lines of this thread are taken from the process's logger, and by whom (null: dropped).
  static bool Diverted() { return innermost_ != nullptr; }
  static const LogSink* Sink() { return innermost_ != nullptr ? innermost_->sink_ : nullptr; }

 private:
  // The route that the thread opened last.
  static inline thread_local constinit const LogRoute* innermost_ = nullptr;

  const bool pushed_;
  const LogSink* const sink_;
  const LogRoute* outer_ = nullptr;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_ROUTE_H_
