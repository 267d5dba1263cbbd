// SPDX-License-Identifier: Apache-2.0
//
// A handle that may do nothing but ask is given for whatever others have locked, and follows links.
#include "platform/windows/path_info.h"

#include "platform/windows/handle.h"

namespace TSEG::platform {
namespace {

uint64_t Joined(unsigned long high, unsigned long low) { return static_cast<uint64_t>(high) << 32 | low; }

int64_t NanosecondsSince1970(const FILETIME& time) {
  constexpr int64_t kTicksFrom1601 = 116444736000000000;  // of 100 ns
  return (static_cast<int64_t>(Joined(time.dwHighDateTime, time.dwLowDateTime)) - kTicksFrom1601) * 100;
}

}  // namespace

std::optional<PathInfo> LookAt(const std::wstring& path) {
  const Handle handle(
      ::CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!handle.ok()) return std::nullopt;
  PathInfo info;
  BY_HANDLE_FILE_INFORMATION known{};
  if (::GetFileType(handle.get()) != FILE_TYPE_DISK || ::GetFileInformationByHandle(handle.get(), &known) == 0) return info;
  info.is_folder = (known.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  info.is_plain_file = !info.is_folder;
  info.size = Joined(known.nFileSizeHigh, known.nFileSizeLow);
  info.changed_ns = NanosecondsSince1970(known.ftLastWriteTime);
  info.volume = known.dwVolumeSerialNumber;
  info.index = Joined(known.nFileIndexHigh, known.nFileIndexLow);
  return info;
}

}  // namespace TSEG::platform
