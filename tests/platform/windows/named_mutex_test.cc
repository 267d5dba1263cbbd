// SPDX-License-Identifier: Apache-2.0
//
// NamedMutex: excludes by name, ends with its holder, and waits only so long. Acquire itself says whether it came to hold the mutex or gave
// up, so no test here takes the time.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"

namespace TSEG {
namespace {

using platform::NamedMutex;

// Of this run, so that two runs at once do not wait for each other.
std::string Named(const std::string& name) { return "wvad_test_" + std::to_string(platform::ProcessId()) + "_" + name; }

TEST(NamedMutex, ExcludesAmongThreads) {
  std::atomic<int> inside{0};
  std::atomic<int> held{0};
  std::atomic<bool> met{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      NamedMutex mutex;
      EXPECT_EQ(mutex.Open(Named("threads")), 0);
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

TEST(NamedMutex, OtherNamesAreOtherMutexes) {
  NamedMutex first;
  NamedMutex second;
  ASSERT_EQ(first.Open(Named("one")), 0);
  ASSERT_EQ(second.Open(Named("two")), 0);
  EXPECT_TRUE(first.Acquire());
  EXPECT_TRUE(second.Acquire());
}

TEST(NamedMutex, HolderThatNeverLetsGoIsWaitedForOnlySoLong) {
  NamedMutex stuck;
  NamedMutex waiting;
  ASSERT_EQ(stuck.Open(Named("stuck")), 0);
  ASSERT_EQ(waiting.Open(Named("stuck")), 0);
  EXPECT_TRUE(stuck.Acquire());
  EXPECT_FALSE(waiting.Acquire());
  stuck.Release();
  EXPECT_TRUE(waiting.Acquire());
}

TEST(NamedMutex, IsTheSystemsMutexOfThatName) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Open(Named("odd/name")), 0);
  ASSERT_TRUE(mutex.Acquire());
  const HANDLE seen = ::OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, Named("odd_name").c_str());
  ASSERT_NE(seen, nullptr);
  unsigned long outcome = 0;
  std::thread([&] { outcome = ::WaitForSingleObject(seen, 0); }).join();
  EXPECT_EQ(outcome, static_cast<unsigned long>(WAIT_TIMEOUT));
  mutex.Release();
  std::thread([&] {
    outcome = ::WaitForSingleObject(seen, 0);
    ::ReleaseMutex(seen);
  }).join();
  EXPECT_EQ(outcome, WAIT_OBJECT_0);
  ::CloseHandle(seen);
}

// A thread that ends while it holds the mutex stands for a process: the system treats both alike.
TEST(NamedMutex, HeldBySomebodyWhoEndedIsFree) {
  const HANDLE left = ::CreateMutexA(nullptr, FALSE, Named("left").c_str());
  std::thread([&] { ::WaitForSingleObject(left, INFINITE); }).join();
  NamedMutex mutex;
  ASSERT_EQ(mutex.Open(Named("left")), 0);
  EXPECT_TRUE(mutex.Acquire());
  ::CloseHandle(left);
}

TEST(NamedMutex, NameOfSomethingElseIsRefusedAndTheObjectStandsForItself) {
  const HANDLE event = ::CreateEventA(nullptr, FALSE, FALSE, Named("event").c_str());
  NamedMutex first;
  NamedMutex second;
  EXPECT_NE(first.Open(Named("event")), 0);
  EXPECT_NE(second.Open(Named("event")), 0);
  EXPECT_TRUE(first.Acquire());
  EXPECT_TRUE(second.Acquire());
  ::CloseHandle(event);
}

TEST(NamedMutex, CanBeOpenedAgainAfterClosing) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Open(Named("again")), 0);
  EXPECT_TRUE(mutex.Acquire());
  mutex.Close();
  NamedMutex other;
  ASSERT_EQ(other.Open(Named("again")), 0);
  EXPECT_TRUE(other.Acquire());
}

}  // namespace
}  // namespace TSEG
