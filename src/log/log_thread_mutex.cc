// SPDX-License-Identifier: Apache-2.0
//
// The run-time's recursive mutex: a write under the lock may come from a rotation that holds it already.
#include "log/log_thread_mutex.h"

namespace TSEG {

int Log_Thread_Mutex::open(const char* /*name*/) { return 0; }

void Log_Thread_Mutex::close() {}

int Log_Thread_Mutex::acquire(uint32_t /*timeout*/) {
  mutex_.lock();
  return 0;
}

int Log_Thread_Mutex::release() {
  mutex_.unlock();
  return 0;
}

}  // namespace TSEG
