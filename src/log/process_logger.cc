// SPDX-License-Identifier: Apache-2.0
//
// Opening and closing the one logger. A mutex named across processes orders the two, opened for each call and closed after it; a second
// one orders the threads of this process even where the first cannot be had.
#include "log/process_logger.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>

#include "log/log.h"
#include "log/log_process_mutex.h"

namespace TSEG {
namespace {

struct ProcessLogger {
  std::atomic<Logger*> logger{nullptr};
  int count = 0;
  bool owned = false;
};

// Needs no construction at run time, and is never destroyed: a line may still come while the process ends.
ProcessLogger& TheProcessLogger() {
  static constinit ProcessLogger process;
  return process;
}

// Never destroyed either. Where the run-time constructs mutexes it would destroy this one at the end, so it gets its place and no more.
std::mutex& ThreadsOfProcess() {
  alignas(std::mutex) static std::byte place[sizeof(std::mutex)];
  static std::mutex& threads = *new (place) std::mutex;
  return threads;
}

class ProcessLoggerLock {
 public:
  ProcessLoggerLock() : threads_(ThreadsOfProcess()) {
    processes_.open("Orva_Log_Singleton_Mutex");
    processes_.acquire(Log_Mutex::kInfinite);
  }
  ~ProcessLoggerLock() {
    processes_.release();
    processes_.close();
  }
  ProcessLoggerLock(const ProcessLoggerLock&) = delete;
  ProcessLoggerLock& operator=(const ProcessLoggerLock&) = delete;

 private:
  std::lock_guard<std::mutex> threads_;
  Log_Win32_Process_Mutex processes_;
};

}  // namespace

Logger* CurrentLogger() { return TheProcessLogger().logger.load(std::memory_order_acquire); }

bool srlog_exists() { return CurrentLogger() != nullptr; }

int srlog_open_with(Log_Cfg_T cfg, const LogParts* extra) {
  ProcessLogger& process = TheProcessLogger();
  const ProcessLoggerLock lock;
  if (process.logger.load() != nullptr) return -1;
  cfg.szFile = AbsoluteLogPath(cfg.file());
  auto logger = std::make_unique<Logger>();
  process.count = 1;
  process.owned = true;
  const int result = logger->open(cfg, nullptr, extra);
  process.logger.store(logger.release(), std::memory_order_release);
  return result;
}

int srlog_open(const char* cfg_file, const char* section, const LogDefaults& defaults) {
  Log_Cfg_T cfg(defaults.file, defaults.title, 0);
  // Without the file the defaults stand, which is no failure.
  Log_Cfg_Heap_Reg::load(cfg, section, cfg_file);
  return srlog_open_with(std::move(cfg), nullptr);
}

void srlog_close() {
  ProcessLogger& process = TheProcessLogger();
  const ProcessLoggerLock lock;
  Logger* logger = process.logger.load();
  if (logger == nullptr) return;
  if (process.count == 1) logger->close();
  if (--process.count >= 1) return;
  process.logger.store(nullptr, std::memory_order_release);
  if (process.owned) delete logger;
  process.owned = false;
}

}  // namespace TSEG
