// SPDX-License-Identifier: Apache-2.0
//
// One character at a time with a conversion state of its own, so that any number of threads may convert.
#include "log/log_text.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace TSEG {

std::wstring WidenText(const char* text) {
  std::wstring wide;
  size_t left = std::strlen(text);
  wide.reserve(left);
  std::mbstate_t state{};
  while (left > 0) {
    wchar_t c = 0;
    size_t used = std::mbrtowc(&c, text, left, &state);
    if (used == 0 || used > left) {
      c = static_cast<wchar_t>(static_cast<unsigned char>(*text));
      used = 1;
      state = std::mbstate_t{};
    }
    wide += c;
    text += used;
    left -= used;
  }
  return wide;
}

std::string NarrowText(const wchar_t* text) {
  std::string bytes;
  std::mbstate_t state{};
  char piece[MB_LEN_MAX];
  for (; *text != L'\0'; ++text) {
    const size_t made = std::wcrtomb(piece, *text, &state);
    if (made != static_cast<size_t>(-1)) {
      bytes.append(piece, made);
      continue;
    }
    state = std::mbstate_t{};
    const bool is_byte = *text > 0 && static_cast<unsigned long>(*text) < 256;
    bytes += is_byte ? static_cast<char>(static_cast<unsigned char>(*text)) : '?';
  }
  return bytes;
}

std::string FormatText(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  // The end mark falls onto the string's own.
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}

}  // namespace TSEG
