// SPDX-License-Identifier: Apache-2.0
//
// Clocks and identities.
#include <gtest/gtest.h>
#include <windows.h>

#include <ctime>
#include <string>
#include <thread>

#include "platform/platform.h"
#include "support/environment.h"

namespace TSEG {
namespace {

void SetTimeZone(const char* zone) {
  testing_support::SetVariable("TZ", zone);
  ::_tzset();
}

TEST(Clock, TicksAndCounterGoOnWhileSleeping) {
  // A tick of this system is up to 16 ms long, and is told in whole milliseconds.
  constexpr uint64_t kTick = 17;
  const uint64_t ticks = platform::TickCount64();
  int64_t begin = 0;
  int64_t end = 0;
  ASSERT_TRUE(platform::PerformanceCounter(&begin));
  platform::SleepMilliseconds(50);
  ASSERT_TRUE(platform::PerformanceCounter(&end));
  EXPECT_GE(platform::TickCount64() - ticks + kTick, 50u);
  EXPECT_GE(static_cast<double>(end - begin) / static_cast<double>(platform::PerformanceFrequency()), 0.050);
}

TEST(Clock, ShortTickCountIsTheLowHalfOfTheLongOne) {
  const uint64_t before = platform::TickCount64();
  const uint32_t ticks = platform::TickCount();
  const uint64_t after = platform::TickCount64();
  EXPECT_LE(ticks - static_cast<uint32_t>(before & 0xFFFFFFFFu), after - before);
}

TEST(Clock, WallClockIsTheSystemsTime) {
  const int64_t before = ::_time64(nullptr);
  const int64_t seconds = platform::WallClockSeconds();
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, ::_time64(nullptr));
}

TEST(Clock, FormatsLocalTime) {
  SetTimeZone("UTC0");
  EXPECT_EQ(platform::FormatLocalTime(1462365005, "%Y-%m-%d_%H-%M-%S"), "2016-05-04_12-30-05");
  EXPECT_EQ(platform::FormatLocalTime(0, "%y/%m/%d-%H:%M:%S"), "70/01/01-00:00:00");
  EXPECT_EQ(platform::FormatLocalTime(4102444799, "%Y-%m-%d_%H-%M-%S"), "2099-12-31_23-59-59");
  SetTimeZone("XYZ-2");  // two hours east
  EXPECT_EQ(platform::FormatLocalTime(1462365005, "%H:%M"), "14:30");
  SetTimeZone("UTC0");
}

TEST(Clock, TextThatDoesNotFitIsNoText) {
  char buffer[4];
  EXPECT_EQ(platform::FormatLocalTime(0, "%Y-%m-%d", buffer, sizeof buffer), 0u);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(platform::FormatLocalTime(0, "%S", buffer, sizeof buffer), 2u);
  EXPECT_STREQ(buffer, "00");
}

TEST(Clock, ThreadsHaveIdsOfTheirOwn) {
  const uint32_t here = platform::ThreadId();
  uint32_t there = here;
  std::thread([&there] { there = platform::ThreadId(); }).join();
  EXPECT_NE(here, there);
  EXPECT_EQ(platform::ThreadId(), here);
  EXPECT_EQ(platform::ProcessId(), ::GetCurrentProcessId());
}

}  // namespace
}  // namespace TSEG
