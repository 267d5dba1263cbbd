// SPDX-License-Identifier: Apache-2.0
//
// temporary_file.h on Windows: a file that goes with its handle, and that nobody else can open.
#include "wvad/temporary_file.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <random>

#include "platform/platform.h"
#include "platform/windows/error_number.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"
#include "wvad/failure.h"
#include "wvad/windows/descriptor.h"
#include "wvad/windows/temporary_place.h"

namespace TSEG::tool {
namespace {

OVERLAPPED PlaceAt(uint64_t offset) {
  OVERLAPPED place{};
  place.Offset = static_cast<unsigned long>(offset & 0xFFFFFFFFU);
  place.OffsetHigh = static_cast<unsigned long>(offset >> 32);
  return place;
}

unsigned long AtMost(size_t count) { return static_cast<unsigned long>(std::min<size_t>(count, size_t{1} << 30)); }

}  // namespace

const char* const kOtherFolderForTemporary = "; set TMP to a folder with room";

std::string FolderForTemporary() {
  std::array<wchar_t, MAX_PATH + 2> path{};
  const unsigned long length = ::GetTempPathW(static_cast<unsigned long>(path.size()), path.data());
  return length < path.size() ? platform::Utf8(std::wstring_view(path.data(), length)) : std::string();
}

std::string NameForTemporary() {
  std::random_device random;
  return "wvad-" + std::to_string(platform::ProcessId()) + "-" + std::to_string(random());
}

TemporaryFile::TemporaryFile(const std::string& who) : who_(who), folder_(FolderForTemporary()) {
  const std::wstring name = platform::Wide(folder_ + NameForTemporary());
  const HANDLE handle = ::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (handle == INVALID_HANDLE_VALUE) Fail("made", platform::LastErrorNumber());
  descriptor_ = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDWR | _O_BINARY | _O_NOINHERIT);
  if (descriptor_ >= 0) return;
  ::CloseHandle(handle);
  Fail("made", EMFILE);
}

TemporaryFile::~TemporaryFile() { ::_close(descriptor_); }

void TemporaryFile::Fail(const char* what, int error) const {
  throw Failure(ExitCode::kOutput, who_ + ": is kept in a temporary file in " + folder_ + " meanwhile, which cannot be " + what + ": " +
                                       std::strerror(error) + kOtherFolderForTemporary);
}

void TemporaryFile::Append(const void* bytes, size_t count) {
  const char* from = static_cast<const char*>(bytes);
  while (count > 0) {
    OVERLAPPED place = PlaceAt(length_);
    unsigned long written = 0;
    if (::WriteFile(HandleOf(descriptor_), from, AtMost(count), &written, &place) == 0) Fail("written", platform::LastErrorNumber());
    if (written == 0) Fail("written", ENOSPC);
    from += written;
    count -= written;
    length_ += written;
  }
}

size_t TemporaryFile::ReadAt(uint64_t offset, void* out, size_t count) const {
  size_t got = 0;
  while (got < count) {
    OVERLAPPED place = PlaceAt(offset + got);
    unsigned long more = 0;
    const bool read = ::ReadFile(HandleOf(descriptor_), static_cast<char*>(out) + got, AtMost(count - got), &more, &place) != 0;
    if (!read && ::GetLastError() != ERROR_HANDLE_EOF) Fail("read", platform::LastErrorNumber());
    if (!read || more == 0) break;
    got += more;
  }
  return got;
}

}  // namespace TSEG::tool
