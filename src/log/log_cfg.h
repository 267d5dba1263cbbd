// SPDX-License-Identifier: Apache-2.0
//
// The logger's configuration: `Log_Cfg`, what can be asked of one, and `Log_Cfg_T`, the values.
//
// Built from defaults, overlaid from a file (Log_Cfg_Heap_Reg), copied into the logger. There `output`, `level`, `style`, `flush` and
// `console_level` may change while other threads read them, so those five are atomic; the rest stands still from open to close.
#ifndef WVAD_LOG_LOG_CFG_H_
#define WVAD_LOG_LOG_CFG_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "log/log_filter.h"

namespace TSEG {

class Log_Cfg {
 public:
  virtual const char* file() const = 0;
  virtual const char* title() const = 0;
  virtual const char* cfg_path() const = 0;
  virtual const char* locale() const = 0;
  virtual uint32_t maxsize() const = 0;
  virtual bool overwrite() const = 0;
  virtual uint32_t output() const = 0;
  virtual uint32_t level() const = 0;
  virtual uint32_t style() const = 0;
  virtual uint32_t subjects() const = 0;
  virtual bool flush() const = 0;
  virtual int32_t maxcount() const = 0;
  virtual int mode() const = 0;
  virtual bool head() const = 0;
  virtual int reserved() const = 0;
  virtual uint32_t console_level() const = 0;
  virtual int charset() const = 0;
  virtual int64_t start_time() const = 0;
  virtual uint64_t start_tick() const = 0;

 protected:
  ~Log_Cfg() = default;
};

// Output bits.
inline constexpr uint32_t kLogToFile = 1, kLogToConsole = 2, kLogToDebugger = 4, kLogToMessageBox = 8;
// Style bits. 256 is no part of a line, which makes it "nothing at all"; 0 means the style of the configuration.
inline constexpr uint32_t kStyleTime = 1, kStyleDateTime = 2, kStyleLevel = 4, kStyleThread = 8, kStyleNewline = 16, kStyleSubject = 32,
                          kStyleProcess = 64, kStyleNone = 256;
// Text form 2: lines are made wide before they are written.
inline constexpr int kCharsetWide = 2;

// A word that several threads read and one may change. Copies take the value.
template <typename T>
class SharedWord {
 public:
  SharedWord(T value) : value_(value) {}  // NOLINT: stands for its value
  SharedWord(const SharedWord& other) : value_(other.get()) {}
  SharedWord& operator=(const SharedWord& other) {
    value_.store(other.get(), std::memory_order_relaxed);
    return *this;
  }
  T get() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<T> value_;
};

class Log_Cfg_T final : public Log_Cfg {
 public:
  static constexpr const char* kDefaultFile = "orva.log";
  static constexpr const char* kDefaultTitle = "Running Information";
  static constexpr uint32_t kLowestMaxSize = 65536;

  // A null or empty `file` or `title` takes the general default. The default style belongs to `mode`: 256 for the binary ones (1 and 3).
  Log_Cfg_T(const char* file, const char* title, int mode);
  Log_Cfg_T() : Log_Cfg_T(nullptr, nullptr, 0) {}

  const char* file() const override { return szFile.c_str(); }
  const char* title() const override { return szTitle.c_str(); }
  const char* cfg_path() const override { return szCfgPath.c_str(); }
  const char* locale() const override { return szLocale.c_str(); }
  uint32_t maxsize() const override { return nMaxSize; }
  bool overwrite() const override { return bOverwrite; }
  uint32_t output() const override { return nOutput.get(); }
  uint32_t level() const override { return nLevel.get(); }
  uint32_t style() const override { return nStyle.get(); }
  uint32_t subjects() const override { return nSubjects; }
  bool flush() const override { return bFlush.get(); }
  int32_t maxcount() const override { return nMaxCount; }
  int mode() const override { return nMode; }
  bool head() const override { return bHead; }
  int reserved() const override { return 0; }
  uint32_t console_level() const override { return nConsoleLevel.get(); }
  int charset() const override { return nCharset; }
  int64_t start_time() const override { return nStartTime; }
  uint64_t start_tick() const override { return nStartTick; }

  std::string szFile;
  std::string szTitle;
  std::string szCfgPath;
  std::string szSection;  // where in the file the values stand; a reload needs it again
  std::string szLocale = ".ACP";
  uint32_t nMaxSize = 0xA00000;
  bool bOverwrite = false;
  SharedWord<uint32_t> nOutput = kLogToFile;
  SharedWord<uint32_t> nLevel = 7;
  SharedWord<uint32_t> nStyle = 255;
  SharedWord<uint32_t> nConsoleLevel = 7;
  SharedWord<bool> bFlush = false;
  uint32_t nSubjects = 0xFFFFFFFFu;
  int32_t nMaxCount = 20;
  int nMode = 0;
  int nCallerMode = 0;  // the mode before any key changed it
  bool bHead = true;
  int nCharset = 0;
  LogFilter filter;
  int64_t nStartTime = 0;   // seconds since the epoch, 0: not held yet
  uint64_t nStartTick = 0;  // milliseconds, 0: no base
  bool bAlignStart = false;
  int64_t nCfgTime = 0;  // modification time of the file that was read, 0: there was none
};

// The masks behind words. A word is folded to lower case (A to Z) and must equal one of the table's whole words; false if none does.
bool LogLevelOfWord(std::string_view word, uint32_t* mask);
bool LogStyleOfWord(std::string_view word, uint32_t* mask);

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_CFG_H_
