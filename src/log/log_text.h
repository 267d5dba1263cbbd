// SPDX-License-Identifier: Apache-2.0
//
// Text on the heap: wide and multibyte text by the locale in force, and formatted text of any length.
//
// Whatever does not convert is kept: a byte that is no character of the locale becomes the wide character of its number and comes back as
// that byte; a wide character that the locale has no bytes for becomes '?'.
#ifndef WVAD_LOG_LOG_TEXT_H_
#define WVAD_LOG_LOG_TEXT_H_

#include <string>

namespace TSEG {

std::wstring WidenText(const char* text);
std::string NarrowText(const wchar_t* text);

// printf rules, as long as it has to be. Empty where the format cannot be followed.
[[gnu::format(printf, 1, 2)]] std::string FormatText(const char* format, ...);

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_TEXT_H_
