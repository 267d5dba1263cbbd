// SPDX-License-Identifier: Apache-2.0
//
// file_system.h on Windows. Paths are UTF-8, with slashes or backslashes; files are opened so that others may go on reading, writing,
// renaming and removing them.
#include "wvad/file_system.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cerrno>

#include "platform/windows/error_number.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"
#include "wvad/system.h"
#include "wvad/windows/descriptor.h"

namespace TSEG::tool {
namespace {

using platform::Handle;
using platform::Wide;

Handle OpenToLook(const std::string& path) {
  return Handle(::CreateFileW(Wide(path).c_str(), FILE_READ_ATTRIBUTES, platform::kShareAll, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

uint64_t Joined(unsigned long high, unsigned long low) { return static_cast<uint64_t>(high) << 32 | low; }

FileLook LookOf(HANDLE handle) {
  FileLook look;
  BY_HANDLE_FILE_INFORMATION known{};
  if (::GetFileType(handle) != FILE_TYPE_DISK) {
    look.kind = FileKind::kSpecial;
  } else if (::GetFileInformationByHandle(handle, &known) != 0) {
    look.kind = (known.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileKind::kFolder : FileKind::kFile;
    look.device = known.dwVolumeSerialNumber;
    look.inode = Joined(known.nFileIndexHigh, known.nFileIndexLow);
  }
  return look;
}

uint64_t SizeOfHandle(HANDLE handle) {
  LARGE_INTEGER size{};
  return ::GetFileType(handle) == FILE_TYPE_DISK && ::GetFileSizeEx(handle, &size) != 0 ? static_cast<uint64_t>(size.QuadPart) : 0;
}

// In units of 100 ns, of an ordinary file.
std::optional<uint64_t> LastWritten(const std::string& path) {
  const Handle handle = OpenToLook(path);
  FILETIME time{};
  if (!handle.ok() || LookOf(handle.get()).kind != FileKind::kFile) return std::nullopt;
  if (::GetFileTime(handle.get(), nullptr, nullptr, &time) == 0) return std::nullopt;
  return Joined(time.dwHighDateTime, time.dwLowDateTime);
}

int DescriptorOf(HANDLE handle, int flags) {
  if (handle == INVALID_HANDLE_VALUE) {
    errno = platform::LastErrorNumber();
    return -1;
  }
  const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), flags | _O_BINARY | _O_NOINHERIT);
  if (descriptor < 0) ::CloseHandle(handle);
  return descriptor;
}

// What a failed read means: the end of what comes, the end of the wait, or -1 with errno.
long FailedRead() {
  const unsigned long error = ::GetLastError();
  if (error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF || ReadingStopped()) return 0;
  errno = platform::ErrorNumber(error);
  return -1;
}

// Waits until the pipe has something or ends; a read of it could not be broken off. False where reading has been stopped.
bool WaitForPipe(HANDLE pipe) {
  constexpr unsigned long kLookMs = 10;
  while (!ReadingStopped()) {
    unsigned long there = 0;
    if (::PeekNamedPipe(pipe, nullptr, 0, nullptr, &there, nullptr) == 0 || there > 0) return true;
    ::Sleep(kLookMs);
  }
  return false;
}

unsigned long AtMost(size_t count) { return static_cast<unsigned long>(std::min<size_t>(count, size_t{1} << 30)); }

}  // namespace

std::filesystem::path PathOf(const std::string& name) { return Wide(name); }

std::string NameOf(const std::filesystem::path& path) { return platform::Utf8(path.native()); }

std::string SlashedNameOf(const std::filesystem::path& path) { return platform::Utf8(path.generic_wstring()); }

FileLook LookAt(const std::string& path) {
  const Handle handle = OpenToLook(path);
  if (handle.ok()) return LookOf(handle.get());
  FileLook look;
  const unsigned long attributes = ::GetFileAttributesW(Wide(path).c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) look.kind = FileKind::kDanglingLink;
  return look;
}

FileLook LookAtDescriptor(int descriptor) {
  const HANDLE handle = HandleOf(descriptor);
  return handle != INVALID_HANDLE_VALUE ? LookOf(handle) : FileLook();
}

uint64_t SizeOf(const std::string& path) {
  const Handle handle = OpenToLook(path);
  return handle.ok() && LookOf(handle.get()).kind == FileKind::kFile ? SizeOfHandle(handle.get()) : 0;
}

bool IsNewer(const std::string& path, const std::string& than) {
  const std::optional<uint64_t> one = LastWritten(path);
  const std::optional<uint64_t> other = LastWritten(than);
  return one && other && *one > *other;
}

std::optional<int> DescriptorNamed(const std::string& path) {
  if (path == "/dev/stdout") return kStandardOutput;
  if (path == "/dev/stderr") return kStandardError;
  return std::nullopt;
}

std::string FoldedName(const std::string& path) {
  std::wstring name = Wide(path);
  std::replace(name.begin(), name.end(), L'/', L'\\');
  ::CharLowerBuffW(name.data(), static_cast<unsigned long>(name.size()));
  return platform::Utf8(name);
}

int OpenForReading(const std::string& path) {
  return DescriptorOf(
      ::CreateFileW(Wide(path).c_str(), GENERIC_READ, platform::kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr),
      _O_RDONLY);
}

long ReadSome(int descriptor, void* out, size_t count) {
  const HANDLE handle = HandleOf(descriptor);
  if (ReadingStopped() || (::GetFileType(handle) == FILE_TYPE_PIPE && !WaitForPipe(handle))) return 0;
  unsigned long got = 0;
  return ::ReadFile(handle, out, AtMost(count), &got, nullptr) != 0 ? static_cast<long>(got) : FailedRead();
}

long ReadSomeAt(int descriptor, uint64_t offset, void* out, size_t count) {
  OVERLAPPED place{};
  place.Offset = static_cast<unsigned long>(offset & 0xFFFFFFFFU);
  place.OffsetHigh = static_cast<unsigned long>(offset >> 32);
  unsigned long got = 0;
  return ::ReadFile(HandleOf(descriptor), out, AtMost(count), &got, &place) != 0 ? static_cast<long>(got) : FailedRead();
}

uint64_t LengthOf(int descriptor) { return SizeOfHandle(HandleOf(descriptor)); }

uint64_t PositionOf(int descriptor) {
  const LARGE_INTEGER nowhere{};
  LARGE_INTEGER position{};
  const bool known = ::SetFilePointerEx(HandleOf(descriptor), nowhere, &position, FILE_CURRENT) != 0;
  return known && position.QuadPart > 0 ? static_cast<uint64_t>(position.QuadPart) : 0;
}

int MakeEmptyFile(const std::string& path) {
  const Handle handle(
      ::CreateFileW(Wide(path).c_str(), GENERIC_WRITE, platform::kShareAll, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  return handle.ok() ? 0 : platform::LastErrorNumber();
}

int OpenSpecial(const std::string& path) {
  return DescriptorOf(
      ::CreateFileW(Wide(path).c_str(), GENERIC_WRITE, platform::kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr),
      _O_WRONLY);
}

void CloseDescriptor(int descriptor) { ::_close(descriptor); }

int WriteAll(int descriptor, std::string_view bytes) {
  const HANDLE handle = HandleOf(descriptor);
  while (!bytes.empty()) {
    unsigned long written = 0;
    if (::WriteFile(handle, bytes.data(), AtMost(bytes.size()), &written, nullptr) == 0) return platform::LastErrorNumber();
    if (written == 0) return ENOSPC;
    bytes.remove_prefix(written);
  }
  return 0;
}

}  // namespace TSEG::tool
