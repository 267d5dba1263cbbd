// SPDX-License-Identifier: Apache-2.0
//
// What a DecisionObserver sees of frames, and that being looked at changes nothing.
#include "decision/decision_observer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "decision/inst_builder.h"

namespace TSEG {
namespace {

struct Seen {
  int32_t index;
  DecidedFrame frame;
  EndpointResult result;
};

class Watcher : public DecisionObserver {
 public:
  explicit Watcher(TsegInst* inst) : inst_(inst) { inst->decision.pObserver = this; }
  ~Watcher() override { inst_->decision.pObserver = nullptr; }
  void OnFrame(const TsegInst& inst, int32_t index, const DecidedFrame& frame, EndpointResult result) override {
    EXPECT_EQ(&inst, inst_);
    seen.push_back({index, frame, result});
  }

  std::vector<Seen> seen;

 private:
  TsegInst* inst_;
};

TEST(DecisionObserver, SeesThePairAndWhatTheThresholdMadeOfIt) {
  CFG_VAD cfg;
  cfg.wvad_param_vad_threshold = 0.75f;  // of the difference: 0.5
  auto inst = MakeInst(cfg);
  Watcher watcher(inst.get());
  StepFrame(inst.get(), 0.875f);
  StepFrame(inst.get(), 0.625f);
  ASSERT_EQ(watcher.seen.size(), 2U);
  EXPECT_EQ(watcher.seen[0].index, 0);
  EXPECT_EQ(watcher.seen[0].frame.speech, 0.875f);
  EXPECT_EQ(watcher.seen[0].frame.other, 0.125f);
  EXPECT_EQ(watcher.seen[0].frame.raw, 0.25f);
  EXPECT_EQ(watcher.seen[0].frame.score, 0.25f);
  EXPECT_EQ(watcher.seen[1].index, 1);
  EXPECT_EQ(watcher.seen[1].frame.raw, -0.25f);
  EXPECT_EQ(watcher.seen[1].frame.energy, 20000.0);
  EXPECT_EQ(watcher.seen[1].frame.floor, 16000.0);
}

TEST(DecisionObserver, SeesTwoFramesHeldOverBehindASilentOne) {
  auto inst = MakeInst();
  Watcher watcher(inst.get());
  for (const bool speech : {false, true, true, true}) RunFrame(inst.get(), speech);
  const bool held[] = {false, true, true, false};
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(watcher.seen[i].frame.held_over, held[i]) << i;
  EXPECT_GT(watcher.seen[1].frame.raw, 0.0f);
  EXPECT_LT(watcher.seen[1].frame.score, 0.0f);
}

TEST(DecisionObserver, SeesAFrameUnderTheFloor) {
  auto inst = MakeInst();
  Watcher watcher(inst.get());
  RunFrame(inst.get(), true, 16000.0f);
  RunFrame(inst.get(), true, 15999.0f);
  EXPECT_FALSE(watcher.seen[0].frame.below_floor);
  EXPECT_TRUE(watcher.seen[1].frame.below_floor);
  EXPECT_LT(watcher.seen[1].frame.score, 0.0f);
}

TEST(DecisionObserver, SeesSilenceHeldInTheLastSecondOfTheLongestSentence) {
  CFG_VAD cfg;
  cfg.wvad_param_nSpeechTimeOut = 2000;  // 200 frames; silence is held from the 102nd behind the begin on
  auto inst = MakeInst(cfg);
  Watcher watcher(inst.get());
  RunFrames(inst.get(), 150, true);
  RunFrame(inst.get(), false);
  EXPECT_FALSE(watcher.seen[149].frame.spliced);
  EXPECT_TRUE(watcher.seen[150].frame.spliced);
}

TEST(DecisionObserver, SeesBeginAndEndAtTheFramesThatBringThem) {
  auto inst = MakeInst();
  Watcher watcher(inst.get());
  RunFrames(inst.get(), 30, true);
  RunFrames(inst.get(), 60, false);
  // A rise at frame 0, 20 frames of speech as proof; the last frame that counts as speech is the fall at 30, and 40 of silence end it.
  for (const Seen& seen : watcher.seen) {
    const EndpointResult expected = seen.index == 20 ? EP_RESULT_BEGIN : seen.index == 70 ? EP_RESULT_END : EP_RESULT_NONE;
    EXPECT_EQ(seen.result, expected) << seen.index;
  }
}

TEST(DecisionObserver, IsToldOfAPairThatIsNoNumber) {
  auto inst = MakeInst();
  Watcher watcher(inst.get());
  StepFrame(inst.get(), std::numeric_limits<float>::quiet_NaN());
  EXPECT_TRUE(std::isnan(watcher.seen[0].frame.raw));
}

TEST(DecisionObserver, WatchedSessionDecidesAsAnother) {
  auto plain = MakeInst();
  auto watched = MakeInst();
  Watcher watcher(watched.get());
  uint32_t state = 1;
  for (int i = 0; i < 5000; ++i) {
    state = state * 1664525U + 1013904223U;
    const bool stretch = (i / 70) % 2 == 0;
    const float a = (stretch ? 0.69f : 0.0f) + static_cast<float>(state >> 8 & 1023U) / 3400.0f;
    const float energy = (state >> 20 & 63U) != 0 ? kLoud : 15000.0f;
    const Step one = StepFrame(plain.get(), a, energy);
    const Step other = StepFrame(watched.get(), a, energy);
    ASSERT_EQ(std::tie(one.verdict, one.begin, one.end), std::tie(other.verdict, other.begin, other.end)) << i;
  }
  EXPECT_EQ(plain->decision.bSpeechFound, 1);  // it had something to decide
}

}  // namespace
}  // namespace TSEG
