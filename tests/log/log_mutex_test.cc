// SPDX-License-Identifier: Apache-2.0
//
// The two locks behind the one interface.
#include "log/log_mutex.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "log/log_process_mutex.h"
#include "log/log_thread_mutex.h"
#include "support/environment.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

TEST(LogThreadMutex, ExcludesThreadsAndLetsItsHolderInAgain) {
  Log_Thread_Mutex mutex;
  EXPECT_EQ(mutex.open("ignored"), 0);
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) {
        mutex.acquire(0);  // the timeout is ignored
        mutex.acquire(0);
        ++counter;
        mutex.release();
        mutex.release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 4000);
}

TEST(LogProcessMutex, RemembersItsNameAndExcludes) {
  const testing_support::TempFolder folder;
  const testing_support::ScopedVariable temporary("TMPDIR", folder.path());
  Log_Win32_Process_Mutex first;
  Log_Win32_Process_Mutex second;
  EXPECT_EQ(first.open("Some_Mutex"), 0);
  EXPECT_EQ(first.name(), "Some_Mutex");
  EXPECT_EQ(second.open("Some_Mutex"), 0);
  EXPECT_EQ(first.acquire(Log_Mutex::kInfinite), 0);
  EXPECT_EQ(second.acquire(Log_Mutex::kInfinite), ETIMEDOUT);  // gives up after a time that is the platform's affair
  EXPECT_EQ(first.release(), 0);
  EXPECT_EQ(second.acquire(Log_Mutex::kInfinite), 0);
  EXPECT_EQ(second.release(), 0);
  first.close();
  second.close();
}

TEST(LogProcessMutex, WithoutAFileBehindItGivesTheErrorAndStaysUsable) {
  const testing_support::ScopedVariable temporary("TMPDIR", "/proc/no/such/folder");
  Log_Win32_Process_Mutex mutex;
  EXPECT_NE(mutex.open("Some_Mutex"), 0);
  EXPECT_EQ(mutex.acquire(Log_Mutex::kInfinite), 0);
  EXPECT_EQ(mutex.release(), 0);
}

}  // namespace
}  // namespace TSEG
