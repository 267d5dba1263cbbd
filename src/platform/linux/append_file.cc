// SPDX-License-Identifier: Apache-2.0
//
// AppendFile on a descriptor in append mode: the system itself places each block behind the last byte, so that several processes may write
// one file without covering each other's lines.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/descriptor.h"
#include "platform/linux/write_fully.h"
#include "platform/platform.h"

namespace TSEG::platform {

struct AppendFile::Impl {
  int descriptor = -1;
};

AppendFile::AppendFile() : impl_(std::make_unique<Impl>()) {}

AppendFile::~AppendFile() { Close(); }

bool AppendFile::is_open() const { return impl_->descriptor >= 0; }

int AppendFile::Open(const std::string& path, bool truncate) {
  Close();
  const int flags = O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (truncate ? O_TRUNC : 0);
  Descriptor file(::open(path.c_str(), flags, 0666));
  if (!file.ok()) return errno;
  impl_->descriptor = file.release();
  return 0;
}

void AppendFile::Close() {
  if (impl_->descriptor >= 0) ::close(impl_->descriptor);
  impl_->descriptor = -1;
}

int AppendFile::Write(const char* bytes, size_t length) {
  if (!is_open()) return EBADF;
  return WriteFully(impl_->descriptor, bytes, length);
}

int AppendFile::Truncate() {
  if (!is_open()) return EBADF;
  return ::ftruncate(impl_->descriptor, 0) == 0 ? 0 : errno;
}

uint64_t AppendFile::Size() const {
  struct stat info {};
  if (!is_open() || ::fstat(impl_->descriptor, &info) != 0) return 0;
  return static_cast<uint64_t>(info.st_size);
}

int AppendFile::LastByte() const {
  const uint64_t size = Size();
  unsigned char byte = 0;
  if (size == 0 || ::pread(impl_->descriptor, &byte, 1, static_cast<off_t>(size - 1)) != 1) return -1;
  return byte;
}

}  // namespace TSEG::platform
