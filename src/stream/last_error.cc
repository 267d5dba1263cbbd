// SPDX-License-Identifier: Apache-2.0
#include "stream/last_error.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/plain_character.h"

namespace TSEG::stream {
namespace {

constexpr size_t kLongestMessage = 512;

// Plain characters: nothing to be destroyed at the thread's end, and no memory to run out of.
thread_local char last_message[kLongestMessage] = "";

}  // namespace

const char* LastError() { return last_message; }

wvad_status Fail(wvad_status status, const char* message) noexcept {
  const std::string_view text = message;
  size_t kept = 0;
  for (size_t at = 0; at < text.size();) {
    const size_t length = PlainCharacterAt(text, at);
    // What is left out begins with a whole character, not within one.
    if (kept + std::max<size_t>(length, 1) >= sizeof last_message) break;
    if (length > 0) {
      std::memcpy(last_message + kept, message + at, length);
    } else {
      last_message[kept] = text[at] == '\n' || text[at] == '\r' ? ' ' : '?';
    }
    at += std::max<size_t>(length, 1);
    kept += std::max<size_t>(length, 1);
  }
  last_message[kept] = '\0';
  return status;
}

}  // namespace TSEG::stream
