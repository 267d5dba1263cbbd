// SPDX-License-Identifier: Apache-2.0
//
// Open and close: the file and its folder, the open modes, head and tail, locks and devices given or made, locale, start time.
#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <filesystem>
#include <string>

#include "log/log.h"
#include "log/log_impl.h"
#include "log/log_impl_life.h"
#include "log/log_impl_line.h"
#include "log/log_impl_rotation.h"
#include "log_fixture.h"
#include "platform/platform.h"
#include "support/environment.h"
#include "wvad.h"

namespace TSEG {
namespace {

namespace fs = std::filesystem;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

constexpr const char* kRule = "=============================================================\n";

std::string Pid() {
  char text[64];
  std::snprintf(text, sizeof text, "\tPID: %d (0x%04x)", ::getpid(), static_cast<unsigned>(::getpid()));
  return text;
}

std::string Head(const std::string& word, const std::string& time) {
  return std::string(kRule) + "\tOrvaLIN log file\n\tSubject :    A title\n\t" + word + "-Time :    " + time +
         "\n\tApplication: wvad_log_test " WVAD_VERSION "\n\tModule:      wvad_log_test " WVAD_VERSION "\n" + Pid() +
         " Version: " WVAD_VERSION "\n" + kRule;
}

std::string Tail(const std::string& word, const std::string& time) {
  return std::string(kRule) + "\tA title " + word + "-Time: " + time + "\n" + Pid() + "\n" + kRule;
}

class LogLife : public LogTest {
 protected:
  LogLife() { cfg.nStyle = kStyleNewline; }
};

TEST_F(LogLife, HeadAndTailFrameTheFile) {
  cfg.bHead = true;
  Open();
  logger.log(kLogErr, "x");
  FakeTime::Pass(65000);
  logger.close();
  EXPECT_EQ(Text(), Head("Created", "2016-05-04 12:30:05") + "x\n" + Tail("End", "2016-05-04 12:31:10"));
}

TEST_F(LogLife, RotationFormsOfHeadAndTail) {
  Open();
  logger.write_tail(0);
  logger.write_head(0);
  EXPECT_EQ(Text(), Tail("Continue", "2016-05-04 12:30:05") + Head("Continued", "2016-05-04 12:30:05"));
}

TEST_F(LogLife, WithoutHeadThereIsNeitherHeadNorTail) {
  Open();
  logger.close();
  EXPECT_EQ(Text(), "");
}

TEST_F(LogLife, TitleOfAnyLengthIsWritten) {
  cfg.bHead = true;
  cfg.szTitle = std::string(100000, 't');
  Open();
  logger.close();
  EXPECT_NE(Text().find("\tSubject :    " + cfg.szTitle + "\n"), std::string::npos);
}

TEST_F(LogLife, ModesAppendOrTruncateAndTextStartsOnALineOfItsOwn) {
  struct {
    int mode;
    const char* before;
    const char* after;
  } const rows[] = {{0, "old", "old\nx\n"}, {0, "old\n", "old\nx\n"}, {0, "", "x\n"},        {1, "old", "oldx\n"},
                    {2, "old", "x\n"},      {3, "old", "x\n"},        {9, "old", "old\nx\n"}};
  for (const auto& row : rows) {
    folder.write("w.log", row.before);
    cfg.nMode = row.mode;
    Open();
    logger.log(kLogErr, "x");
    logger.close();
    EXPECT_EQ(Text(), row.after) << row.mode << " on '" << row.before << "'";
  }
}

TEST_F(LogLife, ModeChoosesTheOpenString) {
  const char* const strings[] = {"a+t", "a+b", "wt", "wb"};
  for (int mode = 0; mode < 4; ++mode) {
    RecordingDevice device;
    const LogParts parts{&device, nullptr};
    cfg.nMode = mode;
    logger.open(cfg, nullptr, &parts);
    ASSERT_EQ(device.opened.size(), 1u);
    EXPECT_EQ(device.opened[0], cfg.szFile + "|" + strings[mode]);
    logger.close();
  }
}

TEST_F(LogLife, MakesTheFoldersOfTheFile) {
  cfg.szFile = folder.file("a/b/w.log");
  Open();
  logger.log(kLogErr, "x");
  EXPECT_EQ(Text("a/b/w.log"), "x\n");
}

TEST_F(LogLife, GivenDeviceIsOpenedButNeverClosed) {
  RecordingDevice device;
  const LogParts parts{&device, nullptr};
  cfg.bHead = true;
  logger.open(cfg, nullptr, &parts);
  EXPECT_EQ(logger.device(), &device);
  ASSERT_EQ(device.narrow.size(), 1u);  // the head
  logger.close();
  EXPECT_EQ(device.closes, 0);
  EXPECT_EQ(device.narrow.size(), 1u);  // no tail: whoever owns the device ends it
  EXPECT_EQ(logger.device(), nullptr);
}

TEST_F(LogLife, GivenLockIsUsedAndKept) {
  class CountingLock final : public Log_Mutex {
   public:
    int open(const char*) override { return 0; }
    void close() override { ++closes; }
    int acquire(uint32_t timeout) override {
      EXPECT_EQ(timeout, kInfinite);
      ++taken;
      ++held;
      return 0;
    }
    int release() override {
      --held;
      return 0;
    }
    int taken = 0, held = 0, closes = 0;
  } lock;
  const LogParts parts{nullptr, &lock};
  logger.open(cfg, nullptr, &parts);
  const int before = lock.taken;
  logger.log(kLogErr, "x");
  EXPECT_EQ(lock.taken, before + 1);
  logger.flush();
  EXPECT_EQ(lock.taken, before + 2);
  logger.close();
  EXPECT_EQ(lock.held, 0);
  EXPECT_EQ(lock.closes, 0);
}

TEST_F(LogLife, LockIsThereWhileOpen) {
  EXPECT_EQ(logger.lock(), -1);
  Open();
  EXPECT_EQ(logger.lock(), 0);
  EXPECT_EQ(logger.lock(), 0);  // may be taken again by its holder
  EXPECT_EQ(logger.unlock(), 0);
  EXPECT_EQ(logger.unlock(), 0);
  logger.close();
  EXPECT_EQ(logger.lock(), -1);
  EXPECT_EQ(logger.unlock(), -1);
}

// A lock that cannot be had.
class RefusingLock final : public Log_Mutex {
 public:
  int open(const char*) override { return 13; }
  void close() override {}
  int acquire(uint32_t) override { return 0; }
  int release() override { return 0; }
};

using LoggerWithoutLock = Log_Impl_T<Log_Uni_Type<Log_IO_FILE>, RefusingLock, Log_Cfg_Heap_Reg>;

TEST_F(LogLife, LockThatCannotBeHadIsNamedAndLoggingGoesOn) {
  cfg.szTitle = "Tseg Logging two";
  LoggerWithoutLock without(FakeTime::Clock());
  CaptureStdout();
  EXPECT_EQ(without.open(cfg, nullptr, nullptr), 0);
  EXPECT_EQ(GetCapturedStdout(), "Log_Impl_T::open open lock name Orva_Logger_Mutex_Tseg_Logging_two failed, error = 13.\n");
  EXPECT_EQ(without.lock(), -1);
  without.log(kLogErr, "x");
  without.close();
  EXPECT_EQ(Text(), "x\n");
}

TEST_F(LogLife, StartTimeIsTakenOnceAndCanBeGiven) {
  Open();
  EXPECT_EQ(logger.cfg().start_time(), kSomeTime);
  EXPECT_EQ(logger.cfg().start_tick(), 7000u);
  cfg.nStartTime = 1000;
  FakeTime::ticks = 99;
  Open();
  EXPECT_EQ(logger.cfg().start_time(), 1000);
  EXPECT_EQ(logger.cfg().start_tick(), 99u);
}

// A clock on which the next second comes with the fourth look.
int64_t SecondOfTheFourthLook() {
  static int looks = 0;
  return ++looks < 4 ? kSomeTime : kSomeTime + 1;
}

TEST_F(LogLife, AlignedStartWaitsForTheNextSecond) {
  cfg.bAlignStart = true;
  Logger aligned(LogClock{&SecondOfTheFourthLook, &FakeTime::Ticks});
  ASSERT_EQ(aligned.open(cfg, nullptr, nullptr), 0);
  EXPECT_EQ(aligned.cfg().start_time(), kSomeTime + 1);
}

TEST_F(LogLife, LocaleSettingChangesTheLocaleOnlyWhereItNamesOne) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* setting : {"", "skip", "null", ".ACP", "no_SUCH.locale"}) {
    cfg.szLocale = setting;
    Open();
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before) << setting;
  }
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) GTEST_SKIP() << "no other locale here";
  std::setlocale(LC_ALL, before.c_str());
  cfg.szLocale = "C.UTF-8";
  Open();
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C.UTF-8");
  std::setlocale(LC_ALL, before.c_str());
  const testing_support::ScopedVariable locale("LC_ALL", "C.UTF-8");
  cfg.szLocale = "empty";
  Open();
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C.UTF-8");
  std::setlocale(LC_ALL, before.c_str());
}

TEST_F(LogLife, OpenedAgainItEndsItsFirstFile) {
  cfg.bHead = true;
  Open();
  cfg.szFile = folder.file("second.log");
  Open();
  logger.close();
  EXPECT_EQ(Text(), Head("Created", "2016-05-04 12:30:05") + Tail("End", "2016-05-04 12:30:05"));
  EXPECT_EQ(Text("second.log"), Text());
}

}  // namespace
}  // namespace TSEG
