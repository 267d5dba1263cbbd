// SPDX-License-Identifier: Apache-2.0
//
// Log_Win32_Process_Mutex: a lock that all processes of one user share by its name. The name of the class is historic; it stands on
// whatever the platform layer has for a named mutex. A holder that is stuck is waited for only so long: logging must not stop for good.
// Taking it again while holding it is not supported, and the logger of the process does not need it.
#ifndef WVAD_LOG_LOG_PROCESS_MUTEX_H_
#define WVAD_LOG_LOG_PROCESS_MUTEX_H_

#include <string>

#include "log/log_mutex.h"
#include "platform/platform.h"

namespace TSEG {

class Log_Win32_Process_Mutex final : public Log_Mutex {
 public:
  // 0, or the system's error; without a mutex behind it, `acquire` succeeds at once.
  int open(const char* name) override;
  void close() override;
  // ETIMEDOUT where a stuck holder was waited for in vain. The timeout is ignored: how long that is, is the platform's affair.
  int acquire(uint32_t timeout) override;
  int release() override;
  const std::string& name() const { return name_; }

 private:
  platform::NamedMutex mutex_;
  std::string name_;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_PROCESS_MUTEX_H_
