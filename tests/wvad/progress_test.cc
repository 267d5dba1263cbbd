// SPDX-License-Identifier: Apache-2.0
#include "wvad/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "support/temp_folder.h"

namespace TSEG::tool {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

ProgressState One(double share, double done, double total, double left) {
  ProgressState state;
  state.share = share;
  state.seconds_done = done;
  state.seconds_total = total;
  state.seconds_left = left;
  state.name = "talk.wav";
  return state;
}

TEST(Progress, HalfIsHalfABar) {
  EXPECT_EQ(ProgressLine(One(0.5, 1830, 3660, 62), 79), "[############............] 50 %  0:30:30 / 1:01:00  0:01:02 left  talk.wav");
}

TEST(Progress, UnknownLengthShowsTheTimeAlone) { EXPECT_EQ(ProgressLine(One(-1, 61, 0, -1), 79), "0:01:01  talk.wav"); }

TEST(Progress, MoreThanAllIsAll) { EXPECT_THAT(ProgressLine(One(1.7, 200, 100, -1), 79), HasSubstr("[########################] 100 %")); }

TEST(Progress, SeveralRecordingsAreCounted) {
  ProgressState state = One(0.25, 5, 10, 3661);
  state.files_done = 12;
  state.files = 340;
  EXPECT_EQ(ProgressLine(state, 200), "[######..................] 25 %  12 of 340  1:01:01 left  talk.wav");
}

TEST(Progress, NarrowTerminalsLoseTheNameThenTheBar) {
  const ProgressState state = One(0.5, 1830, 3660, 62);
  EXPECT_EQ(ProgressLine(state, 70), "[############............] 50 %  0:30:30 / 1:01:00  0:01:02 left  talk");
  EXPECT_EQ(ProgressLine(state, 49), "50 %  0:30:30 / 1:01:00  0:01:02 left  talk.wav");
  EXPECT_EQ(ProgressLine(state, 19), "50 %  0:01:02 left ");
}

TEST(Progress, NameIsCutBetweenCharactersAndPrintsOneLine) {
  ProgressState state = One(-1, 1, 0, -1);
  state.name = "\xC3\xA4\xC3\xB6\xC3\xBC.wav";
  EXPECT_EQ(ProgressLine(state, 11), "0:00:01  \xC3\xA4\xC3\xB6");
  state.name = "a\nb\x1B[1m";
  EXPECT_EQ(ProgressLine(state, 79), "0:00:01  a?b?[1m");
}

class ProgressOnTerminal : public ::testing::Test {
 protected:
  using Clock = Progress::Clock;
  // What goes to standard error while 50 of 100 s of the larger of two files, the smaller being done, are told `after` so much time.
  std::string Shown(bool enabled, std::chrono::milliseconds after) {
    const std::vector<std::string> files = {folder_.write("a.wav", std::string(3000, 'x')), folder_.write("b.wav", std::string(1000, 'x'))};
    ::testing::internal::CaptureStderr();
    {
      Progress progress(enabled, files, [this] { return now_; });
      progress.Done(1);
      now_ += after;
      progress.Show(0, 50, 100);
    }
    return ::testing::internal::GetCapturedStderr();
  }
  testing_support::TempFolder folder_;
  Clock::time_point now_;
};

TEST_F(ProgressOnTerminal, WorkOfAMomentShowsNothing) { EXPECT_EQ(Shown(true, std::chrono::milliseconds(499)), ""); }

TEST_F(ProgressOnTerminal, NothingIsShownWhereItIsNotWanted) { EXPECT_EQ(Shown(false, std::chrono::seconds(50)), ""); }

TEST_F(ProgressOnTerminal, LargeFilesAreMoreOfTheWorkAndTheBarGoesAwayAtTheEnd) {
  // 1000 of 4000 bytes are done, and half of the other 3000: 5/8 in 50 s, 3/8 in another 30 s.
  const std::string shown = Shown(true, std::chrono::seconds(50));
  EXPECT_THAT(shown, HasSubstr("] 62 %  1 of 2  0:00:30 left  "));
  EXPECT_THAT(shown, EndsWith("\r\x1b[K"));
}

}  // namespace
}  // namespace TSEG::tool
