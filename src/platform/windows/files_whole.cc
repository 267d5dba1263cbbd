// SPDX-License-Identifier: Apache-2.0
//
// Files as a whole: reading and copying. Nothing here waits: of a pipe only what is there is read, and of a device nothing.
#include <algorithm>
#include <array>

#include "platform/platform.h"
#include "platform/windows/handle.h"
#include "platform/windows/path_info.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

// What is read of a pipe, which has no length of its own.
constexpr size_t kStreamLimit = size_t{1} << 20;

// A folder is not opened by this.
Handle OpenToRead(const std::wstring& path) {
  return Handle(::CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Reads on until `limit` bytes or the end. False on a read error.
bool ReadUpTo(HANDLE file, size_t limit, std::string* text) {
  std::array<char, 16384> block;
  while (text->size() < limit) {
    unsigned long got = 0;
    const auto wanted = static_cast<unsigned long>(std::min(block.size(), limit - text->size()));
    if (::ReadFile(file, block.data(), wanted, &got, nullptr) == 0) return ::GetLastError() == ERROR_BROKEN_PIPE;
    if (got == 0) return true;
    text->append(block.data(), got);
  }
  return true;
}

// False where reading or writing broke off.
bool CopyBytes(HANDLE from, HANDLE to) {
  std::array<char, 65536> block;
  for (;;) {
    unsigned long got = 0;
    if (::ReadFile(from, block.data(), static_cast<unsigned long>(block.size()), &got, nullptr) == 0) return false;
    if (got == 0) return true;
    for (unsigned long at = 0; at < got;) {
      unsigned long written = 0;
      if (::WriteFile(to, block.data() + at, got - at, &written, nullptr) == 0 || written == 0) return false;
      at += written;
    }
  }
}

}  // namespace

bool IsReadable(const std::string& path) { return OpenToRead(Wide(path)).ok(); }

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const Handle file = OpenToRead(Wide(path));
  if (!file.ok()) return std::nullopt;
  std::string text;
  size_t limit = 0;
  const unsigned long type = ::GetFileType(file.get());
  if (type == FILE_TYPE_DISK) limit = text.max_size();
  if (type == FILE_TYPE_PIPE) {
    unsigned long there = 0;
    if (::PeekNamedPipe(file.get(), nullptr, 0, nullptr, &there, nullptr) != 0) limit = std::min<size_t>(there, kStreamLimit);
  }
  if (!ReadUpTo(file.get(), limit, &text)) return std::nullopt;
  return text;
}

bool CopyFileOver(const std::string& from, const std::string& to) {
  const std::wstring source_path = Wide(from);
  const std::wstring target_path = Wide(to);
  const std::optional<PathInfo> source_info = LookAt(source_path);
  if (!source_info || !source_info->is_plain_file) return false;
  const std::optional<PathInfo> target_info = LookAt(target_path);
  if (target_info && target_info->volume == source_info->volume && target_info->index == source_info->index) return false;

  const Handle source = OpenToRead(source_path);
  if (!source.ok()) return false;
  Handle target(::CreateFileW(target_path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!target.ok()) return false;
  if (CopyBytes(source.get(), target.get())) return true;
  // Half a copy would look like a whole one, and would keep a full disk full.
  target.Close();
  ::DeleteFileW(target_path.c_str());
  return false;
}

}  // namespace TSEG::platform
