// SPDX-License-Identifier: Apache-2.0
#include "wvad/cut_plan.h"

#include <gtest/gtest.h>

#include <vector>

namespace TSEG::tool {
namespace {

using Spans = std::vector<FrameSpan>;

stream::Sentence At(int64_t begin, int64_t end) {
  stream::Sentence sentence;
  sentence.begin_sample = begin;
  sentence.end_sample = end;
  return sentence;
}

TEST(CutPlan, SpeechCountsInFramesOfTheRecording) {
  // 0.1 to 0.3 s at 16000 Hz.
  const std::vector<stream::Sentence> sentences = {At(1600, 4800)};
  EXPECT_EQ(SpeechOf(sentences, 16000, 16000, 16000), (Spans{{1600, 4800}}));
  EXPECT_EQ(SpeechOf(sentences, 16000, 44100, 44100), (Spans{{4410, 13230}}));
  EXPECT_EQ(SpeechOf(sentences, 16000, 8000, 8000), (Spans{{800, 2400}}));
}

TEST(CutPlan, AFrameThatSpeechHoldsAPartOfBelongsToIt) {
  // 1602.5 to 3307.5 at 11025 Hz are 0.145351... to 0.3 s; 160 samples at 16000 Hz are 110.25 there.
  EXPECT_EQ(SpeechOf({At(160, 480)}, 16000, 11025, 11025), (Spans{{110, 331}}));
}

TEST(CutPlan, SpeechThatTouchesIsOneAndEndsWithTheRecording) {
  EXPECT_EQ(SpeechOf({At(0, 1000), At(1000, 2000), At(3000, 9000)}, 16000, 16000, 5000), (Spans{{0, 2000}, {3000, 5000}}));
  EXPECT_EQ(SpeechOf({At(6000, 9000)}, 16000, 16000, 5000), Spans());
}

TEST(CutPlan, SpeechUntilNothingMoreCouldBeDecidedGoesToTheEnd) {
  // 40 ms before the end of 1 s, less than 50, and 50.
  EXPECT_EQ(SpeechOf({At(8000, 15360)}, 16000, 16000, 16000), (Spans{{8000, 16000}}));
  EXPECT_EQ(SpeechOf({At(8000, 15360)}, 16000, 44100, 44100), (Spans{{22050, 44100}}));
  EXPECT_EQ(SpeechOf({At(8000, 15201)}, 16000, 16000, 16000), (Spans{{8000, 16000}}));
  EXPECT_EQ(SpeechOf({At(8000, 15200)}, 16000, 16000, 16000), (Spans{{8000, 15200}}));
}

TEST(CutPlan, OfEachSilenceAsMuchStaysAsIsAskedFor) {
  const Spans speech = {{1000, 2000}, {2600, 3000}, {3050, 4000}};
  EXPECT_EQ(WithSilences(speech, 0, 10000), speech);
  // 101 of 600 between the first two: 51 behind, 50 before. The silence of 50 stays whole.
  EXPECT_EQ(WithSilences(speech, 101, 10000), (Spans{{899, 2051}, {2550, 4101}}));
}

TEST(CutPlan, ASilenceOfJustThatLengthStaysWhole) {
  EXPECT_EQ(WithSilences({{0, 10}, {20, 30}}, 10, 30), (Spans{{0, 30}}));
  EXPECT_EQ(WithSilences({{0, 10}, {21, 30}}, 10, 30), (Spans{{0, 15}, {16, 30}}));
}

TEST(CutPlan, BeforeAndBehindAllSpeechNoMoreStaysThanIsThere) { EXPECT_EQ(WithSilences({{5, 10}}, 100, 20), (Spans{{0, 20}})); }

TEST(CutPlan, WithoutSpeechTheRecordingIsOneSilence) {
  EXPECT_EQ(WithSilences({}, 0, 100), Spans());
  EXPECT_EQ(WithSilences({}, 30, 100), (Spans{{0, 30}}));
  EXPECT_EQ(WithSilences({}, 300, 100), (Spans{{0, 100}}));
}

TEST(CutPlan, AFadeIsHalfACosine) {
  // Two frames: at a quarter and at three quarters of the way, 0.5 -+ 0.5 cos(pi / 4).
  EXPECT_NEAR(FadeGain(0, 2), 0.146447F, 1e-6);
  EXPECT_NEAR(FadeGain(1, 2), 0.853553F, 1e-6);
  EXPECT_EQ(FadeGain(2, 2), 1.0F);
  EXPECT_EQ(FadeGain(0, 0), 1.0F);
}

TEST(CutPlan, FadesStandAtJointsAndNotAtTheRecordingsOwnEnds) {
  const Spans spans = {{0, 6}, {10, 16}, {20, 26}};
  const Fader fader(spans, 2, 26);
  const auto faded = [&](size_t span) {
    std::vector<float> samples(6, 1.0F);
    fader.Apply(span, spans[span].begin, samples.data(), 6, 1);
    return samples;
  };
  const float low = FadeGain(0, 2);
  const float high = FadeGain(1, 2);
  EXPECT_EQ(faded(0), (std::vector<float>{1, 1, 1, 1, high, low}));
  EXPECT_EQ(faded(1), (std::vector<float>{low, high, 1, 1, high, low}));
  EXPECT_EQ(faded(2), (std::vector<float>{low, high, 1, 1, 1, 1}));
}

TEST(CutPlan, PiecesOfAStretchFadeAsTheWhole) {
  const Spans spans = {{10, 20}};
  const Fader fader(spans, 4, 100);
  std::vector<float> whole(20, 1.0F);
  fader.Apply(0, 10, whole.data(), 10, 2);
  std::vector<float> pieces(20, 1.0F);
  for (int64_t at = 0; at < 10; at += 3)
    fader.Apply(0, 10 + at, pieces.data() + 2 * at, static_cast<size_t>(std::min<int64_t>(3, 10 - at)), 2);
  EXPECT_EQ(pieces, whole);
  EXPECT_EQ(whole[0], whole[1]);
}

TEST(CutPlan, AShortStretchHasShorterFades) {
  const Spans spans = {{10, 14}};
  std::vector<float> samples(4, 1.0F);
  Fader(spans, 100, 50).Apply(0, 10, samples.data(), 4, 1);
  EXPECT_EQ(samples, (std::vector<float>{FadeGain(0, 2), FadeGain(1, 2), FadeGain(1, 2), FadeGain(0, 2)}));
}

}  // namespace
}  // namespace TSEG::tool
