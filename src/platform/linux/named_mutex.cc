// SPDX-License-Identifier: Apache-2.0
//
// NamedMutex as an advisory lock on a small file of the user's own in the temporary folder. The lock belongs to the open file, so two of
// them exclude each other inside one process too, and the system drops it with the process, however that ends.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/linux/descriptor.h"
#include "platform/platform.h"

namespace TSEG::platform {
namespace {

// How long Acquire waits. The guarded work takes milliseconds; whoever holds the lock longer is stuck or stopped.
constexpr uint64_t kLongestWaitMs = 2000;

std::string LockFilePath(const std::string& name) {
  const char* folder = ::secure_getenv("TMPDIR");
  std::string path = folder != nullptr && folder[0] == '/' ? folder : "/tmp";
  path += "/wvad-" + std::to_string(::geteuid()) + "-";
  for (const char c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    path += plain ? c : '_';
  }
  return path + ".lock";
}

}  // namespace

struct NamedMutex::Impl {
  int descriptor = -1;
};

NamedMutex::NamedMutex() : impl_(std::make_unique<Impl>()) {}

NamedMutex::~NamedMutex() { Close(); }

int NamedMutex::Open(const std::string& name) {
  Close();
  // The folder is open to everybody: a link that somebody else laid there is not followed, and a file of somebody else is not used.
  Descriptor file(::open(LockFilePath(name).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0600));
  if (!file.ok()) return errno;
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return errno;
  if (!S_ISREG(info.st_mode) || info.st_uid != ::geteuid()) return EACCES;
  impl_->descriptor = file.release();
  return 0;
}

void NamedMutex::Close() {
  if (impl_->descriptor >= 0) ::close(impl_->descriptor);
  impl_->descriptor = -1;
}

bool NamedMutex::Acquire() {
  if (impl_->descriptor < 0) return true;
  const uint64_t begin = TickCount64();
  while (::flock(impl_->descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (TickCount64() - begin >= kLongestWaitMs) return false;
    SleepMilliseconds(2);
  }
  return true;
}

void NamedMutex::Release() {
  if (impl_->descriptor >= 0) ::flock(impl_->descriptor, LOCK_UN);
}

}  // namespace TSEG::platform
