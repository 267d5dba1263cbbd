// SPDX-License-Identifier: Apache-2.0
//
// FileLogSingleton: banners, the flush of the worker and of the end, files that cannot be opened, and many threads at once.
#include "dumps/file_log_singleton.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/eventually.h"
#include "support/folder_fixture.h"

// The thread sanitizer's run-time asks for this: unless told otherwise it ends a forked child that makes a thread, and lets each child that
// exits sleep for a second.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
const char* __tsan_default_options() { return "die_after_fork=0:atexit_sleep_ms=0"; }

namespace TSEG {
namespace {

using namespace std::chrono_literals;
using testing_support::Eventually;

const std::string kSeparator = std::string(62, '=') + "\n";
const std::string kBegin = kSeparator + "\t \tLog Begin wvad session\n" + kSeparator;
const std::string kEnd = kSeparator + "\t \tLog End\n" + kSeparator;

// The object lives as long as the process: each test has file names of its own.
class FileLogSingletonTest : public testing_support::FolderTest {
 protected:
  void TearDown() override {
    log_.stop();
    FolderTest::TearDown();
  }
  FileLogSingleton& log_ = FileLogSingleton::instance();
};

// Waits for the worker's first round. That comes five seconds after the start, or later as far as the machine is busy, but never earlier.
TEST_F(FileLogSingletonTest, TextStandsUnderTheBannerAfterFiveSecondsAndTheEndIsMarked) {
  const auto begin = std::chrono::steady_clock::now();
  log_.start(1);
  log_.append("one\n", "within.txt");
  log_.append("two\n", "within.txt");
  EXPECT_TRUE(Eventually([this] { return folder_.read("within.txt") == kBegin + "one\ntwo\n"; }));
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited, 4900ms);
  log_.stop();
  EXPECT_EQ(folder_.read("within.txt"), kBegin + "one\ntwo\n" + kEnd);
}

TEST_F(FileLogSingletonTest, BannerIsNotRepeatedAfterARestart) {
  log_.start(1);
  log_.append("a\n", "restart.txt");
  log_.stop();
  log_.stop();  // a second end adds nothing
  EXPECT_EQ(folder_.read("restart.txt"), kBegin + "a\n" + kEnd);
  log_.start(1);
  log_.append("b\n", "restart.txt");
  log_.stop();
  EXPECT_EQ(folder_.read("restart.txt"), kBegin + "a\n" + kEnd + "b\n" + kEnd);
}

TEST_F(FileLogSingletonTest, FileOfAnEarlierProcessIsContinued) {
  folder_.write("continued.txt", "old\n");
  log_.start(1);
  log_.append("new\n", "continued.txt");
  log_.stop();
  EXPECT_EQ(folder_.read("continued.txt"), "old\n" + kBegin + "new\n" + kEnd);
}

TEST_F(FileLogSingletonTest, EachFileHasItsOwnText) {
  log_.start(1);
  log_.append("1\n", "each_b.txt");
  log_.append("2\n", "each_a.txt");
  log_.append("3\n", "each_b.txt");
  log_.stop();
  EXPECT_EQ(folder_.read("each_a.txt"), kBegin + "2\n" + kEnd);
  EXPECT_EQ(folder_.read("each_b.txt"), kBegin + "1\n3\n" + kEnd);
}

TEST_F(FileLogSingletonTest, PercentSignsAreText) {
  log_.start(1);
  log_.append("100%s %n\n", "percent.txt");
  log_.stop();
  EXPECT_EQ(folder_.read("percent.txt"), kBegin + "100%s %n\n" + kEnd);
}

TEST_F(FileLogSingletonTest, LinesWaitForAFileThatCannotBeOpened) {
  log_.start(1);
  log_.append("kept\n", "later/debug.txt");
  log_.stop();
  EXPECT_FALSE(std::filesystem::exists("later"));
  std::filesystem::create_directory("later");
  log_.start(1);
  log_.append("next\n", "later/debug.txt");
  log_.stop();
  EXPECT_EQ(folder_.read("later/debug.txt"), kBegin + "kept\n" + kEnd + "next\n" + kEnd);
}

TEST_F(FileLogSingletonTest, FileThatStaysShutKeepsTheNewestMegabytesAlone) {
  OpenLog(kLogErr);
  log_.start(1);
  const std::string mebibyte = std::string((1 << 20) - 1, 'x') + "\n";
  for (int i = 0; i < 10; ++i) log_.append(mebibyte, "shut/debug.txt");
  log_.stop();
  log_.start(1);
  log_.stop();
  const std::string error = "FileLogSingleton | Open file shut/debug.txt error\n";
  EXPECT_NE(Log().find(error), std::string::npos);
  EXPECT_EQ(Log().find(error), Log().rfind(error));
  std::filesystem::create_directory("shut");
  log_.start(1);
  log_.stop();
  const std::string text = folder_.read("shut/debug.txt");
  EXPECT_LE(text.size(), (8u << 20) + kEnd.size());
  EXPECT_GE(text.size(), 7u << 20);
  EXPECT_EQ(text.substr(text.size() - 3 * kEnd.size()), kEnd + kEnd + kEnd);
}

TEST_F(FileLogSingletonTest, FileIsFoundFromTheCurrentFolderOfTheFlush) {
  log_.start(0);  // a worker's flush could come before the folder changes
  log_.append("x\n", "moved.txt");
  std::filesystem::create_directory("elsewhere");
  std::filesystem::current_path("elsewhere");
  log_.stop();
  EXPECT_EQ(folder_.read("elsewhere/moved.txt"), kBegin + "x\n" + kEnd);
}

TEST_F(FileLogSingletonTest, ThreadsAppendAtOnceAndNoLineIsLost) {
  log_.start(2);
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([this, t] {
      for (int i = 0; i < 500; ++i) log_.append(std::to_string(t) + ":" + std::to_string(i) + "\n", "many.txt");
    });
  }
  for (std::thread& writer : writers) writer.join();
  log_.stop();
  const std::string text = "\n" + folder_.read("many.txt");
  for (int t = 0; t < 4; ++t) {
    size_t at = 0;
    for (int i = 0; i < 500; ++i) {  // in the order of each thread
      at = text.find("\n" + std::to_string(t) + ":" + std::to_string(i) + "\n", at);
      ASSERT_NE(at, std::string::npos) << t << ":" << i;
    }
  }
}

