// SPDX-License-Identifier: Apache-2.0
//
// The conversions are the system's own; their lengths are ints.
#include "platform/windows/wide_text.h"

#include <windows.h>

#include <limits>

namespace TSEG::platform {
namespace {

int Length(size_t n) { return n <= static_cast<size_t>(std::numeric_limits<int>::max()) ? static_cast<int>(n) : 0; }

std::wstring FromPage(unsigned page, unsigned long flags, std::string_view bytes) {
  std::wstring text(static_cast<size_t>(::MultiByteToWideChar(page, flags, bytes.data(), Length(bytes.size()), nullptr, 0)), L'\0');
  ::MultiByteToWideChar(page, flags, bytes.data(), Length(bytes.size()), text.data(), Length(text.size()));
  return text;
}

std::string IntoPage(unsigned page, std::wstring_view text) {
  std::string bytes(static_cast<size_t>(::WideCharToMultiByte(page, 0, text.data(), Length(text.size()), nullptr, 0, nullptr, nullptr)),
                    '\0');
  ::WideCharToMultiByte(page, 0, text.data(), Length(text.size()), bytes.data(), Length(bytes.size()), nullptr, nullptr);
  return bytes;
}

}  // namespace

std::wstring Wide(std::string_view bytes) {
  std::wstring text = FromPage(CP_UTF8, MB_ERR_INVALID_CHARS, bytes);
  return !text.empty() || bytes.empty() ? text : FromPage(CP_ACP, 0, bytes);
}

std::string Utf8(std::wstring_view text) { return IntoPage(CP_UTF8, text); }

std::string InCodePage(std::wstring_view text) { return IntoPage(CP_ACP, text); }

}  // namespace TSEG::platform
