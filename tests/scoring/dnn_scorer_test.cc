// SPDX-License-Identifier: Apache-2.0
//
// The feed-forward scorer on the test model: batches of eight frames, the rest when the audio ends, nothing owed.
#include "scoring/dnn_scorer.h"

#include <gtest/gtest.h>

#include <vector>

#include "scoring/block_observer.h"
#include "scoring/scorer_rig.h"

namespace TSEG {
namespace {

using namespace testing_support;  // NOLINT: the rig is made for these tests
using Origin = ScoredFrames::Origin;

TEST(DnnScorer, AnswersInEightsAndGivesTheRestAtTheEnd) {
  ScorerRig rig("dnn.bin", "dnn_fb75");
  const struct {
    int frames;
    std::vector<int32_t> counts;
  } rows[] = {{0, {}}, {1, {1}}, {7, {7}}, {8, {8}}, {9, {8, 1}}, {16, {8, 8}}, {19, {8, 8, 3}}};
  for (const auto& row : rows) {
    const std::vector<Answer> answers = rig.Session(row.frames);
    EXPECT_EQ(Counts(answers), row.counts) << row.frames;
    for (const Answer& answer : answers) {
      EXPECT_EQ(answer.stride, 2);
      EXPECT_EQ(answer.origin, Origin::kComputed);
    }
  }
}

TEST(DnnScorer, HoldsFiveFramesBackUntilTheAudioEnds) {
  ScorerRig rig("dnn.bin", "dnn_fb75");
  rig.Add(12);
  EXPECT_EQ(Counts(rig.AskAll(false)), std::vector<int32_t>{});  // seven blocks: no batch yet
  rig.Add(1);
  EXPECT_EQ(Counts(rig.AskAll(false)), std::vector<int32_t>{8});
  EXPECT_EQ(Counts(rig.AskAll(true)), std::vector<int32_t>{5});
}

TEST(DnnScorer, EverySecondFrameSharesTheAnswerOfTheOneBefore) {
  ScorerRig rig("dnn.bin", "dnn_fb75");
  const std::vector<float> speech = Speech(rig.Session(16));
  ASSERT_EQ(speech.size(), 16u);
  for (size_t i = 0; i < speech.size(); i += 2) EXPECT_EQ(speech[i], speech[i + 1]);
  EXPECT_NE(speech[0], speech[2]);
}

TEST(DnnScorer, ClearingTheStateChangesNothing) {
  ScorerRig plain("dnn.bin", "dnn_fb75"), cleared("dnn.bin", "dnn_fb75");
  std::vector<float> with_clears;
  Answer answer;
  cleared.Add(19);
  cleared.scorer().ClearState();
  while (cleared.Ask(true, &answer)) {
    with_clears.insert(with_clears.end(), answer.speech.begin(), answer.speech.end());
    cleared.scorer().ClearState();
  }
  EXPECT_FALSE(cleared.scorer().recurrent());
  EXPECT_EQ(with_clears, Speech(plain.Session(19)));
}

TEST(DnnScorer, ForgetDropsThePartialBatch) {
  ScorerRig rig("dnn.bin", "dnn_fb75");
  rig.Add(8);
  EXPECT_TRUE(rig.AskAll(false).empty());  // three blocks wait in the batch
  rig.scorer().Forget();
  EXPECT_EQ(Counts(rig.AskAll(true)), std::vector<int32_t>{5});
}

struct Recorder : BlockObserver {
  void OnBlock(const float* block, int32_t floats) override {
    EXPECT_EQ(floats, 825);
    centres.push_back(block[5 * 75]);
  }
  std::vector<float> centres;
};

TEST(DnnScorer, ObserverSeesEachBlockInOrderAnswerOrNot) {
  Recorder recorder;
  ScorerRig rig("dnn.bin", "dnn_fb75", 0, &recorder);
  rig.Session(11);
  std::vector<float> expected;
  for (int32_t f = 0; f < 11; ++f) expected.push_back(FrameValue(f, 0));
  EXPECT_EQ(recorder.centres, expected);
}

}  // namespace
}  // namespace TSEG
