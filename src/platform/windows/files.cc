// SPDX-License-Identifier: Apache-2.0
//
// Paths: what stands at them, folders, names.
#include <algorithm>

#include "platform/platform.h"
#include "platform/windows/handle.h"
#include "platform/windows/path_info.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

constexpr wchar_t kSeparators[] = L"\\/";

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

bool IsDriveLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

bool IsFolder(const std::wstring& path) {
  const std::optional<PathInfo> info = LookAt(path);
  return info && info->is_folder;
}

// Where the folders that can be made begin: behind "C:" and behind the computer and the share of a network path.
size_t BehindRoot(const std::wstring& path) {
  if (path.size() >= 2 && path[1] == L':') return 2;
  if (path.size() < 2 || path.find_first_of(kSeparators) != 0 || path.find_first_of(kSeparators, 1) != 1) return 0;
  const size_t share = path.find_first_of(kSeparators, 2);
  const size_t behind = share == std::wstring::npos ? share : path.find_first_of(kSeparators, share + 1);
  return behind == std::wstring::npos ? path.size() : behind;
}

}  // namespace

PathKind KindOfPath(const std::string& path) {
  const std::optional<PathInfo> info = LookAt(Wide(path));
  if (!info) return PathKind::kMissing;
  return info->is_folder ? PathKind::kDirectory : PathKind::kFile;
}

std::optional<uint64_t> FileSize(const std::string& path) {
  const std::optional<PathInfo> info = LookAt(Wide(path));
  if (!info || info->is_folder) return std::nullopt;
  return info->size;
}

int64_t ModificationTime(const std::string& path) {
  const std::optional<PathInfo> info = LookAt(Wide(path));
  return info ? info->changed_ns : 0;
}

bool MakeFolders(const std::string& path) {
  const std::wstring whole = Wide(path);
  // Each prefix that ends before a separator, then the whole; what exists already is no failure as long as it is a folder.
  for (size_t end = whole.find_first_of(kSeparators, std::max<size_t>(BehindRoot(whole) + 1, 1));;
       end = whole.find_first_of(kSeparators, end + 1)) {
    const std::wstring level = whole.substr(0, end);
    if (!level.empty() && !IsFolder(level) && ::CreateDirectoryW(level.c_str(), nullptr) == 0 && !IsFolder(level)) return false;
    if (end == std::wstring::npos) break;
  }
  return true;
}

bool RemoveFile(const std::string& path) {
  const std::wstring name = Wide(path);
  const unsigned long attributes = ::GetFileAttributesW(name.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  // A link to a folder counts as a folder here, and is taken away by itself all the same.
  const bool is_folder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const bool is_link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if (is_folder) return is_link && ::RemoveDirectoryW(name.c_str()) != 0;
  return ::DeleteFileW(name.c_str()) != 0;
}

std::vector<std::string> ListFiles(const std::string& folder) {
  std::vector<std::string> names;
  std::wstring prefix = Wide(folder);
  if (prefix.empty()) return names;
  if (prefix.find_last_of(kSeparators) != prefix.size() - 1) prefix += L'\\';
  WIN32_FIND_DATAW item{};
  const HANDLE listing = ::FindFirstFileExW((prefix + L"*").c_str(), FindExInfoBasic, &item, FindExSearchNameMatch, nullptr, 0);
  if (listing == INVALID_HANDLE_VALUE) return names;
  do {
    bool is_plain = (item.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    if ((item.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
      const std::optional<PathInfo> target = LookAt(prefix + item.cFileName);
      is_plain = target && target->is_plain_file;
    }
    if (is_plain) names.push_back(Utf8(item.cFileName));
  } while (::FindNextFileW(listing, &item) != 0);
  ::FindClose(listing);
  return names;
}

std::string NormaliseSeparators(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

// A path from a drive's current folder ("C:a") or from the current drive's root ("\a") leads elsewhere in another folder.
bool IsAbsolutePath(const std::string& path) {
  if (path.size() >= 3 && IsDriveLetter(path[0]) && path[1] == ':') return IsSeparator(path[2]);
  return path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1]);
}

}  // namespace TSEG::platform
