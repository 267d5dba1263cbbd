// SPDX-License-Identifier: Apache-2.0
#include "wvad/ffmpeg/timeline.h"

#include <gtest/gtest.h>

namespace TSEG::tool {
namespace {

// Rates of 1000 Hz: a sample is a millisecond.
void Expect(const Timeline::Place& place, int64_t silence, int64_t drop) {
  EXPECT_EQ(place.silence, silence);
  EXPECT_EQ(place.drop, drop);
}

TEST(TimelineTest, PiecesBehindEachOtherAreLeftAlone) {
  Timeline timeline(1000);
  Expect(timeline.Put(0, 20, false), 0, 0);
  Expect(timeline.Put(21, 20, false), 0, 0);  // rounded by the container
  Expect(timeline.Put(std::nullopt, 20, false), 0, 0);
  Expect(timeline.Put(0, 20, false), 0, 0);  // 60 ms early: still no overlap
  EXPECT_EQ(timeline.reached(), 80);
}

TEST(TimelineTest, LateBeginIsSilenceAndEarlyBeginIsLeftOut) {
  Timeline late(1000);
  Expect(late.Put(50, 20, false), 50, 0);
  EXPECT_EQ(late.reached(), 70);
  Timeline early(1000);
  Expect(early.Put(-15, 20, false), 0, 15);
  EXPECT_EQ(early.reached(), 5);
  Timeline before(1000);
  Expect(before.Put(-50, 20, false), 0, 20);
  EXPECT_EQ(before.reached(), 0);
}

TEST(TimelineTest, HoleOfATenthOfASecondIsSilenceAndASmallerOneOnlyBehindALoss) {
  Timeline timeline(1000);
  timeline.Put(0, 20, false);
  Expect(timeline.Put(120, 20, false), 0, 0);    // 100 ms late
  Expect(timeline.Put(141, 20, false), 101, 0);  // 101 ms late
  EXPECT_EQ(timeline.reached(), 161);
  Expect(timeline.Put(181, 20, true), 20, 0);
  EXPECT_EQ(timeline.reached(), 201);
}

TEST(TimelineTest, ClockThatIsSetBackLosesNothing) {
  Timeline timeline(1000);
  timeline.Put(0, 2000, false);
  Expect(timeline.Put(1000, 20, false), 0, 20);  // a second that was there already
  Expect(timeline.Put(0, 20, false), 0, 0);      // two: another recording
  Expect(timeline.Put(20, 20, false), 0, 0);
  EXPECT_EQ(timeline.reached(), 2040);
  // What lies before time 0 is never heard, however much it is.
  Timeline early(1000);
  Expect(early.Put(-3000, 20, false), 0, 20);
  Expect(early.Put(-2980, 20, false), 0, 20);
  EXPECT_EQ(early.reached(), 0);
}

TEST(TimelineTest, SilenceIsNotBrought) {
  Timeline timeline(1000);
  timeline.Put(50, 20, false);
  timeline.Put(300, 20, false);
  timeline.Put(200, 20, false);  // a tenth of a second of it twice
  EXPECT_EQ(timeline.reached(), 320);
  EXPECT_EQ(timeline.brought(), 40);
}

TEST(TimelineTest, ClockThatIsSetAnewMovesNothing) {
  Timeline timeline(1000);
  timeline.Put(0, 20, false);
  Expect(timeline.Put(3600 * 1000 + 21, 20, false), 0, 0);
  Expect(timeline.Put(3600 * 1000 + 41, 20, false), 0, 0);
  Expect(timeline.Put(3600 * 1000 + 261, 20, false), 200, 0);  // a hole on the new clock
  Expect(timeline.Put(-5, 20, false), 0, 0);
  EXPECT_EQ(timeline.reached(), 300);
}

TEST(TimelineTest, JumpsOfTheClockAreTold) {
  Timeline timeline(1000);
  EXPECT_EQ(timeline.Put(50, 2000, false).jump, 0);
  EXPECT_EQ(timeline.Put(4050, 20, false).jump, 0);  // a hole
  EXPECT_EQ(timeline.Put(0, 20, false).jump, -4070);
  timeline.set_anew(true);
  EXPECT_EQ(timeline.Put(1021, 20, false).jump, 1001);
}

TEST(TimelineTest, AheadOfAClockThatIsKnownToBeSetAnewIsNoHole) {
  Timeline timeline(1000);
  timeline.set_anew(true);
  timeline.Put(0, 20, false);
  Expect(timeline.Put(1021, 20, false), 0, 0);
  Expect(timeline.Put(2041, 20, false), 1000, 0);  // a second on the new clock is a hole still
  EXPECT_EQ(timeline.reached(), 1060);
  timeline.set_anew(false);
  Expect(timeline.Put(3062, 20, false), 1001, 0);
  // Before anything was heard it is where the sound begins.
  Timeline late(1000);
  late.set_anew(true);
  Expect(late.Put(5000, 20, false), 5000, 0);
}

}  // namespace
}  // namespace TSEG::tool
