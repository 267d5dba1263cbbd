// SPDX-License-Identifier: Apache-2.0
//
// Handle: owns one open handle and closes it. The system calls one that could not be opened null or minus one; here both are "not ok".
#ifndef WVAD_PLATFORM_WINDOWS_HANDLE_H_
#define WVAD_PLATFORM_WINDOWS_HANDLE_H_

#include <windows.h>

#include <utility>

namespace TSEG::platform {

// Others may read, write, rename and remove what this process has open.
inline constexpr unsigned long kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() { Close(); }
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  bool ok() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }
  void Close() {
    if (ok()) ::CloseHandle(handle_);
    handle_ = nullptr;
  }

 private:
  HANDLE handle_ = nullptr;
};

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_WINDOWS_HANDLE_H_
