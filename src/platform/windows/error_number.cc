// SPDX-License-Identifier: Apache-2.0
#include "platform/windows/error_number.h"

#include <windows.h>

#include <cerrno>

namespace TSEG::platform {
namespace {

struct ErrorRow {
  unsigned long system_error;
  int number;
};

constexpr ErrorRow kRows[] = {
    {ERROR_SUCCESS, 0},
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},
    {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_BAD_NET_NAME, ENOENT},
    {ERROR_INVALID_DRIVE, ENOENT},
    {ERROR_NOT_READY, ENOENT},
    {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_SHARING_VIOLATION, EACCES},
    {ERROR_LOCK_VIOLATION, EACCES},
    {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_OUTOFMEMORY, ENOMEM},
    {ERROR_INVALID_HANDLE, EBADF},
    {ERROR_INVALID_PARAMETER, EINVAL},
    {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {ERROR_FILE_TOO_LARGE, EFBIG},
    {ERROR_BROKEN_PIPE, EPIPE},
    {ERROR_NO_DATA, EPIPE},
    {ERROR_PIPE_NOT_CONNECTED, EPIPE},
    {ERROR_PIPE_BUSY, EAGAIN},
};

}  // namespace

int ErrorNumber(unsigned long system_error) {
  for (const ErrorRow& row : kRows) {
    if (row.system_error == system_error) return row.number;
  }
  return EIO;
}

int LastErrorNumber() { return ErrorNumber(::GetLastError()); }

}  // namespace TSEG::platform
