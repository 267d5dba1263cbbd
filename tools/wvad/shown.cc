// SPDX-License-Identifier: Apache-2.0
#include "wvad/shown.h"

#include <cstddef>
#include <cstdint>

namespace TSEG::tool {
namespace {

uint32_t ByteAt(std::string_view text, size_t at) { return static_cast<unsigned char>(text[at]); }

// How many bytes the character at `at` has, and which one it is; 0 where no character of UTF-8 stands (Unicode, table 3-7).
size_t CharacterAt(std::string_view text, size_t at, uint32_t* character) {
  const uint32_t first = ByteAt(text, at);
  const size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  if (length == 0 || length > text.size() - at) return 0;
  *character = length == 1 ? first : first & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    const uint32_t next = ByteAt(text, at + i);
    if ((next & 0xC0U) != 0x80U) return 0;
    *character = *character << 6 | (next & 0x3FU);
  }
  const bool too_long = (length == 3 && *character < 0x800) || (length == 4 && *character < 0x10000);
  const bool none = *character > 0x10FFFF || (*character >= 0xD800 && *character < 0xE000);
  return too_long || none ? 0 : length;
}

bool IsPlain(uint32_t character) {
  const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
  return !control && character != 0x2028 && character != 0x2029;
}

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
    uint32_t character = 0;
    const size_t length = CharacterAt(text, at, &character);
    if (length > 0 && IsPlain(character)) {
      shown += text.substr(at, length);
    } else {
      for (size_t i = 0; i < (length > 0 ? length : 1); ++i) shown += Escaped(ByteAt(text, at + i));
    }
    at += length > 0 ? length : 1;
  }
  return shown;
}

}  // namespace TSEG::tool