TEST_F(FileLogSingletonTest, StartAndStopMayComeOften) {
  for (int i = 0; i < 200; ++i) {
    log_.start(1);
    log_.stop();
  }
}

// Runs `work` in a forked child, which then ends by exit; whether it did. The parent looks for its end until it comes. The code is left
// open: a leak checker may count as lost in the child what only the parent's worker held.
template <typename Work>
bool ForkedChildEnds(Work work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    std::exit(0);
  }
  int status = -1;
  if (!Eventually([&] { return waitpid(child, &status, WNOHANG) != 0; })) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return false;
  }
  return WIFEXITED(status);
}

// Each round forks right after a start: a worker that was still being made would now and then leave a lock in the child.
TEST_F(FileLogSingletonTest, ForkedChildEndsWithoutItsParentsWorker) {
  for (int round = 0; round < 20; ++round) {
    log_.start(1);
    ASSERT_TRUE(ForkedChildEnds([] {})) << round;
    log_.stop();
  }
}

TEST_F(FileLogSingletonTest, ForkedChildHasAWorkerOfItsOwnAndLeavesTheParentsText) {
  log_.start(1);
  log_.append("parent\n", "forked.txt");
  EXPECT_TRUE(ForkedChildEnds([this] {
    log_.stop();
    log_.start(1);
    log_.append("child\n", "forked_child.txt");
    log_.stop();
  }));
  EXPECT_EQ(folder_.read("forked_child.txt"), kBegin + "child\n" + kEnd);
  log_.stop();
  // Had the child written what waited in its copy, it would stand there twice.
  EXPECT_EQ(folder_.read("forked.txt"), kBegin + "parent\n" + kEnd);
}

}  // namespace
}  // namespace TSEG
