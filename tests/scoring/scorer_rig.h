// SPDX-License-Identifier: Apache-2.0
//
// ScorerRig: the network of a real test model on a channel whose finished frames the test puts in by hand, so that it knows how many there
// are. Frame values come from a formula that tells frames apart.
#ifndef WVAD_TESTS_SCORING_SCORER_RIG_H_
#define WVAD_TESTS_SCORING_SCORER_RIG_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "channel/front_end_channel.h"
#include "res/model_image.h"
#include "scoring/network.h"

namespace TSEG::testing_support {

inline float FrameValue(int32_t frame, int value) { return static_cast<float>((frame * frame * 7 + value * 13) % 41 - 20) / 4.0f; }

// Appends `count` finished frames, of 40 values or of 75, as the front end does.
inline void AddFrames(FrontEndChannel* channel, bool of40, int count) {
  for (int i = 0; i < count; ++i) {
    const int32_t f = channel->nFramesIn++;
    if (of40) {
      StaticFeatureFB& frame = channel->vecStatic.next_slot();
      for (int v = 0; v < kFb40; ++v) frame.afFb40[v] = FrameValue(f, v);
      continue;
    }
    DynamicFeatureFB& frame = channel->vecDynamic.next_slot();
    for (int v = 0; v < kFb24; ++v) {
      frame.afCmn24[v] = FrameValue(f, v);
      frame.afDelta24[v] = FrameValue(f, v + 24);
      frame.afAccel24[v] = FrameValue(f, v + 48);
    }
    ++channel->nDeltaDone;
  }
}

struct Answer {
  int32_t count = 0;
  int32_t stride = 0;
  ScoredFrames::Origin origin = ScoredFrames::Origin::kComputed;
  std::vector<float> speech;  // the first value of each frame's pair
};

class ScorerRig {
 public:
  // `model` is a file of tests/data/models, which holds a network of the kind `type`.
  ScorerRig(const std::string& model, const std::string& type, int32_t priming_frames = 0, BlockObserver* observer = nullptr)
      : type_(type), priming_frames_(priming_frames) {
    int code = -1;
    link_ = LoadModelFile(std::string(WVAD_TEST_DATA_DIR) + "/models/" + model, &code);
    EXPECT_EQ(code, 0) << model;
    network_ = std::make_unique<Network>(link_->pLstm != nullptr, observer);
    Begin();
  }

  // A session begins.
  void Begin() {
    FrontEndChannelClear(&channel_);
    network_->Start({link_->pDnn.get(), link_->pLstm.get()}, type_, priming_frames_);
  }
  void Add(int frames) { AddFrames(&channel_, type_ == "lstm_fb40", frames); }

  // Asks once; false when there is no answer.
  bool Ask(bool last, Answer* answer) {
    ScoredFrames out;
    if (!scorer().Next({&channel_, nullptr}, last, &out)) return false;
    *answer = {out.count, out.stride, out.origin, {}};
    for (int32_t i = 0; i < out.count; ++i) answer->speech.push_back(out.Pair(i)[0]);
    return true;
  }
  std::vector<Answer> AskAll(bool last) {
    std::vector<Answer> answers;
    for (Answer answer; Ask(last, &answer);) answers.push_back(answer);
    return answers;
  }
  // A whole session of `frames` frames.
  std::vector<Answer> Session(int frames) {
    Begin();
    Add(frames);
    return AskAll(true);
  }

  FrameScorer& scorer() { return *network_->scorer(); }
  FrontEndChannel& channel() { return channel_; }

 private:
  std::string type_;
  int32_t priming_frames_;
  std::unique_ptr<HMMResourceLink> link_;
  std::unique_ptr<Network> network_;
  FrontEndChannel channel_;
};

inline std::vector<int32_t> Counts(const std::vector<Answer>& answers) {
  std::vector<int32_t> counts;
  for (const Answer& answer : answers) counts.push_back(answer.count);
  return counts;
}

inline std::vector<float> Speech(const std::vector<Answer>& answers) {
  std::vector<float> values;
  for (const Answer& answer : answers) values.insert(values.end(), answer.speech.begin(), answer.speech.end());
  return values;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_SCORING_SCORER_RIG_H_
