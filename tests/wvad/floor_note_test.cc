// SPDX-License-Identifier: Apache-2.0
#include "wvad/floor_note.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace TSEG::tool {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// One level after the other, each for so many blocks of 10 ms.
LevelMeter Meter(const std::vector<std::pair<int16_t, size_t>>& stretches) {
  LevelMeter meter(16000);
  for (const auto& [amplitude, blocks] : stretches) {
    const std::vector<int16_t> samples(160 * blocks, amplitude);
    meter.Feed(samples.data(), samples.size());
  }
  return meter;
}

// The floor of 16 lies at 10 log10(e^16 / 400 / 32768^2) = -46.8 dB.
constexpr int kFloor = 16;

std::string OfNothing(const LevelMeter& meter, const std::string& gain = "--gain auto") {
  return FloorNote(kFloor, 16000).Text({meter}, gain);
}

std::string OfSpeech(double vol, int floor = kFloor) {
  FloorNote note(floor, 16000);
  note.Add(1.0, vol);
  return note.Text({Meter({{1000, 10}})}, "--gain auto");
}

TEST(FloorNote, NothingFoundUnderTheFloorIsSaidWithItsShare) {
  // 33 is -60 dB, 164 is -46 dB.
  EXPECT_EQ(OfNothing(Meter({{33, 95}, {164, 5}})),
            "the recording is very quiet: 95 % of it lies under the engine's energy floor of -47 dB and counts as silence; try --gain auto, "
            "or a lower floor, --set wvad_param_nEnergyThreshhood=12");
  EXPECT_THAT(OfNothing(Meter({{33, 100}}), ""), HasSubstr("; try a lower floor, --set"));
}

TEST(FloorNote, NothingFoundAboveTheFloorNeedsNoWord) {
  EXPECT_EQ(OfNothing(Meter({{33, 50}, {164, 50}})), "");  // noise that lies above it half of the time
  EXPECT_EQ(OfNothing(Meter({{33, 95}, {1036, 5}})), "");  // a knock at -30 dB
  EXPECT_EQ(OfNothing(Meter({{0, 100}})), "");             // digital silence
}

TEST(FloorNote, TheLoudestChannelCounts) {
  EXPECT_EQ(FloorNote(kFloor, 16000).Text({Meter({{33, 100}}), Meter({{1036, 100}})}, ""), "");
}

TEST(FloorNote, SpeechNearTheFloorIsSaidWithItsLevel) {
  // A mean of 16.5 is 0.5 or 2.2 dB above the floor: -44.7 dB.
  EXPECT_THAT(OfSpeech(4.0), StartsWith("the speech is very quiet: it lies at -45 dB on average, and what lies under the engine's energy "
                                        "floor of -47 dB counts as silence, so that some may be missing; try --gain auto, or a lower"));
  // 6 dB are 1.38: a mean of 17.38 is a "vol" of 8.3.
  EXPECT_NE(OfSpeech(8.2), "");
  EXPECT_EQ(OfSpeech(8.4), "");
  EXPECT_EQ(OfSpeech(19.3), "");
  // A floor of 12 is far below.
  EXPECT_EQ(OfSpeech(4.0, 12), "");
}

TEST(FloorNote, LongSentencesCountMore) {
  FloorNote note(kFloor, 16000);
  note.Add(1.0, 4.0);   // 16.5
  note.Add(9.0, 36.0);  // 20.5
  note.Add(90.0, std::nullopt);
  EXPECT_EQ(note.Text({}, ""), "");
  note.Add(90.0, 4.0);
  EXPECT_NE(note.Text({}, ""), "");
}

TEST(FloorNote, OfTheAdaptiveFloorNothingIsSaid) {
  FloorNote note(std::nullopt, 16000);
  EXPECT_EQ(note.Text({Meter({{33, 100}})}, ""), "");
  note.Add(1.0, 4.0);
  EXPECT_EQ(note.Text({Meter({{33, 100}})}, ""), "");
}

}  // namespace
}  // namespace TSEG::tool
