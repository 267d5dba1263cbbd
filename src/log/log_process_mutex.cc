// SPDX-License-Identifier: Apache-2.0
//
// A thin wrap; the bounded wait is the platform's.
#include "log/log_process_mutex.h"

#include <cerrno>

namespace TSEG {

int Log_Win32_Process_Mutex::open(const char* name) {
  name_ = name;
  return mutex_.Open(name_);
}

void Log_Win32_Process_Mutex::close() { mutex_.Close(); }

int Log_Win32_Process_Mutex::acquire(uint32_t /*timeout*/) { return mutex_.Acquire() ? 0 : ETIMEDOUT; }

int Log_Win32_Process_Mutex::release() {
  mutex_.Release();
  return 0;
}

}  // namespace TSEG
