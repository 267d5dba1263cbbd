// SPDX-License-Identifier: Apache-2.0
//
// The logger's life: open, close, lock, the head and tail blocks, the clock, and the look at the configuration file. Included where
// the template is instantiated.
#ifndef WVAD_LOG_LOG_IMPL_LIFE_H_
#define WVAD_LOG_LOG_IMPL_LIFE_H_

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <string>

#include "log/log_impl.h"
#include "log/log_text.h"
#include "wvad.h"

namespace TSEG {

// Holds the logger's lock for a block of code; without a lock it holds nothing.
template <typename IO, typename LOCK, typename CFG>
class Log_Impl_T<IO, LOCK, CFG>::Holder {
 public:
  explicit Holder(Log_Impl_T* logger) : logger_(logger), held_(logger->lock() == 0) {}
  ~Holder() {
    if (held_) logger_->unlock();
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

 private:
  Log_Impl_T* logger_;
  bool held_;
};

// Puts the locale setting into force: "" and "skip" do nothing, "null" only asks, "empty" takes the environment's.
inline void ApplyLogLocale(const std::string& setting) {
  if (setting.empty() || setting == "skip") return;
  if (setting == "null") {
    std::setlocale(LC_ALL, nullptr);
  } else {
    std::setlocale(LC_ALL, setting == "empty" ? "" : setting.c_str());
  }
}

template <typename IO, typename LOCK, typename CFG>
Log_Impl_T<IO, LOCK, CFG>::~Log_Impl_T() {
  Log_Impl_T::close();
}

template <typename IO, typename LOCK, typename CFG>
int Log_Impl_T<IO, LOCK, CFG>::open(const Log_Cfg_T& cfg, const char* cfgSource, const LogParts* extra) {
  close();
  cfg_ = cfg;
  if (cfgSource != nullptr) cfg_.szCfgPath = cfgSource;

  if (cfg_.nStartTime == 0) cfg_.nStartTime = clock_.wall_seconds();
  if (cfg_.bAlignStart) {
    const int64_t begin = cfg_.nStartTime;
    while ((cfg_.nStartTime = clock_.wall_seconds()) == begin) platform::SleepMilliseconds(1);
  }
  cfg_.nStartTick = clock_.ticks_ms();
  nLastCheck = clock_.wall_seconds();

  ApplyLogLocale(cfg_.szLocale);

  pLock = extra != nullptr ? extra->lock : nullptr;
  if (pLock == nullptr) {
    std::string name = "Orva_Logger_Mutex_" + cfg_.szTitle;
    std::replace(name.begin(), name.end(), ' ', '_');
    auto made = std::make_unique<LOCK>();
    const int error = made->open(name.c_str());
    if (error == 0) {
      pLock = made.release();
      bOwnsLock = true;
    } else {
      std::printf("Log_Impl_T::open open lock name %s failed, error = %d.\n", name.c_str(), error);
    }
  }

  pDevice = extra != nullptr ? extra->device : nullptr;
  if ((cfg_.output() & kLogToFile) != 0) open_device();
  bOwnsConsole = (cfg_.output() & kLogToConsole) != 0 && platform::OpenConsole();
  return 0;
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::open_device() {
  static constexpr const char* kOpenStrings[] = {"a+t", "a+b", "wt", "wb"};
  constexpr int kPermissions = 0666;
  const Holder holder(this);
  // A folder that cannot be made shows again as a file that cannot be opened, and that only means that lines are lost.
  const size_t slash = cfg_.szFile.find_last_of("/\\");
  if (slash != std::string::npos && slash > 0) platform::MakeFolders(platform::NormaliseSeparators(cfg_.szFile.substr(0, slash)));
  if (pDevice == nullptr) {
    pDevice = IO::Make().release();
    bOwnsDevice = true;
  }
  const bool known_mode = cfg_.mode() >= 0 && cfg_.mode() <= 3;
  pDevice->open(cfg_.file(), kOpenStrings[known_mode ? cfg_.mode() : 0], kPermissions, 0);
  if (cfg_.head()) write_head(1);
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::close() {
  {
    const Holder holder(this);
    if (bOwnsDevice) {
      if (cfg_.head()) write_tail(1);
      pDevice->close();
      delete pDevice;
    }
    pDevice = nullptr;
    bOwnsDevice = false;
  }
  if (bOwnsLock) {
    pLock->close();
    delete pLock;
  }
  pLock = nullptr;
  bOwnsLock = false;
  if (bOwnsConsole) platform::CloseConsole();
  bOwnsConsole = false;
}

template <typename IO, typename LOCK, typename CFG>
int Log_Impl_T<IO, LOCK, CFG>::lock() {
  return pLock != nullptr ? pLock->acquire(Log_Mutex::kInfinite) : -1;
}

template <typename IO, typename LOCK, typename CFG>
int Log_Impl_T<IO, LOCK, CFG>::unlock() {
  return pLock != nullptr ? pLock->release() : -1;
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::flush() {
  const Holder holder(this);
  if (pDevice != nullptr) pDevice->flush();
}

template <typename IO, typename LOCK, typename CFG>
Log_IO* Log_Impl_T<IO, LOCK, CFG>::device() {
  return pDevice;
}

// The seconds come from the clock at the start and the ticks since, so that seconds and milliseconds belong together and neither jumps
// when the wall clock is set. Only a wall clock set to before the start is believed more.
template <typename IO, typename LOCK, typename CFG>
auto Log_Impl_T<IO, LOCK, CFG>::moment() const -> Moment {
  const int64_t wall = clock_.wall_seconds();
  const uint64_t ticks = clock_.ticks_ms();
  if (cfg_.start_tick() == 0 || wall < cfg_.start_time()) return {wall, static_cast<unsigned>(ticks % 1000)};
  const uint64_t elapsed = ticks - cfg_.start_tick();
  return {cfg_.start_time() + static_cast<int64_t>(elapsed / 1000), static_cast<unsigned>(elapsed % 1000)};
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::time_text(char* buffer, bool forFileName, bool shortForm) {
  const Moment now = moment();
  if (forFileName) {
    platform::FormatLocalTime(now.seconds, "%Y-%m-%d_%H-%M-%S", buffer, kTimeSize);
    return;
  }
  const size_t length = platform::FormatLocalTime(now.seconds, shortForm ? "%H:%M:%S" : "%y/%m/%d-%H:%M:%S", buffer, kTimeSize);
  std::snprintf(buffer + length, kTimeSize - length, " %03u", now.milliseconds);
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_head(int reopened) {
  if (pDevice == nullptr) return;
  const std::string time = platform::FormatLocalTime(moment().seconds, "%Y-%m-%d %H:%M:%S");
  const std::string application = platform::ExecutableFileName();
  const std::string module = platform::ModuleFileName();
  // Where files state no versions, that of this library stands for both.
  const std::string application_version = platform::ExecutableFileVersion().value_or(WVAD_VERSION);
  const std::string module_version = platform::ModuleFileVersion().value_or(WVAD_VERSION);
  const uint32_t pid = platform::ProcessId();
  const std::string text = FormatText(
      "=============================================================\n"
      "\tOrvaLIN log file\n"
      "\tSubject :    %s\n"
      "\t%s-Time :    %s\n"
      "\tApplication: %s %s\n"
      "\tModule:      %s %s\n"
      "\tPID: %d (0x%04x) Version: %s\n"
      "=============================================================\n",
      cfg_.title(), reopened != 0 ? "Created" : "Continued", time.c_str(), application.c_str(), application_version.c_str(), module.c_str(),
      module_version.c_str(), static_cast<int>(pid), pid, WVAD_VERSION);
  pDevice->write_s(text.c_str());
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_tail(int reopened) {
  if (pDevice == nullptr) return;
  const std::string time = platform::FormatLocalTime(moment().seconds, "%Y-%m-%d %H:%M:%S");
  const uint32_t pid = platform::ProcessId();
  const std::string text = FormatText(
      "=============================================================\n"
      "\t%s %s-Time: %s\n"
      "\tPID: %d (0x%04x)\n"
      "=============================================================\n",
      cfg_.title(), reopened != 0 ? "End" : "Continue", time.c_str(), static_cast<int>(pid), pid);
  pDevice->write_s(text.c_str());
}

template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::check_config() {
  constexpr int64_t kSecondsBetweenLooks = 10;
  const int64_t now = clock_.wall_seconds();
  if (now - nLastCheck <= kSecondsBetweenLooks) return;  // a clock that ran backwards is no time

  const Holder holder(this);
  if (now - nLastCheck <= kSecondsBetweenLooks) return;  // another thread has looked meanwhile
  nLastCheck = now;
  if (platform::ModificationTime(cfg_.szCfgPath) == cfg_.nCfgTime) return;

  Log_Cfg_T fresh(cfg_.file(), cfg_.title(), cfg_.nCallerMode);
  CFG::load(fresh, cfg_.szSection.c_str(), cfg_.cfg_path());
  cfg_.nOutput = fresh.nOutput;
  cfg_.nLevel = fresh.nLevel;
  cfg_.nStyle = fresh.nStyle;
  cfg_.bFlush = fresh.bFlush;
  cfg_.nConsoleLevel = fresh.nLevel;
  cfg_.nCfgTime = fresh.nCfgTime;
}

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_IMPL_LIFE_H_
