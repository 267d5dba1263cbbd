// SPDX-License-Identifier: Apache-2.0
//
// Between the bytes of platform.h and the wide characters of the system.
//
// Bytes are UTF-8. What is not valid UTF-8 is read in the code page of the process, in which older programs and configuration files
// write their paths; the two hardly ever collide. What comes back from the system is UTF-8 always.
#ifndef WVAD_PLATFORM_WINDOWS_WIDE_TEXT_H_
#define WVAD_PLATFORM_WINDOWS_WIDE_TEXT_H_

#include <string>
#include <string_view>

namespace TSEG::platform {

// Empty for bytes that are neither.
std::wstring Wide(std::string_view bytes);
// Half a pair of surrogates, which a file's name may hold, becomes U+FFFD.
std::string Utf8(std::wstring_view text);
// The bytes of `text` in the code page of the process: the inverse of what the system does to a text file that it reads.
std::string InCodePage(std::wstring_view text);

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_WINDOWS_WIDE_TEXT_H_
