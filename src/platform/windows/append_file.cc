// SPDX-License-Identifier: Apache-2.0
//
// AppendFile on a handle whose every write names the end of the file as its place, wherever that is by then: the system puts each block
// behind the last byte, so that several processes may write one file without covering each other's lines.
#include <cerrno>

#include "platform/platform.h"
#include "platform/windows/error_number.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

// The largest block of one call; far above every line of a log.
constexpr size_t kBlock = size_t{1} << 30;

OVERLAPPED At(uint64_t offset) {
  OVERLAPPED place{};
  place.Offset = static_cast<unsigned long>(offset & 0xFFFFFFFFu);
  place.OffsetHigh = static_cast<unsigned long>(offset >> 32);
  return place;
}

constexpr uint64_t kEndOfFile = ~uint64_t{0};

}  // namespace

struct AppendFile::Impl {
  Handle file;
  bool is_pipe = false;
};

AppendFile::AppendFile() : impl_(std::make_unique<Impl>()) {}

AppendFile::~AppendFile() = default;

bool AppendFile::is_open() const { return impl_->file.ok(); }

int AppendFile::Open(const std::string& path, bool truncate) {
  Close();
  Handle file(
      ::CreateFileW(Wide(path).c_str(), GENERIC_READ | GENERIC_WRITE, kShareAll, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.ok()) return LastErrorNumber();
  impl_->is_pipe = ::GetFileType(file.get()) == FILE_TYPE_PIPE;
  if (impl_->is_pipe) {
    unsigned long never_wait = PIPE_NOWAIT;
    if (::SetNamedPipeHandleState(file.get(), &never_wait, nullptr, nullptr) == 0) return LastErrorNumber();
  }
  impl_->file = std::move(file);
  const int error = truncate ? Truncate() : 0;
  if (error != 0) Close();
  return error;
}

void AppendFile::Close() { impl_->file.Close(); }

int AppendFile::Write(const char* bytes, size_t length) {
  if (!is_open()) return EBADF;
  while (length > 0) {
    OVERLAPPED end = At(kEndOfFile);
    unsigned long written = 0;
    const auto wanted = static_cast<unsigned long>(length < kBlock ? length : kBlock);
    if (::WriteFile(impl_->file.get(), bytes, wanted, &written, impl_->is_pipe ? nullptr : &end) == 0) return LastErrorNumber();
    if (written == 0) return impl_->is_pipe ? EAGAIN : ENOSPC;
    bytes += written;
    length -= written;
  }
  return 0;
}

int AppendFile::Truncate() {
  if (!is_open()) return EBADF;
  const LARGE_INTEGER begin{};
  if (::SetFilePointerEx(impl_->file.get(), begin, nullptr, FILE_BEGIN) == 0) return LastErrorNumber();
  return ::SetEndOfFile(impl_->file.get()) != 0 ? 0 : LastErrorNumber();
}

uint64_t AppendFile::Size() const {
  LARGE_INTEGER size{};
  if (!is_open() || ::GetFileSizeEx(impl_->file.get(), &size) == 0) return 0;
  return static_cast<uint64_t>(size.QuadPart);
}

int AppendFile::LastByte() const {
  const uint64_t size = Size();
  if (size == 0) return -1;
  OVERLAPPED last = At(size - 1);
  unsigned char byte = 0;
  unsigned long got = 0;
  return ::ReadFile(impl_->file.get(), &byte, 1, &got, &last) != 0 && got == 1 ? byte : -1;
}

}  // namespace TSEG::platform
