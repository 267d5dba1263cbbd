// SPDX-License-Identifier: Apache-2.0
//
// Settings that the system reads itself: private profiles, which are text files with sections, and the registry.
#include <windows.h>

#include <cstring>
#include <vector>

#include "platform/platform.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

constexpr unsigned long kLongestValue = 1024;

// The value `name` of an open key as text: a text as it stands, a 32-bit number in decimal; nothing for another type.
std::optional<std::string> ValueOf(HKEY key, const std::wstring& name) {
  wchar_t value[kLongestValue];
  unsigned long type = 0;
  unsigned long n_bytes = sizeof value;
  if (::RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<unsigned char*>(value), &n_bytes) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  if (type == REG_DWORD && n_bytes == sizeof(uint32_t)) {
    uint32_t number = 0;
    std::memcpy(&number, value, sizeof number);
    return std::to_string(number);
  }
  if (type != REG_SZ) return std::nullopt;
  const std::wstring_view text(value, n_bytes / sizeof(wchar_t));
  return Utf8(text.substr(0, text.find(L'\0')));
}

}  // namespace

// The file's bytes become wide characters by the code page and bytes again by the same; so they come through, in whatever encoding.
std::optional<std::string> ProfileValue(const std::string& path, const std::string& section, const std::string& key) {
  wchar_t value[kLongestValue];
  const unsigned long length =
      ::GetPrivateProfileStringW(Wide(section).c_str(), Wide(key).c_str(), L"", value, kLongestValue, Wide(path).c_str());
  return InCodePage(std::wstring_view(value, length));
}

std::optional<std::string> RegistryValue(const std::string& key, const std::string& name) {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, Wide(key).c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return std::nullopt;
  std::string value = ValueOf(opened, Wide(name)).value_or(std::string());
  ::RegCloseKey(opened);
  return value;
}

}  // namespace TSEG::platform
