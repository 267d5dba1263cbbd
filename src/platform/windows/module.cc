// SPDX-License-Identifier: Apache-2.0
//
// Where this code lies: the file that the loader took it from, which is the DLL, or the program when it was linked into one. And what
// version a file says it is of.
#include <array>
#include <vector>

#include "platform/platform.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

constexpr wchar_t kSeparators[] = L"\\/";

// The full name of a loaded file, null for the program's; empty if it cannot be told.
std::wstring FileOf(HMODULE module) {
  constexpr size_t kLongestPath = 32768;
  for (std::wstring path(MAX_PATH, L'\0'); path.size() <= kLongestPath; path.resize(path.size() * 2)) {
    const unsigned long length = ::GetModuleFileNameW(module, path.data(), static_cast<unsigned long>(path.size()));
    if (length < path.size()) return path.substr(0, length);
  }
  return {};
}

HMODULE ThisModule() {
  HMODULE module = nullptr;
  constexpr unsigned long kByAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  return ::GetModuleHandleExW(kByAddress, reinterpret_cast<const wchar_t*>(&ThisModule), &module) != 0 ? module : nullptr;
}

// Where a link leads; `path` itself if it is none or cannot be followed.
std::wstring Followed(const std::wstring& path) {
  const unsigned long attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return path;
  const Handle file(::CreateFileW(path.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  std::array<wchar_t, 32768> target;
  const unsigned long length =
      file.ok() ? ::GetFinalPathNameByHandleW(file.get(), target.data(), static_cast<unsigned long>(target.size()), FILE_NAME_NORMALIZED)
                : 0;
  if (length == 0 || length >= target.size()) return path;
  std::wstring name(target.data(), length);
  // The form for drivers, which not every function takes.
  if (name.starts_with(L"\\\\?\\UNC\\")) return L"\\\\" + name.substr(8);
  return name.starts_with(L"\\\\?\\") ? name.substr(4) : name;
}

std::string FindModuleFolder() {
  const std::wstring path = Followed(FileOf(ThisModule()));
  const size_t separator = path.find_last_of(kSeparators);
  return separator == std::wstring::npos ? std::string(".\\") : Utf8(path.substr(0, separator + 1));
}

std::string NamePart(const std::wstring& path) {
  const size_t separator = path.find_last_of(kSeparators);
  return Utf8(separator == std::wstring::npos ? path : path.substr(separator + 1));
}

// The field "FileVersion" of the version resource, in the first language that it has.
std::string VersionOf(const std::wstring& path) {
  std::vector<char> block(::GetFileVersionInfoSizeW(path.c_str(), nullptr));
  if (block.empty() || ::GetFileVersionInfoW(path.c_str(), 0, static_cast<unsigned long>(block.size()), block.data()) == 0) return {};
  struct Language {
    uint16_t language, page;
  };
  void* value = nullptr;
  unsigned length = 0;
  if (::VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &value, &length) == 0 || length < sizeof(Language)) return {};
  const auto* first = static_cast<const Language*>(value);
  std::array<wchar_t, 64> name;
  ::swprintf(name.data(), name.size(), L"\\StringFileInfo\\%04x%04x\\FileVersion", first->language, first->page);
  if (::VerQueryValueW(block.data(), name.data(), &value, &length) == 0 || length == 0) return {};
  return Utf8(static_cast<const wchar_t*>(value));
}

}  // namespace

std::string ModuleFolder() {
  static const std::string folder = FindModuleFolder();
  return folder;
}

std::string ModuleFileName() { return NamePart(FileOf(ThisModule())); }

std::string ExecutableFileName() { return NamePart(FileOf(nullptr)); }

std::optional<std::string> ModuleFileVersion() { return VersionOf(FileOf(ThisModule())); }

std::optional<std::string> ExecutableFileVersion() { return VersionOf(FileOf(nullptr)); }

}  // namespace TSEG::platform
