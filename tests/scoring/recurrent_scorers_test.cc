// SPDX-License-Identifier: Apache-2.0
//
// The two recurrent scorers on the test models: the delay of two blocks, how each pays for it when the audio ends, and what clearing
// leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "nn/cpu_features.h"
#include "scoring/lstm40_scorer.h"
#include "scoring/lstm75_scorer.h"
#include "scoring/scorer_rig.h"

namespace TSEG {
namespace {

using namespace testing_support;  // NOLINT: the rig is made for these tests
using Origin = ScoredFrames::Origin;

// Blocks of 4, of which two are never answered and the last may be short. What is owed makes up the frames of the session again.
struct EndRow {
  int frames;
  std::vector<int32_t> computed;
  int32_t owed;
};
const EndRow kEnds[] = {
    {12, {4}, 8},     // 3 whole blocks
    {13, {4, 4}, 5},  // the 4th is short of 3
    {14, {4, 4}, 6},  // of 2
    {15, {4, 4}, 7},  // of 1
    {16, {4, 4}, 8},  // of none
    {9, {4}, 5},      // the shortest that is answered at all
    {21, {4, 4, 4, 4}, 5},
};

void ExpectEnd(ScorerRig* rig, const EndRow& row, Origin origin, int32_t stride) {
  const std::vector<Answer> answers = rig->Session(row.frames);
  std::vector<int32_t> counts = row.computed;
  counts.push_back(row.owed);
  EXPECT_EQ(Counts(answers), counts) << row.frames;
  if (answers.size() != counts.size()) return;
  for (size_t i = 0; i + 1 < answers.size(); ++i) {
    EXPECT_EQ(answers[i].origin, Origin::kComputed) << row.frames;
    EXPECT_EQ(answers[i].stride, 2) << row.frames;
  }
  EXPECT_EQ(answers.back().origin, origin) << row.frames;
  EXPECT_EQ(answers.back().stride, stride) << row.frames;
  EXPECT_EQ(Speech(answers).size(), static_cast<size_t>(row.frames));
}

TEST(Lstm75Scorer, LastPairStandsInForWhatTheDelayOwes) {
  ScorerRig rig("lstm75.bin", "lstm_fb75");
  for (const EndRow& row : kEnds) {
    ExpectEnd(&rig, row, Origin::kRepeated, 0);
    const std::vector<Answer> answers = rig.Session(row.frames);
    ASSERT_GE(answers.size(), 2u);
    const float last = answers[answers.size() - 2].speech.back();
    EXPECT_EQ(answers.back().speech, std::vector<float>(static_cast<size_t>(row.owed), last)) << row.frames;
  }
}

TEST(Lstm40Scorer, TwoBlocksWithoutDataBringOutWhatTheDelayOwes) {
  ScorerRig rig("lstm40.bin", "lstm_fb40", 32);
  for (const EndRow& row : kEnds) ExpectEnd(&rig, row, Origin::kFlushed, 2);
}

// The float form, on a processor without any features. The int8 form flushes its packed weights as if they were floats, and so has next to
// nothing but the biases in what it flushes.
class Lstm40FloatForm : public ::testing::Test {
 protected:
  Lstm40FloatForm() { SetCpuForTest(&plain_); }
  ~Lstm40FloatForm() override { SetCpuForTest(nullptr); }

