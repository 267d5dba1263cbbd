// SPDX-License-Identifier: Apache-2.0
#include "wvad/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace TSEG::tool {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

// What goes to standard error while `seconds_done` of `seconds_total` is told after `wait` and then taken away.
std::string Shown(bool enabled, double seconds_done, double seconds_total, std::chrono::milliseconds wait) {
  ::testing::internal::CaptureStderr();
  {
    Progress progress(enabled, "talk.wav", seconds_total);
    std::this_thread::sleep_for(wait);
    progress.Show(seconds_done);
  }
  return ::testing::internal::GetCapturedStderr();
}

constexpr std::chrono::milliseconds kMoment{10};
constexpr std::chrono::milliseconds kLong{650};

TEST(Progress, WorkOfAMomentShowsNothing) { EXPECT_EQ(Shown(true, 60, 120, kMoment), ""); }

TEST(Progress, NothingIsShownWhereItIsNotWanted) { EXPECT_EQ(Shown(false, 60, 120, kLong), ""); }

TEST(Progress, HalfIsHalfABarAndGoesAwayAtTheEnd) {
  const std::string shown = Shown(true, 1830, 3660, kLong);
  EXPECT_THAT(shown, HasSubstr("[############............] 50 %  0:30:30 / 1:01:00  talk.wav"));
  EXPECT_THAT(shown, EndsWith("\r\x1b[K"));
}

TEST(Progress, UnknownLengthShowsTheTimeAlone) {
  const std::string shown = Shown(true, 61, 0, kLong);
  EXPECT_THAT(shown, HasSubstr("\r0:01:01  talk.wav"));
  EXPECT_THAT(shown, ::testing::Not(HasSubstr("%")));
}

TEST(Progress, MoreThanAllIsAll) { EXPECT_THAT(Shown(true, 200, 100, kLong), HasSubstr("[########################] 100 %")); }

}  // namespace
}  // namespace TSEG::tool
