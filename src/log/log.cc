// SPDX-License-Identifier: Apache-2.0
//
// The entries. Formatting happens here, on the caller's stack and outside of the logger's lock.
#include "log/log.h"

#include <cstdarg>
#include <cstdio>

#include "log/log_route.h"
#include "log/process_logger.h"

namespace TSEG {
namespace {

bool Wants(const LogSink* sink, uint32_t bit) { return sink != nullptr && sink->line && (sink->levels & bit) != 0; }

[[gnu::format(printf, 3, 0)]] void LogToSink(const LogSink* sink, uint32_t bit, const char* format, va_list arguments) {
  if (!Wants(sink, bit)) return;
  char text[Logger::kLineSize];
  text[0] = '\0';
  std::vsnprintf(text, sizeof text, format, arguments);
  sink->line(bit, text);
}

[[gnu::format(printf, 2, 0)]] void LogFormatted(uint32_t bit, const char* format, va_list arguments) {
  if (LogRoute::Diverted()) {
    LogToSink(LogRoute::Sink(), bit, format, arguments);
    return;
  }
  Logger* logger = CurrentLogger();
  if (logger == nullptr) return;
  char text[Logger::kLineSize];
  text[0] = '\0';
  // Where the bit is off the message stays empty, and the logger drops it.
  if (logger->enabled(bit)) std::vsnprintf(text, sizeof text, format, arguments);
  logger->log_msg_i(nullptr, bit, 0, text);
  // Failures are on disk at once.
  if ((bit & (kLogCrt | kLogErr | kLogWan)) != 0) logger->flush();
}

}  // namespace

bool log_enabled(uint32_t bit) {
  if (LogRoute::Diverted()) return Wants(LogRoute::Sink(), bit);
  const Logger* logger = CurrentLogger();
  return logger != nullptr && logger->enabled(bit);
}

#define WVAD_DEFINE_LOG_ENTRY_(name, bit) \
  void name(const char* format, ...) {    \
    va_list arguments;                    \
    va_start(arguments, format);          \
    LogFormatted(bit, format, arguments); \
    va_end(arguments);                    \
  }
WVAD_DEFINE_LOG_ENTRY_(log_crit, kLogCrt)
WVAD_DEFINE_LOG_ENTRY_(log_error, kLogErr)
WVAD_DEFINE_LOG_ENTRY_(log_warn, kLogWan)
WVAD_DEFINE_LOG_ENTRY_(log_info, kLogInf)
WVAD_DEFINE_LOG_ENTRY_(log_verbose, kLogVbs)
WVAD_DEFINE_LOG_ENTRY_(log_perf, kLogPrf)
WVAD_DEFINE_LOG_ENTRY_(log_trace, kLogTrc)
#undef WVAD_DEFINE_LOG_ENTRY_

int LogErrorLine(const char* name, int code) {
  WVAD_LOG_ERROR("Error! The error string is -> %s = %d\n", name, code);
  return code;
}

int LogWarnLine(const char* name, int code) {
  WVAD_LOG_WARN("Warning! The warn string is -> %s = %d\n", name, code);
  return code;
}

}  // namespace TSEG
