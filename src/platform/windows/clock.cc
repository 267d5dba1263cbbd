// SPDX-License-Identifier: Apache-2.0
//
// Clocks, and who is running. The tick count goes on while the machine sleeps, so that a time derived from it stays near the wall clock.
#include <windows.h>

#include <ctime>

#include "platform/platform.h"

namespace TSEG::platform {

uint64_t TickCount64() { return ::GetTickCount64(); }

uint32_t TickCount() { return static_cast<uint32_t>(TickCount64() & 0xFFFFFFFFu); }

bool PerformanceCounter(int64_t* counter) {
  LARGE_INTEGER count{};
  const bool is_read = ::QueryPerformanceCounter(&count) != 0;
  *counter = is_read ? count.QuadPart : 0;
  return is_read;
}

int64_t PerformanceFrequency() {
  LARGE_INTEGER frequency{};
  return ::QueryPerformanceFrequency(&frequency) != 0 && frequency.QuadPart > 0 ? frequency.QuadPart : 1;
}

int64_t WallClockSeconds() { return static_cast<int64_t>(::_time64(nullptr)); }

// The system counts in ticks of its timer and may come back up to one early.
void SleepMilliseconds(unsigned ms) {
  int64_t begin = 0;
  int64_t now = 0;
  PerformanceCounter(&begin);
  const int64_t wanted = static_cast<int64_t>(ms) * PerformanceFrequency() / 1000;
  for (unsigned left = ms; left > 0;) {
    ::Sleep(left);
    if (!PerformanceCounter(&now) || now - begin >= wanted) return;
    left = static_cast<unsigned>((wanted - (now - begin)) * 1000 / PerformanceFrequency()) + 1;
  }
}

size_t FormatLocalTime(int64_t seconds, const char* format, char* buffer, size_t size) {
  const __time64_t when = seconds;
  tm parts{};
  if (size > 0) buffer[0] = '\0';
  if (::_localtime64_s(&parts, &when) != 0) return 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const size_t length = ::strftime(buffer, size, format, &parts);
#pragma GCC diagnostic pop
  if (length == 0 && size > 0) buffer[0] = '\0';
  return length;
}

std::string FormatLocalTime(int64_t seconds, const char* format) {
  char text[256];
  return std::string(text, FormatLocalTime(seconds, format, text, sizeof text));
}

uint32_t ProcessId() { return ::GetCurrentProcessId(); }

uint32_t ThreadId() { return ::GetCurrentThreadId(); }

}  // namespace TSEG::platform