 private:
  const CpuFeatures plain_;
};

TEST_F(Lstm40FloatForm, FlushedFramesAreAnswersOfTheirOwn) {
  ScorerRig rig("lstm40.bin", "lstm_fb40", 32);
  const std::vector<Answer> answers = rig.Session(16);
  ASSERT_EQ(Counts(answers), (std::vector<int32_t>{4, 4, 8}));
  const std::vector<float> first(answers[2].speech.begin(), answers[2].speech.begin() + 4);
  const std::vector<float> second(answers[2].speech.begin() + 4, answers[2].speech.end());
  EXPECT_NE(first, answers[1].speech);
  EXPECT_NE(first, second);
}

struct Kind {
  const char* model;
  const char* type;
  int32_t priming_frames;
};
class RecurrentScorer : public ::testing::TestWithParam<Kind> {
 protected:
  ScorerRig rig_{GetParam().model, GetParam().type, GetParam().priming_frames};
};
INSTANTIATE_TEST_SUITE_P(Kinds, RecurrentScorer, ::testing::Values(Kind{"lstm75.bin", "lstm_fb75", 0}, Kind{"lstm40.bin", "lstm_fb40", 32}),
                         [](const auto& kind) { return std::string(kind.param.type); });

TEST_P(RecurrentScorer, AudioTooShortForAnAnswerOwesNothing) {
  for (const int frames : {0, 1, 4, 8}) EXPECT_TRUE(rig_.Session(frames).empty()) << frames;
}

TEST_P(RecurrentScorer, NothingIsOwedBeforeTheAudioEnds) {
  rig_.Add(21);  // five are held back
  EXPECT_EQ(Counts(rig_.AskAll(false)), (std::vector<int32_t>{4, 4}));
  EXPECT_EQ(Counts(rig_.AskAll(false)), std::vector<int32_t>{});
  EXPECT_EQ(Counts(rig_.AskAll(true)), (std::vector<int32_t>{4, 4, 5}));
}

TEST_P(RecurrentScorer, DebtIsPaidOnce) {
  rig_.Session(14);
  EXPECT_EQ(Counts(rig_.AskAll(true)), std::vector<int32_t>{});
}

TEST_P(RecurrentScorer, DebtEndsWithItsSession) {
  rig_.Begin();
  rig_.Add(12);
  Answer answer;
  ASSERT_TRUE(rig_.Ask(true, &answer));  // the last computed one: eight frames are owed
  rig_.Begin();
  EXPECT_FALSE(rig_.Ask(false, &answer));
  EXPECT_EQ(Counts(rig_.Session(13)), (std::vector<int32_t>{4, 4, 5}));
}

TEST_P(RecurrentScorer, SessionsAreAllAlike) {
  const std::vector<float> first = Speech(rig_.Session(30));
  rig_.Session(17);
  EXPECT_EQ(Speech(rig_.Session(30)), first);
}

TEST_P(RecurrentScorer, ClearingTheStateKeepsThePositionAndChangesTheScores) {
  const std::vector<Answer> plain = rig_.Session(40);
  rig_.Begin();
  rig_.Add(40);
  std::vector<Answer> cleared;
  for (Answer answer; rig_.Ask(true, &answer);) {
    if (cleared.empty()) rig_.scorer().ClearState();
    cleared.push_back(answer);
  }
  EXPECT_EQ(Counts(cleared), Counts(plain));
  EXPECT_EQ(cleared[0].speech, plain[0].speech);
  EXPECT_NE(Speech(cleared), Speech(plain));
  EXPECT_TRUE(rig_.scorer().recurrent());
}

TEST_P(RecurrentScorer, ForgettingBeginsTheDelayAnew) {
  rig_.Add(17);
  EXPECT_EQ(Counts(rig_.AskAll(false)), (std::vector<int32_t>{4}));
  rig_.scorer().Forget();
  rig_.Add(12);
  EXPECT_EQ(Counts(rig_.AskAll(false)), (std::vector<int32_t>{4}));  // the third block behind it
}

TEST_P(RecurrentScorer, PaddingIsThatOfTheChannelThatCounts) {
  // With gain control both channels are short of three frames, and three are left out, not six.
  FrontEndChannel second;
  rig_.Add(13);
  AddFrames(&second, GetParam().type == std::string("lstm_fb40"), 13);
  std::vector<int32_t> counts;
  for (ScoredFrames out; rig_.scorer().Next({&rig_.channel(), &second}, true, &out);) counts.push_back(out.count);
  EXPECT_EQ(counts, (std::vector<int32_t>{4, 4, 5}));
}

TEST_F(Lstm40FloatForm, StateClearedBehindTheLastBlockIsWhatIsFlushed) {
  ScorerRig rig("lstm40.bin", "lstm_fb40", 32);
  const std::vector<Answer> plain = rig.Session(16);
  rig.Begin();
  rig.Add(16);
  Answer computed, flushed;
  ASSERT_TRUE(rig.Ask(true, &computed));
  ASSERT_TRUE(rig.Ask(true, &computed));
  rig.scorer().ClearState();
  ASSERT_TRUE(rig.Ask(true, &flushed));
  EXPECT_EQ(flushed.origin, Origin::kFlushed);
  EXPECT_EQ(flushed.count, 8);
  EXPECT_NE(flushed.speech, plain[2].speech);
}

TEST(Lstm40Scorer, PrimingChangesTheScoresAndNotTheDelay) {
  ScorerRig plain("lstm40.bin", "lstm_fb40", 0), primed("lstm40.bin", "lstm_fb40", 32);
  const std::vector<Answer> without = plain.Session(20), with = primed.Session(20);
  EXPECT_EQ(Counts(with), Counts(without));
  EXPECT_NE(with[0].speech, without[0].speech);
}

}  // namespace
}  // namespace TSEG
