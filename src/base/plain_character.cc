// SPDX-License-Identifier: Apache-2.0
#include "base/plain_character.h"

#include <cstdint>

namespace TSEG {
namespace {

uint32_t ByteAt(std::string_view text, size_t at) { return static_cast<unsigned char>(text[at]); }

bool IsPlain(uint32_t character) {
  const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
  return !control && character != 0x2028 && character != 0x2029;
}

}  // namespace

size_t PlainCharacterAt(std::string_view text, size_t at) {
  const uint32_t first = ByteAt(text, at);
  const size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  if (length == 0 || length > text.size() - at) return 0;
  uint32_t character = length == 1 ? first : first & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    const uint32_t next = ByteAt(text, at + i);
    if ((next & 0xC0U) != 0x80U) return 0;
    character = character << 6 | (next & 0x3FU);
  }
  const bool too_long = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  const bool none = character > 0x10FFFF || (character >= 0xD800 && character < 0xE000);
  return too_long || none || !IsPlain(character) ? 0 : length;
}

}  // namespace TSEG
