// SPDX-License-Identifier: Apache-2.0
//
// NamedMutex: excludes by name, ends with its holder, waits only so long, and trusts nobody's files but its own user's. Acquire itself says
// whether it came to hold the mutex or gave up, so no test here takes the time.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "support/environment.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

namespace fs = std::filesystem;
using platform::NamedMutex;

class NamedMutexTest : public ::testing::Test {
 protected:
  std::string LockFile(const std::string& name) const { return folder_.file("wvad-" + std::to_string(::geteuid()) + "-" + name + ".lock"); }
  testing_support::TempFolder folder_;
  const testing_support::ScopedVariable temporary_{"TMPDIR", folder_.path()};
};

TEST_F(NamedMutexTest, ExcludesAmongThreads) {
  std::atomic<int> inside{0};
  std::atomic<int> held{0};
  std::atomic<bool> met{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      NamedMutex mutex;
      EXPECT_EQ(mutex.Open("Some_Name"), 0);
      for (int i = 0; i < 20; ++i) {
        if (!mutex.Acquire()) continue;  // on a machine that stood still for as long as a stuck holder is waited for
        ++held;
        if (inside.fetch_add(1) != 0) met = true;
        std::this_thread::yield();
        inside.fetch_sub(1);
        mutex.Release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(met);
  EXPECT_GT(held, 0);
}

TEST_F(NamedMutexTest, OtherNamesAreOtherMutexes) {
  NamedMutex first;
  NamedMutex second;
  ASSERT_EQ(first.Open("one"), 0);
  ASSERT_EQ(second.Open("two"), 0);
  EXPECT_TRUE(first.Acquire());
  EXPECT_TRUE(second.Acquire());
}

TEST_F(NamedMutexTest, HolderThatNeverLetsGoIsWaitedForOnlySoLong) {
  NamedMutex stuck;
  NamedMutex waiting;
  ASSERT_EQ(stuck.Open("name"), 0);
  ASSERT_EQ(waiting.Open("name"), 0);
  EXPECT_TRUE(stuck.Acquire());
  EXPECT_FALSE(waiting.Acquire());
  stuck.Release();
  EXPECT_TRUE(waiting.Acquire());
}

TEST_F(NamedMutexTest, IsGoneWithItsProcess) {
  const pid_t child = ::fork();
  if (child == 0) {
    NamedMutex mutex;
    mutex.Open("name");
    mutex.Acquire();
    ::raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  NamedMutex mutex;
  ASSERT_EQ(mutex.Open("name"), 0);
  EXPECT_TRUE(mutex.Acquire());
}

TEST_F(NamedMutexTest, LiesInTheTemporaryFolderForItsUserAlone) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Open("A/odd name"), 0);
  ASSERT_TRUE(fs::exists(LockFile("A_odd_name")));
  EXPECT_EQ(fs::status(LockFile("A_odd_name")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(NamedMutexTest, DoesNotFollowALink) {
  const std::string victim = folder_.write("victim", "untouched");
  fs::create_symlink(victim, LockFile("name"));
  NamedMutex mutex;
  EXPECT_EQ(mutex.Open("name"), ELOOP);
  EXPECT_TRUE(mutex.Acquire());
  mutex.Release();
  EXPECT_EQ(folder_.read("victim"), "untouched");
}

TEST_F(NamedMutexTest, WithoutAFolderEachStandsForItself) {
  const testing_support::ScopedVariable elsewhere("TMPDIR", folder_.file("missing"));
  NamedMutex first;
  NamedMutex second;
  EXPECT_EQ(first.Open("name"), ENOENT);
  EXPECT_EQ(second.Open("name"), ENOENT);
  EXPECT_TRUE(first.Acquire());
  EXPECT_TRUE(second.Acquire());
  second.Release();
  first.Release();
}

TEST_F(NamedMutexTest, WhatIsNoPlainFileIsNotUsed) {
  ASSERT_EQ(::mkfifo(LockFile("name").c_str(), 0600), 0);
  NamedMutex mutex;
  EXPECT_EQ(mutex.Open("name"), EACCES);
}

TEST_F(NamedMutexTest, CanBeOpenedAgainAfterClosing) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Open("name"), 0);
  EXPECT_TRUE(mutex.Acquire());
  mutex.Close();
  NamedMutex other;
  ASSERT_EQ(other.Open("name"), 0);
  EXPECT_TRUE(other.Acquire());
}

}  // namespace
}  // namespace TSEG
