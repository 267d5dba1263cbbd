// SPDX-License-Identifier: Apache-2.0
#include "wvad/floor_note.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace TSEG::tool {
namespace {

using ::testing::HasSubstr;

class FloorNoteOf : public ::testing::Test {
 protected:
  // `count` frames that the network takes for speech, or not, of an energy (natural logarithm), against the floor of 16.
  void Frames(int count, bool speech, double energy) {
    DecidedFrame frame;
    frame.raw = speech ? 0.2F : -0.2F;
    frame.energy = 1000 * energy;
    frame.floor = 16000;
    frame.below_floor = frame.floor > frame.energy;
    for (int i = 0; i < count; ++i) note_.Take(frame);
  }

  FloorNote note_{16, 16000};
};

TEST_F(FloorNoteOf, AQuarterOfTheSpeechIsWorthANote) {
  Frames(300, true, 18);
  Frames(99, true, 15);
  EXPECT_EQ(note_.Text(""), "");
  Frames(1, true, 15);
  // The floor lies at 10 log10(e^16 / 400 / 32768^2) = -46.8 dB.
  EXPECT_EQ(
      note_.Text("--gain auto"),
      "very quiet: 25 % of what the network takes for speech lies under the engine's energy floor of -47 dB and counts as silence; try "
      "--gain auto, or a lower floor, --energy-floor -64");
  EXPECT_THAT(note_.Text(""), HasSubstr("silence; try a lower floor, --energy-floor"));
}

TEST_F(FloorNoteOf, WhatTheNetworkTakesForSilenceIsNoLoss) {
  Frames(1000, false, 10);
  EXPECT_EQ(note_.Text(""), "");
}

TEST_F(FloorNoteOf, AMomentIsNoSpeech) {
  Frames(49, true, 15);
  EXPECT_EQ(note_.Text(""), "");
  Frames(1, true, 15);
  EXPECT_NE(note_.Text(""), "");
}

TEST_F(FloorNoteOf, DigitalSilenceIsNoSpeechWhateverTheNetworkSays) {
  Frames(1000, true, 2);
  EXPECT_EQ(note_.Text(""), "");
}

TEST_F(FloorNoteOf, TheAdaptiveFloorHasNone) {
  FloorNote adaptive(std::nullopt, 16000);
  DecidedFrame frame;
  frame.raw = 0.2F;
  frame.energy = 15000;
  frame.below_floor = true;
  for (int i = 0; i < 1000; ++i) adaptive.Take(frame);
  EXPECT_EQ(adaptive.Text(""), "");
}

}  // namespace
}  // namespace TSEG::tool
