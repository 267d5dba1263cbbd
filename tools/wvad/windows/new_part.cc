// SPDX-License-Identifier: Apache-2.0
//
// The part of a NewFile on Windows. It is marked as one that goes with its last handle, so that nothing is left of it however the process
// ends; publishing takes the mark away and renames it, both by the handle. A loss of power alone can leave one behind, which then is in the
// way of the next run until somebody removes it.
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/windows/error_number.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"
#include "wvad/failure.h"
#include "wvad/new_file.h"
#include "wvad/windows/descriptor.h"

namespace TSEG::tool {
namespace {

using platform::Wide;

// Whether the file goes with its last handle.
bool SetDoomed(HANDLE file, bool doomed) {
  FILE_DISPOSITION_INFO info{};
  info.DeleteFile = doomed ? TRUE : FALSE;
  return ::SetFileInformationByHandle(file, FileDispositionInfo, &info, sizeof info) != 0;
}

std::wstring WholePath(const std::string& path) {
  const std::wstring name = Wide(path);
  std::wstring whole(::GetFullPathNameW(name.c_str(), 0, nullptr, nullptr), L'\0');
  const unsigned long length = ::GetFullPathNameW(name.c_str(), static_cast<unsigned long>(whole.size()), whole.data(), nullptr);
  return length < whole.size() ? whole.substr(0, length) : name;
}

// 0, or the error's number.
int Rename(HANDLE file, const std::string& to, bool replace) {
  const std::wstring name = WholePath(to);
  std::vector<char> bytes(sizeof(FILE_RENAME_INFO) + name.size() * sizeof(wchar_t));
  auto* info = reinterpret_cast<FILE_RENAME_INFO*>(bytes.data());
  info->ReplaceIfExists = replace ? TRUE : FALSE;
  info->FileNameLength = static_cast<unsigned long>(name.size() * sizeof(wchar_t));
  std::memcpy(info->FileName, name.data(), name.size() * sizeof(wchar_t));
  const bool done = ::SetFileInformationByHandle(file, FileRenameInfo, info, static_cast<unsigned long>(bytes.size())) != 0;
  return done ? 0 : platform::LastErrorNumber();
}

enum class InTheWay { kNothing, kWriter, kFile };

// What has the name of a part. One that another run writes goes with its last handle: depending on the file system it is still seen, or its
// name is taken and it can be looked at by nobody.
InTheWay LookInTheWay(const std::wstring& part) {
  const unsigned long attributes = ::GetFileAttributesW(part.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return ::GetLastError() == ERROR_ACCESS_DENIED ? InTheWay::kWriter : InTheWay::kNothing;
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return InTheWay::kFile;
  const platform::Handle there(
      ::CreateFileW(part.c_str(), DELETE, platform::kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return !there.ok() && ::GetLastError() == ERROR_SHARING_VIOLATION ? InTheWay::kWriter : InTheWay::kFile;
}

}  // namespace

void NewFile::OpenPart() {
  const std::wstring part = Wide(part_);
  const HANDLE file =
      ::CreateFileW(part.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const unsigned long error = ::GetLastError();
    const InTheWay what = error == ERROR_FILE_EXISTS || error == ERROR_ACCESS_DENIED ? LookInTheWay(part) : InTheWay::kNothing;
    if (what == InTheWay::kWriter) throw Failure(ExitCode::kOutput, path_ + ": is being written by another run");
    if (what == InTheWay::kFile) throw Failure(ExitCode::kOutput, path_ + ": cannot be written, since " + part_ + " is in the way");
    Fail(platform::ErrorNumber(error));
  }
  SetDoomed(file, true);
  descriptor_ = ::_open_osfhandle(reinterpret_cast<intptr_t>(file), _O_WRONLY | _O_BINARY | _O_NOINHERIT);
  if (descriptor_ >= 0) return;
  ::CloseHandle(file);
  Fail(EMFILE);
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) ::_close(descriptor_);
}

void NewFile::WriteAt(int64_t offset, std::string_view bytes) {
  while (!bytes.empty()) {
    OVERLAPPED place{};
    place.Offset = static_cast<unsigned long>(offset & 0xFFFFFFFF);
    place.OffsetHigh = static_cast<unsigned long>(offset >> 32);
    unsigned long written = 0;
    // Leaves the file's own place behind these bytes.
    const auto wanted = static_cast<unsigned long>(std::min<size_t>(bytes.size(), size_t{1} << 30));
    if (::WriteFile(HandleOf(descriptor_), bytes.data(), wanted, &written, &place) == 0) Fail(platform::LastErrorNumber());
    bytes.remove_prefix(written);
    offset += static_cast<int64_t>(written);
  }
  const LARGE_INTEGER end{};
  ::SetFilePointerEx(HandleOf(descriptor_), end, nullptr, FILE_END);
}

void NewFile::Publish() {
  const int descriptor = descriptor_;
  descriptor_ = -1;
  const HANDLE file = HandleOf(descriptor);
  int error = ::FlushFileBuffers(file) != 0 || ::GetLastError() == ERROR_INVALID_FUNCTION ? 0 : platform::LastErrorNumber();
  if (error == 0 && !SetDoomed(file, false)) error = platform::LastErrorNumber();
  if (error == 0) error = Rename(file, target_, replace_);
  if (error != 0) SetDoomed(file, true);
  ::_close(descriptor);
  if (error == EEXIST) throw Failure(ExitCode::kOutput, ExistsAlready(path_));
  if (error != 0) Fail(error);
}

}  // namespace TSEG::tool
