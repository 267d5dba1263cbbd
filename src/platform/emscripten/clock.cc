// SPDX-License-Identifier: Apache-2.0
//
// Clocks of the C library, which asks whoever runs this code. There is no zone of the user's: local time is UTC.
#include <ctime>

#include "platform/platform.h"

namespace TSEG::platform {

uint64_t TickCount64() {
  timespec now{};
  if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0) return 0;
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

uint32_t TickCount() { return static_cast<uint32_t>(TickCount64() & 0xFFFFFFFFu); }

// The clocks of a page are coarser than a microsecond, and to ask for one would cost more than what is measured.
bool PerformanceCounter(int64_t* counter) {
  *counter = 0;
  return false;
}

int64_t PerformanceFrequency() { return 1000000000; }

int64_t WallClockSeconds() { return static_cast<int64_t>(std::time(nullptr)); }

// Nothing else can run meanwhile, so there is nobody to leave the processor to.
void SleepMilliseconds(unsigned ms) {
  const uint64_t begin = TickCount64();
  while (TickCount64() - begin < ms) {
  }
}

size_t FormatLocalTime(int64_t seconds, const char* format, char* buffer, size_t size) {
  const time_t when = static_cast<time_t>(seconds);
  tm parts{};
  if (size > 0) buffer[0] = '\0';
  if (::gmtime_r(&when, &parts) == nullptr) return 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  return ::strftime(buffer, size, format, &parts);
#pragma GCC diagnostic pop
}

std::string FormatLocalTime(int64_t seconds, const char* format) {
  char text[256];
  return std::string(text, FormatLocalTime(seconds, format, text, sizeof text));
}

uint32_t ProcessId() { return 1; }
uint32_t ThreadId() { return 1; }

}  // namespace TSEG::platform
