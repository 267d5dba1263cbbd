// SPDX-License-Identifier: Apache-2.0
//
// Clocks, and who is running. The tick count goes on while the machine sleeps, so that a time derived from it stays near the wall clock.
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/platform.h"

namespace TSEG::platform {
namespace {

bool ReadClock(clockid_t clock, timespec* out) { return ::clock_gettime(clock, out) == 0; }

}  // namespace

uint64_t TickCount64() {
  timespec now{};
  if (!ReadClock(CLOCK_BOOTTIME, &now) && !ReadClock(CLOCK_MONOTONIC, &now)) return 0;
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

uint32_t TickCount() { return static_cast<uint32_t>(TickCount64() & 0xFFFFFFFFu); }

bool PerformanceCounter(int64_t* counter) {
  timespec now{};
  *counter = 0;
  if (!ReadClock(CLOCK_MONOTONIC, &now)) return false;
  *counter = static_cast<int64_t>(now.tv_sec) * PerformanceFrequency() + now.tv_nsec;
  return true;
}

int64_t PerformanceFrequency() { return 1000000000; }

int64_t WallClockSeconds() { return static_cast<int64_t>(::time(nullptr)); }

void SleepMilliseconds(unsigned ms) {
  timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

size_t FormatLocalTime(int64_t seconds, const char* format, char* buffer, size_t size) {
  const time_t when = static_cast<time_t>(seconds);
  tm parts{};
  if (size > 0) buffer[0] = '\0';
  if (::localtime_r(&when, &parts) == nullptr) return 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  return ::strftime(buffer, size, format, &parts);
#pragma GCC diagnostic pop
}

std::string FormatLocalTime(int64_t seconds, const char* format) {
  char text[256];
  return std::string(text, FormatLocalTime(seconds, format, text, sizeof text));
}

uint32_t ProcessId() { return static_cast<uint32_t>(::getpid()); }

uint32_t ThreadId() { return static_cast<uint32_t>(::gettid()); }

}  // namespace TSEG::platform
