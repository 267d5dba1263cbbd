// SPDX-License-Identifier: Apache-2.0
//
// A logger of the test's own in a fresh folder, on a clock that stands still until the test moves it; and a device that remembers.
#ifndef WVAD_LOG_LOG_FIXTURE_H_
#define WVAD_LOG_LOG_FIXTURE_H_

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "log/log_impl.h"
#include "support/temp_folder.h"

namespace TSEG {

// 2016-05-04 12:30:05 UTC.
inline constexpr int64_t kSomeTime = 1462365005;

struct FakeTime {
  static inline std::atomic<int64_t> wall{kSomeTime};
  static inline std::atomic<uint64_t> ticks{7000};
  static int64_t Wall() { return wall; }
  static uint64_t Ticks() { return ticks; }
  static LogClock Clock() { return LogClock{&FakeTime::Wall, &FakeTime::Ticks}; }
  // Both clocks go on.
  static void Pass(unsigned ms) {
    ticks += ms;
    wall += ms / 1000;
  }
};

class LogTest : public ::testing::Test {
 protected:
  LogTest() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    FakeTime::wall = kSomeTime;
    FakeTime::ticks = 7000;
    cfg.szFile = folder.file("w.log");
    cfg.szTitle = "A title";
    cfg.szLocale = "skip";
    cfg.bHead = false;
  }
  ~LogTest() override { logger.close(); }
  void Open() { ASSERT_EQ(logger.open(cfg, nullptr, nullptr), 0); }
  std::string Text(const std::string& name = "w.log") const { return folder.read(name); }

  testing_support::TempFolder folder;
  Log_Cfg_T cfg;
  Logger logger{FakeTime::Clock()};
};

class RecordingDevice final : public Log_IO {
 public:
  int open(const char* path, const char* flags, int, int) override {
    opened.push_back(std::string(path) + "|" + flags);
    return 0;
  }
  void close() override { ++closes; }
  int write(const void* bytes, size_t length) override {
    raw.emplace_back(static_cast<const char*>(bytes), length);
    return 0;
  }
  int write_w(const wchar_t* text) override {
    wide.emplace_back(text);
    return 0;
  }
  int write_s(const char* text) override {
    narrow.emplace_back(text);
    return 0;
  }
  int truncate() override { return 0; }
  int flush() override {
    ++flushes;
    return 0;
  }
  uint64_t size() override { return reported_size; }
  int backup(const char* newPath) override {
    backups.emplace_back(newPath);
    return backup_result;
  }
  int last_error() const override { return 0; }
  void set_last_error(int) override {}
  int share() const override { return 0; }
  void set_share(int) override {}

  std::vector<std::string> opened, raw, narrow, backups;
  std::vector<std::wstring> wide;
  int closes = 0;
  int flushes = 0;
  int backup_result = 0;
  uint64_t reported_size = 0;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_FIXTURE_H_
