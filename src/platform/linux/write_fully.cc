// SPDX-License-Identifier: Apache-2.0
//
// Both signals are raised for the writing thread, so blocking them there and taking a raised one back touches nobody else.
#include "platform/linux/write_fully.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace TSEG::platform {
namespace {

class SignalGuard {
 public:
  SignalGuard() {
    sigemptyset(&guarded_);
    sigaddset(&guarded_, SIGPIPE);
    sigaddset(&guarded_, SIGXFSZ);
    sigemptyset(&before_);
    active_ = pthread_sigmask(SIG_BLOCK, &guarded_, &before_) == 0;
    // One that the client itself keeps blocked may be pending already; that one is the client's and stays.
    if (active_ && (sigismember(&before_, SIGPIPE) == 1 || sigismember(&before_, SIGXFSZ) == 1)) {
      sigset_t pending;
      sigemptyset(&pending);
      sigpending(&pending);
      if (sigismember(&pending, SIGPIPE) == 1) sigdelset(&guarded_, SIGPIPE);
      if (sigismember(&pending, SIGXFSZ) == 1) sigdelset(&guarded_, SIGXFSZ);
    }
  }
  ~SignalGuard() {
    if (active_) pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SignalGuard(const SignalGuard&) = delete;
  SignalGuard& operator=(const SignalGuard&) = delete;

  // Takes back what a failed write has raised.
  void TakeBack() const {
    const timespec at_once{};
    while (active_ && sigtimedwait(&guarded_, nullptr, &at_once) > 0) {
    }
  }

 private:
  sigset_t guarded_;
  sigset_t before_;
  bool active_;
};

}  // namespace

int WriteFully(int descriptor, const char* bytes, size_t length) {
  const SignalGuard guard;
  while (length > 0) {
    const ssize_t written = ::write(descriptor, bytes, length);
    if (written < 0) {
      const int error = errno;
      if (error == EINTR) continue;
      if (error == EPIPE || error == EFBIG) guard.TakeBack();
      return error;
    }
    if (written == 0) return ENOSPC;
    bytes += written;
    length -= static_cast<size_t>(written);
  }
  return 0;
}

}  // namespace TSEG::platform
