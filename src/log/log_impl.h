// SPDX-License-Identifier: Apache-2.0
//
// Log_Impl_T: the logger. It joins an output device, a lock and a configuration, filters messages by level and subject, prefixes them by
// the style mask and hands the line to every output that is on.
//
// Writes, rotation and the reload of the configuration may come from any thread at once. `open` and `close` must run while no other
// thread logs. A line is built on the caller's stack (two buffers of 64 KiB with the entries of log.h); the narrow form allocates
// nothing. Nothing is reported to the caller: what cannot be written is lost, and that is all.
#ifndef WVAD_LOG_LOG_IMPL_H_
#define WVAD_LOG_LOG_IMPL_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "log/log_cfg.h"
#include "log/log_cfg_heap_reg.h"
#include "log/log_io.h"
#include "log/log_io_file.h"
#include "log/log_mutex.h"
#include "log/log_thread_mutex.h"
#include "log/log_uni_type.h"
#include "platform/platform.h"

namespace TSEG {

// Where a logger takes the time from.
struct LogClock {
  int64_t (*wall_seconds)() = &platform::WallClockSeconds;
  uint64_t (*ticks_ms)() = &platform::TickCount64;
};

// What a logger may be given instead of making its own. It does not own these.
struct LogParts {
  Log_IO* device = nullptr;
  Log_Mutex* lock = nullptr;
};

template <typename IO, typename LOCK, typename CFG>
class Log_Impl_T {
 public:
  static constexpr size_t kLineSize = 65536;  // with the end mark; longer messages are cut
  static constexpr size_t kTimeSize = 64;

  explicit Log_Impl_T(LogClock clock = {}) : clock_(clock) {}
  Log_Impl_T(const Log_Impl_T&) = delete;
  Log_Impl_T& operator=(const Log_Impl_T&) = delete;

  virtual ~Log_Impl_T();
  // Takes a copy of `cfg`. `cfgSource`, if not null, is the file that the configuration came from. 0 even if the log file could not be
  // opened; lines are then lost.
  virtual int open(const Log_Cfg_T& cfg, const char* cfgSource, const LogParts* extra);
  virtual void close();
  // -1 when there is no lock.
  virtual int lock();
  virtual int unlock();
  virtual void log_w(uint32_t level, const wchar_t* text);
  virtual void log(uint32_t level, const char* text);
  // `subject` may be null; `style` 0 stands for the style of the configuration.
  virtual void log_msg_i_w(const wchar_t* subject, uint32_t level, uint32_t style, const wchar_t* text);
  virtual void log_msg_i(const char* subject, uint32_t level, uint32_t style, const char* text);
  virtual int write(const void* bytes, size_t length);
  virtual void write_line(char fill);
  // Writes "%8x" of `number` if `size` is at least 9.
  virtual void format_subject(uint32_t number, char* buffer, size_t size);
  virtual const char* level_text(uint32_t level);
  virtual void scramble(char* bytes, size_t length);
  virtual Log_IO* device();
  virtual bool subject_enabled(uint32_t index);
  // `reopened` is 1 when the logger opens or closes, 0 around a rotation.
  virtual void write_head(int reopened);
  virtual void write_tail(int reopened);
  // The rotation. 0, or the error of the copy, which leaves the file as it was.
  virtual int backup();
  // `buffer` has kTimeSize bytes.
  virtual void time_text(char* buffer, bool forFileName, bool shortForm);
  virtual void check_config();

  // Whether a message of the level `bit` would go anywhere.
  bool enabled(uint32_t bit) const { return cfg_.output() != 0 && (cfg_.level() & bit) != 0; }
  // Flushes the device under the lock.
  void flush();
  const Log_Cfg_T& cfg() const { return cfg_; }

 protected:
  char nKey = 0;  // XOR key of `scramble`; 0, which is off, in every configuration

 private:
  struct Moment {
    int64_t seconds;
    unsigned milliseconds;
  };
  class Holder;

  Moment moment() const;
  void open_device();
  void log_styled(const char* subject, uint32_t level, uint32_t style, const char* text);
  size_t build_line(const char* subject, uint32_t level, uint32_t style, const char* text, char* line);
  void write_line_to_file(char* line, size_t length);
  void delete_oldest();

  const LogClock clock_;
  Log_Cfg_T cfg_;
  Log_IO* pDevice = nullptr;
  bool bOwnsDevice = false;
  Log_Mutex* pLock = nullptr;
  bool bOwnsLock = false;
  std::atomic<int64_t> nLastCheck{0};  // wall clock at the last look at the configuration file
  bool bOwnsConsole = false;
};

// The one form that is in use.
using Logger = Log_Impl_T<Log_Uni_Type<Log_IO_FILE>, Log_Thread_Mutex, Log_Cfg_Heap_Reg>;
extern template class Log_Impl_T<Log_Uni_Type<Log_IO_FILE>, Log_Thread_Mutex, Log_Cfg_Heap_Reg>;

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_IMPL_H_
