// SPDX-License-Identifier: Apache-2.0
//
// Log_Mutex: the lock of a logger. Whoever holds it may take it again. Results are 0, or the system's error.
#ifndef WVAD_LOG_LOG_MUTEX_H_
#define WVAD_LOG_LOG_MUTEX_H_

#include <cstdint>

namespace TSEG {

class Log_Mutex {
 public:
  static constexpr uint32_t kInfinite = 0xFFFFFFFFu;

  virtual int open(const char* name) = 0;
  virtual void close() = 0;
  virtual int acquire(uint32_t timeout) = 0;  // milliseconds
  virtual int release() = 0;
  virtual ~Log_Mutex() = default;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_MUTEX_H_
