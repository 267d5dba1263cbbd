// SPDX-License-Identifier: Apache-2.0
//
// What a session holds while nobody speaks, and that the sentences are the same whether it is freed or not.
#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "stream/engine_session.h"
#include "stream/shared_model.h"
#include "stream/signals.h"

namespace TSEG::stream::testing {
namespace {

struct NoObserver : DecisionObserver {
  void OnFrame(const TsegInst&, int32_t, const DecidedFrame&, EndpointResult) override {}
};

class HeldFrames : public ::testing::Test {
 protected:
  HeldFrames() : instance_(model_->engine(), &observer_) {}

  std::unique_ptr<EngineSession> Session(bool features = false) {
    const ParameterList parameters = EngineParameters(Settings("pad_before=2"), model_->rate_hz(), features);
    return std::make_unique<EngineSession>(instance_, parameters, features ? 115 * sizeof(float) : 2 * 160);
  }
  // Frames that have their samples and features still.
  size_t Held() {
    size_t held = 0;
    const Side& side = instance_.record().sideA;
    for (size_t f = 0; f < side.pFea->frames.size(); ++f) held += side.pFea->frames[f] != nullptr ? 1U : 0U;
    size_t with_samples = 0;
    for (size_t f = 0; f < side.pWav->frames.size(); ++f) with_samples += side.pWav->frames[f] != nullptr ? 1U : 0U;
    return std::max(held, with_samples);
  }
  static void Feed(EngineSession* session, const std::vector<int16_t>& signal) {
    for (size_t at = 0; at < signal.size(); at += 160) session->Write(signal.data() + at, 160, false);
  }

  const std::shared_ptr<SharedModel> model_ = SharedModel::Open(WVAD_TEST_MODEL);
  NoObserver observer_;
  EngineInstance instance_;
};

// The margin of 2 s, the second that stays behind it, and some frames that wait for their context.
constexpr size_t kFewFrames = 320;

TEST_F(HeldFrames, AreFewAfterMinutesOfSilence) {
  const auto session = Session();
  Feed(session.get(), Bursts(120, {}));
  EXPECT_LE(Held(), kFewFrames);
  EXPECT_GE(Held(), 200U) << "a begin may reach back so far";
}

TEST_F(HeldFrames, AreFewAfterMinutesOfSilenceBehindASentence) {
  const auto session = Session();
  Feed(session.get(), Bursts(120, {{1.0, 2.0}}));
  EXPECT_EQ(session->TakeClosed().size(), 1U);
  EXPECT_LE(Held(), kFewFrames);
}

TEST_F(HeldFrames, AreFewAfterMinutesOfClicks) {
  // Of 50 ms, which are no speech, every half second.
  std::vector<std::pair<double, double>> clicks;
  for (int i = 1; i < 240; ++i) clicks.emplace_back(i * 0.5, i * 0.5 + 0.05);
  const auto session = Session();
  Feed(session.get(), Bursts(120, clicks));
  EXPECT_TRUE(session->TakeClosed().empty());
  EXPECT_LE(Held(), kFewFrames);
}

// Sentences with what the engine hands out of them, behind silences of all kinds, are whole and those of a session that reads nothing, and
// so frees nothing, before all of it has been heard.
TEST_F(HeldFrames, SentencesAreTheSameToTheBit) {
  const std::vector<int16_t> signal =
      Bursts(60, {{0.3, 0.8}, {1.5, 1.6}, {1.75, 3.0}, {9.0, 9.05}, {9.2, 9.35}, {9.45, 12.0}, {31.0, 31.1}, {31.2, 33.0}, {58.0, 60.0}});
  for (const bool features : {false, true}) {
    std::vector<std::vector<SessionSentence>> runs;
    for (const bool at_once : {false, true}) {
      const auto session = Session(features);
      if (at_once) {
        session->Write(signal.data(), signal.size(), true);
      } else {
        Feed(session.get(), signal);
        session->Write(nullptr, 0, true);
      }
      runs.push_back(session->TakeClosed());
    }
    ASSERT_EQ(runs[0].size(), runs[1].size());
    EXPECT_GE(runs[0].size(), 4U);
    for (size_t i = 0; i < runs[0].size(); ++i) {
      EXPECT_EQ(runs[0][i].begin_frame, runs[1][i].begin_frame);
      EXPECT_EQ(runs[0][i].end_frame, runs[1][i].end_frame);
      const auto n_frames = static_cast<size_t>(runs[0][i].end_frame - runs[0][i].begin_frame);
      EXPECT_EQ(runs[0][i].data.size(), n_frames * (features ? 115 * sizeof(float) : 2 * 160)) << i;
      EXPECT_EQ(runs[0][i].data, runs[1][i].data) << i;
    }
  }
}

}  // namespace
}  // namespace TSEG::stream::testing
