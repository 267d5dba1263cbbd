// SPDX-License-Identifier: Apache-2.0
//
// Many threads write while the file rotates and the configuration changes: every line arrives once and whole.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "log/log_cfg_heap_reg.h"
#include "log/log_impl.h"
#include "log_fixture.h"

namespace TSEG {
namespace {

// A clock on which every look is a second later, so that each rotation has a name of its own and the configuration is looked at often.
std::atomic<int64_t> g_second{kSomeTime};
int64_t NextSecond() { return g_second += 1; }
uint64_t NextTick() { return static_cast<uint64_t>(g_second += 1) * 1000; }

TEST(LogThreads, LinesArriveOnceAndWholeThroughRotationAndReload) {
  ::setenv("TZ", "UTC", 1);
  const testing_support::TempFolder folder;
  const std::string cfg_file = folder.write("x.cfu", "[logger]\nhead = 0\nstyle = 16\nmaxcount = 0\nmaxsize = 65536\n");
  Log_Cfg_T cfg(folder.file("w.log").c_str(), "T", 0);
  Log_Cfg_Heap_Reg::load(cfg, "logger", cfg_file.c_str());
  cfg.szLocale = "skip";
  Logger logger(LogClock{&NextSecond, &NextTick});
  ASSERT_EQ(logger.open(cfg, nullptr, nullptr), 0);

  constexpr int kThreads = 6;
  constexpr int kLines = 500;
  std::atomic<bool> done{false};
  std::thread editor([&] {
    for (int i = 0; !done; ++i) {
      // Replaced in one step: a reader must not meet a half-written file, whose missing keys would have their defaults.
      const std::string next = folder.write(
          "next", std::string("[logger]\nstyle = ") + (i % 2 == 0 ? "20" : "16") + "\nflush = " + (i % 3 == 0 ? "1" : "0") + "\n");
      std::filesystem::rename(next, cfg_file);
      platform::SleepMilliseconds(1);
    }
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([&, t] {
      const std::string padding(200 + static_cast<size_t>(t), static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i) {
        logger.log(kLogErr, ("<" + std::to_string(t) + "-" + std::to_string(i) + ":" + padding + ">").c_str());
        if (i % 50 == 0) logger.flush();
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  done = true;
  editor.join();
  logger.close();

  std::map<std::string, int> seen;
  size_t files = 0;
  for (const std::string& name : platform::ListFiles(folder.path())) {
    if (!name.ends_with(".log")) continue;
    ++files;
    EXPECT_LE(folder.read(name).size(), 65536u);
    std::istringstream text(folder.read(name));
    for (std::string line; std::getline(text, line);) {
      if (line.starts_with("[ERR] ")) line.erase(0, 6);
      ++seen[line];
    }
  }
  EXPECT_GT(files, 5u);
  EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines));
  for (int t = 0; t < kThreads; ++t) {
    const std::string padding(200 + static_cast<size_t>(t), static_cast<char>('a' + t));
    for (int i = 0; i < kLines; ++i) {
      const std::string line = "<" + std::to_string(t) + "-" + std::to_string(i) + ":" + padding + ">";
      EXPECT_EQ(seen[line], 1) << line;
    }
  }
}

TEST(LogThreads, EntriesMayComeFromAnyThread) {
  const testing_support::TempFolder folder;
  const std::string cfg = folder.write("x.cfu", "[logger]\nhead = 0\nstyle = 16\nlevel = all\n");
  ASSERT_EQ(srlog_open(cfg.c_str(), "logger", {folder.file("w.log").c_str(), "T"}), 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) {
        const TraceScope scope("work");
        WVAD_LOG_INFO("%d %d", t, i);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  srlog_close();
  std::istringstream text(folder.read("w.log"));
  int lines = 0;
  for (std::string line; std::getline(text, line);) ++lines;
  EXPECT_EQ(lines, 4 * 200 * 3);
}

}  // namespace
}  // namespace TSEG
