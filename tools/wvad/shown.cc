// SPDX-License-Identifier: Apache-2.0
#include "wvad/shown.h"

#include <cstddef>
#include <cstdint>

#include "base/plain_character.h"

namespace TSEG::tool {
namespace {

std::string Escaped(uint32_t byte) {
  if (byte == '\n') return "\\n";
  if (byte == '\r') return "\\r";
  if (byte == '\t') return "\\t";
  constexpr const char* kDigits = "0123456789abcdef";
  return std::string("\\x") + kDigits[byte >> 4] + kDigits[byte & 15U];
}

}  // namespace

std::string Shown(std::string_view text) {
  std::string shown;
  for (size_t at = 0; at < text.size();) {
    // Of a character that is not shown each byte stands for itself: none of those behind its first begins one.
    const size_t length = PlainCharacterAt(text, at);
    shown += length > 0 ? std::string(text.substr(at, length)) : Escaped(static_cast<unsigned char>(text[at]));
    at += length > 0 ? length : 1;
  }
  return shown;
}

}  // namespace TSEG::tool
