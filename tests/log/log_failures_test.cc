// SPDX-License-Identifier: Apache-2.0
//
// Places that cannot be written: nothing crashes, nothing is reported to the caller, and what can be said is said.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "log/log.h"
#include "log/log_impl.h"
#include "log_fixture.h"
#include "support/file_size_limit.h"

namespace TSEG {
namespace {

namespace fs = std::filesystem;

class LogFailures : public LogTest {
 protected:
  LogFailures() {
    cfg.nStyle = kStyleNewline;
    cfg.nMaxSize = 65536;
  }
  void WriteSome() {
    logger.log(kLogErr, "x");
    logger.flush();
    logger.write("x", 1);
    logger.write_line('-');
  }
};

TEST_F(LogFailures, FileThatCannotBeOpenedLosesItsLinesQuietly) {
  folder.write("file", "kept");
  fs::create_directory(folder.file("folder"));
  cfg.bHead = true;
  for (const std::string& path : {folder.file("file/w.log"), folder.file("file/below/w.log"), folder.file("folder"),
                                  std::string("/proc/no/w.log"), std::string("/w.log/\0", 7)}) {
    cfg.szFile = path;
    EXPECT_EQ(logger.open(cfg, nullptr, nullptr), 0) << path;
    WriteSome();
    logger.backup();
    logger.close();
  }
  EXPECT_EQ(folder.read("file"), "kept");
  EXPECT_TRUE(fs::is_empty(folder.file("folder")));
}

TEST_F(LogFailures, OtherOutputsGoOnWithoutTheFile) {
  cfg.szFile = "/proc/no/w.log";
  cfg.nOutput = kLogToFile | kLogToConsole;
  ::testing::internal::CaptureStdout();
  Open();
  logger.log(kLogErr, "still seen");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "still seen\n");
}

TEST_F(LogFailures, FullDiskLosesLinesAndNothingElse) {
  cfg.szFile = "/dev/full";
  cfg.bHead = true;
  Open();
  for (int i = 0; i < 100; ++i) WriteSome();
  EXPECT_NE(logger.device()->last_error(), 0);
}

TEST_F(LogFailures, FolderRemovedWhileRunning) {
  cfg.szFile = folder.file("log/w.log");
  Open();
  logger.log(kLogErr, "x");
  fs::remove_all(folder.file("log"));
  for (int i = 0; i < 200; ++i) logger.log(kLogErr, std::string(1000, 'y').c_str());  // passes the limit too
  EXPECT_FALSE(fs::exists(folder.file("log")));
  logger.close();
}

TEST_F(LogFailures, SizeLimitEndsNeitherTheProcessNorTheFile) {
  EXPECT_EXIT(
      {
        testing_support::LimitFileSize(50000);
        Open();
        for (int i = 0; i < 200; ++i) logger.log(kLogErr, std::string(999, 'y').c_str());
        // What fits is there, and the process is, too.
        ::_exit(Text().size() == 50000 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(LogFailures, RotationOnAFullDiskLeavesTheFileWhole) {
  folder.write("w.log", std::string(65000, 'o') + "\n");
  EXPECT_EXIT(
      {
        testing_support::LimitFileSize(60000);
        Open();
        logger.log(kLogErr, std::string(999, 'y').c_str());
        const bool whole = Text() == std::string(65000, 'o') + "\n";
        const bool alone = platform::ListFiles(folder.path()).size() == 1;
        ::_exit(whole && alone ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(LogFailures, UnreadableConfigurationIsNone) {
  fs::create_directory(folder.file("x.cfu"));
  EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", folder.file("x.cfu").c_str()), 0);
  EXPECT_EQ(cfg.level(), 7u);
}

TEST_F(LogFailures, ConfigurationOfAnyBytesLeavesALogger) {
  std::string bytes = "[logger]\n";
  for (int i = 0; i < 20000; ++i) bytes += static_cast<char>((i * 7919) >> 3);
  folder.write("x.cfu", bytes + "\nlevel = \xff\xfe\nstyle = \"\nmaxsize = -\nmaxcount = 99999999999999999999\n");
  EXPECT_EQ(Log_Cfg_Heap_Reg::load(cfg, "logger", folder.file("x.cfu").c_str()), 0);
  Open();
  WriteSome();
}

}  // namespace
}  // namespace TSEG
