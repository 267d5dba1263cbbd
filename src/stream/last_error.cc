// SPDX-License-Identifier: Apache-2.0
#include "stream/last_error.h"

#include <cstdio>

namespace TSEG::stream {
namespace {

constexpr size_t kLongestMessage = 512;

// Plain characters: nothing to be destroyed at the thread's end, and no memory to run out of.
thread_local char last_message[kLongestMessage] = "";

}  // namespace

const char* LastError() { return last_message; }

wvad_status Fail(wvad_status status, const char* message) noexcept {
  std::snprintf(last_message, sizeof last_message, "%s", message);
  for (char* at = last_message; *at != '\0'; ++at) {
    if (*at == '\n' || *at == '\r') *at = ' ';
  }
  return status;
}

}  // namespace TSEG::stream
