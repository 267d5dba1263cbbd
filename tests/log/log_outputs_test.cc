// SPDX-License-Identifier: Apache-2.0
//
// Where a line goes: file, console, debugger, message box; wide text; the raw writes; a device that throws.
#include <gtest/gtest.h>

#include <clocale>
#include <stdexcept>
#include <string>

#include "log/log.h"
#include "log/log_impl.h"
#include "log_fixture.h"

namespace TSEG {
namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

class LogOutputs : public LogTest {
 protected:
  LogOutputs() { cfg.nStyle = kStyleNewline; }
};

TEST_F(LogOutputs, ConsoleIsStandardOutput) {
  cfg.nOutput = kLogToConsole;
  CaptureStdout();
  Open();
  logger.log(kLogErr, "100% seen");
  EXPECT_EQ(GetCapturedStdout(), "100% seen\n");
  EXPECT_FALSE(std::filesystem::exists(folder.file("w.log")));
}

TEST_F(LogOutputs, ConsoleHasALevelMaskOfItsOwn) {
  cfg.nOutput = kLogToConsole | kLogToFile;
  cfg.nConsoleLevel = static_cast<uint32_t>(kLogErr);
  CaptureStdout();
  Open();
  logger.log(kLogErr, "both");
  logger.log(kLogWan, "file");
  EXPECT_EQ(GetCapturedStdout(), "both\n");
  EXPECT_EQ(Text(), "both\nfile\n");
}

TEST_F(LogOutputs, DebuggerIsALineOnStandardError) {
  cfg.nOutput = kLogToDebugger;
  Open();
  CaptureStderr();
  logger.log(kLogWan, "seen");
  EXPECT_EQ(GetCapturedStderr(), "seen\n");
}

TEST_F(LogOutputs, MessageBoxIsALineWithTheKindOfItsLevel) {
  cfg.nOutput = kLogToMessageBox;
  Open();
  CaptureStderr();
  logger.log(kLogCrt, "one");
  logger.log(kLogErr, "two");
  logger.log(kLogWan, "three");
  EXPECT_EQ(GetCapturedStderr(), "Logger [error]: one\nLogger [error]: two\nLogger [information]: three\n");
}

TEST_F(LogOutputs, OneLineGoesToAllOutputsThatAreOn) {
  cfg.nOutput = 15u;
  CaptureStdout();
  CaptureStderr();
  Open();
  logger.log(kLogErr, "x");
  EXPECT_EQ(GetCapturedStdout(), "x\n");
  EXPECT_EQ(GetCapturedStderr(), "x\nLogger [error]: x\n");
  EXPECT_EQ(Text(), "x\n");
}

TEST_F(LogOutputs, FlushSettingFlushesAfterEachLine) {
  RecordingDevice device;
  const LogParts parts{&device, nullptr};
  ASSERT_EQ(logger.open(cfg, nullptr, &parts), 0);
  logger.log(kLogErr, "x");
  EXPECT_EQ(device.flushes, 0);
  cfg.bFlush = true;
  ASSERT_EQ(logger.open(cfg, nullptr, &parts), 0);
  logger.log(kLogErr, "x");
  logger.log(kLogErr, "y");
  EXPECT_EQ(device.flushes, 2);
}

TEST_F(LogOutputs, TextFormTwoWritesWideText) {
  RecordingDevice device;
  const LogParts parts{&device, nullptr};
  cfg.nCharset = 2;
  ASSERT_EQ(logger.open(cfg, nullptr, &parts), 0);
  logger.log(kLogErr, "wide");
  ASSERT_EQ(device.wide.size(), 1u);
  EXPECT_EQ(device.wide[0], L"wide\n");
  EXPECT_TRUE(device.narrow.empty());
}

TEST_F(LogOutputs, WideTextIsWrittenMultibyteByTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) GTEST_SKIP() << "no UTF-8 locale here";
  cfg.nOutput = kLogToConsole | kLogToFile;
  for (const int charset : {0, 2}) {
    cfg.nCharset = charset;
    CaptureStdout();
    Open();
    const size_t at = Text().size();
    logger.log(kLogErr, "gr\xc3\xbc\xc3\x9f \xff");
    logger.log_w(kLogErr, L"gr\u00fc\u00df");
    EXPECT_EQ(Text().substr(at), "gr\xc3\xbc\xc3\x9f " + std::string(charset == 2 ? "\xc3\xbf" : "\xff") + "\ngr\xc3\xbc\xc3\x9f\n");
    EXPECT_EQ(GetCapturedStdout(), Text().substr(at));
  }
  std::setlocale(LC_ALL, before.c_str());
}

TEST_F(LogOutputs, WideFormFollowsTheSameRules) {
  cfg.nStyle = kStyleLevel | kStyleSubject | kStyleNewline;
  cfg.filter.exclude = {"noise"};
  Open();
  logger.log_msg_i_w(L"wide", kLogErr, 0, L"one");
  logger.log_msg_i_w(nullptr, kLogInf, 0, L"level is off");
  logger.log_msg_i_w(nullptr, kLogErr, 0, L"some noise");
  logger.log_msg_i_w(nullptr, kLogErr, kStyleNewline, L"two\n");
  EXPECT_EQ(Text(), "[ERR][wide    ] one\ntwo\n");
}

TEST_F(LogOutputs, RawWriteAndFillLineGoStraightToTheDevice) {
  Open();
  EXPECT_EQ(logger.write("a\0b", 3), 0);
  logger.write_line('=');
  EXPECT_EQ(Text(), std::string("a\0b", 3) + std::string(80, '=') + "\n");
}

class KeyedLogger : public Logger {
 public:
  explicit KeyedLogger(char key) : Logger(FakeTime::Clock()) { nKey = key; }
};

TEST_F(LogOutputs, KeyGarblesTheLineAndItsEndMark) {
  KeyedLogger keyed(0x20);
  ASSERT_EQ(keyed.open(cfg, nullptr, nullptr), 0);
  keyed.log(kLogErr, "Ab");
  EXPECT_EQ(Text(), std::string("aB*\0", 4));  // 'A' ^ 0x20, 'b' ^ 0x20, '\n' ^ 0x20; the end mark stays
  keyed.write("Cd", 2);
  EXPECT_EQ(Text(), std::string("aB*\0cD", 6));
}

// A device that fails in the worst way.
class ThrowingLogger : public Logger {
 public:
  ThrowingLogger() : Logger(FakeTime::Clock()) {}
  void check_config() override { throw std::runtime_error("no"); }
};

TEST_F(LogOutputs, FailureInsideIsCaughtAndNamed) {
  ThrowingLogger throwing;
  ASSERT_EQ(throwing.open(cfg, nullptr, nullptr), 0);
  CaptureStdout();
  throwing.log(kLogErr, "x");
  throwing.log_w(kLogErr, L"x");
  EXPECT_EQ(GetCapturedStdout(),
            "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\n"
            "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.\n");
}

}  // namespace
}  // namespace TSEG
