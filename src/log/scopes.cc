// SPDX-License-Identifier: Apache-2.0
//
// Timers and trace scopes. All their state lies on the caller's stack.
#include <algorithm>
#include <cstring>

#include "log/log.h"
#include "platform/platform.h"

namespace TSEG {

PerfTimer::PerfTimer(const char* name, double* result) : pResult(result) {
  nFrequency = platform::PerformanceFrequency();
  bCounting = platform::PerformanceCounter(&nStart);
  const size_t length = std::min(std::strlen(name), sizeof szName - 1);
  std::memcpy(szName, name, length);
  szName[length] = '\0';
}

void PerfTimer::Finish() {
  if (!bStopped) {
    int64_t counter = 0;
    if (platform::PerformanceCounter(&counter) && bCounting && nFrequency != 0) {
      fElapsed = static_cast<double>(counter - nStart) * 1e9 / static_cast<double>(nFrequency);
    }
    bStopped = true;
  }
  if (log_enabled(kLogPrf)) log_perf("%s %s %.03f msec.", szName, szTag, fElapsed / 1e6);
  if (pResult != nullptr) *pResult = fElapsed;
}

TraceScope::TraceScope(const char* name) : name_(name) {
  if (log_enabled(kLogTrc)) log_trace("%s | enter.", name_);
}

TraceScope::~TraceScope() {
  if (log_enabled(kLogTrc)) log_trace("%s | leave.", name_);
}

}  // namespace TSEG
