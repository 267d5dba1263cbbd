// SPDX-License-Identifier: Apache-2.0
#include "stream/last_error.h"

#include <algorithm>
#include <cstring>

namespace TSEG::stream {
namespace {

constexpr size_t kLongestMessage = 512;

// Plain characters: nothing to be destroyed at the thread's end, and no memory to run out of.
thread_local char last_message[kLongestMessage] = "";

}  // namespace

const char* LastError() { return last_message; }

wvad_status Fail(wvad_status status, const char* message) noexcept {
  const size_t length = std::strlen(message);
  size_t kept = std::min(length, sizeof last_message - 1);
  // What is left out begins with a whole character, not within one.
  while (kept < length && kept > 0 && (static_cast<unsigned char>(message[kept]) & 0xC0) == 0x80) --kept;
  std::memcpy(last_message, message, kept);
  last_message[kept] = '\0';
  for (char* at = last_message; *at != '\0'; ++at) {
    if (*at == '\n' || *at == '\r') *at = ' ';
  }
  return status;
}

}  // namespace TSEG::stream
