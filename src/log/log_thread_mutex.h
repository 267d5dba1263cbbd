// SPDX-License-Identifier: Apache-2.0
//
// Log_Thread_Mutex: the lock among the threads of this process. It needs no name and always waits to the end, so `open` ignores its name
// and `acquire` its timeout.
#ifndef WVAD_LOG_LOG_THREAD_MUTEX_H_
#define WVAD_LOG_LOG_THREAD_MUTEX_H_

#include <mutex>

#include "log/log_mutex.h"

namespace TSEG {

class Log_Thread_Mutex final : public Log_Mutex {
 public:
  int open(const char* name) override;
  void close() override;
  int acquire(uint32_t timeout) override;
  int release() override;

 private:
  std::recursive_mutex mutex_;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_THREAD_MUTEX_H_
