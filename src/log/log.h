// SPDX-License-Identifier: Apache-2.0
//
// What the rest of the system sees of the one logger of the process: levels, the entries, the failure report, the scopes.
//
// A line is made in three steps: is there a logger, is the bit on, then format. Use the WVAD_LOG_* macros: they keep the arguments of a
// disabled line from being evaluated. Nothing here reports a failure; a closed logger makes every call a no-op. Safe from any thread.
#ifndef WVAD_LOG_LOG_H_
#define WVAD_LOG_LOG_H_

#include <cstdint>

namespace TSEG {

// A level is one bit.
enum LogLevel : uint32_t {
  kLogCrt = 1,    // time marks and important state
  kLogErr = 2,    // every failure report
  kLogWan = 4,    // warnings
  kLogInf = 8,    // successful parameter reads, loading
  kLogVbs = 16,   // life-cycle notes
  kLogDbg = 32,   // debugging
  kLogPrf = 64,   // timers
  kLogTrc = 128,  // scopes
  kLogSpk = 256   // spare
};

// Whether a logger is open, its output is not 0 and `bit` is in its level mask.
bool log_enabled(uint32_t bit);

// The entries, one per level: printf rules, a line of up to 65535 bytes.
[[gnu::format(printf, 1, 2)]] void log_crit(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_error(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_warn(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_info(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_verbose(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_perf(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_trace(const char* format, ...);

#define WVAD_LOG_AT_(bit, entry, ...)                         \
  do {                                                        \
    if (::TSEG::log_enabled(bit)) ::TSEG::entry(__VA_ARGS__); \
  } while (false)
#define WVAD_LOG_CRIT(...) WVAD_LOG_AT_(::TSEG::kLogCrt, log_crit, __VA_ARGS__)
#define WVAD_LOG_ERROR(...) WVAD_LOG_AT_(::TSEG::kLogErr, log_error, __VA_ARGS__)
#define WVAD_LOG_WARN(...) WVAD_LOG_AT_(::TSEG::kLogWan, log_warn, __VA_ARGS__)
#define WVAD_LOG_INFO(...) WVAD_LOG_AT_(::TSEG::kLogInf, log_info, __VA_ARGS__)
#define WVAD_LOG_VERBOSE(...) WVAD_LOG_AT_(::TSEG::kLogVbs, log_verbose, __VA_ARGS__)

// The second line of a failure, "Error! The error string is -> %s = %d\n", at level ERR; returns `code`.
int LogErrorLine(const char* name, int code);
// The counterpart "Warning! The warn string is -> %s = %d\n", at level WAN; returns `code`.
int LogWarnLine(const char* name, int code);

// A whole failure report in one statement: the line of what was wrong, then the common line; gives the code.
#define WVAD_FAIL(code, name, ...) \
  (::TSEG::log_enabled(::TSEG::kLogErr) ? ::TSEG::log_error(__VA_ARGS__) : (void)0, ::TSEG::LogErrorLine(name, code))

// ---- Life of the one logger

struct LogDefaults {
  const char* file;   // "../log/w_tseg.log"
  const char* title;  // "Tseg Logging"
};
// Whether the process has a logger.
bool srlog_exists();
// Opens the logger from the section `section` of `cfg_file` over `defaults`. The result of the open, or -1 when a logger exists already,
// which then stays as it is.
int srlog_open(const char* cfg_file, const char* section, const LogDefaults& defaults);
// Lowers the count and closes on the last.
void srlog_close();

// ---- Scopes

// Logs "enter." and "leave." at level TRC. `name` must outlive the scope.
class TraceScope {
 public:
  explicit TraceScope(const char* name);
  ~TraceScope();
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

 private:
  const char* name_;
};

// Times from its making to Finish, which logs a line at level PRF. Where the counter cannot be read the elapsed time is 0.
struct PerfTimer {
  // `result`, if not null, takes the elapsed nanoseconds at the end. A name of 60 characters or more is cut.
  explicit PerfTimer(const char* name, double* result = nullptr);
  void Finish();

  int64_t nFrequency = 0;  // ticks per second
  int64_t nStart = 0;
  double fElapsed = 0.0;  // nanoseconds, once computed
  char szName[60];
  const char* szTag = "";  // a second name; empty at the exported functions
  double* pResult;
  bool bStopped = false;   // the time has been taken
  bool bCounting = false;  // the counter could be read at the start
};

// The pair that exported functions open first. The timer starts before the "enter." line and ends after the "leave." line, so its figure
// covers both. `name` must outlive the scope.
class ApiScope {
 public:
  explicit ApiScope(const char* name) : timer_(name), trace_(name) {}
  ApiScope(const ApiScope&) = delete;
  ApiScope& operator=(const ApiScope&) = delete;

 private:
  struct FinishingTimer : PerfTimer {
    using PerfTimer::PerfTimer;
    ~FinishingTimer() { Finish(); }
  };
  FinishingTimer timer_;
  TraceScope trace_;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_H_
