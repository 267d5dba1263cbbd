// SPDX-License-Identifier: Apache-2.0
//
// ReadPathTest: an instance with hand-made sentence tables and frames that carry their number, read step by step.
#ifndef WVAD_TESTS_SESSION_READ_PATH_FIXTURE_H_
#define WVAD_TESTS_SESSION_READ_PATH_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "session/read_path.h"

namespace TSEG {

class ReadPathTest : public ::testing::Test {
 protected:
  ReadPathTest() { Renew(); }
  void Renew() {
    inst_ = std::make_unique<TsegInst>(CFG_VAD());
    inst_->reading.pReadCmn->setup(1);
  }

  void WithGainControl() {
    inst_->pCfg->wvad_param_vad_AgcOn = true;
    inst_->sideB = std::make_unique<GainedSide>();
  }

  static void Append(FrameWavContainer& wav, FrameFeaContainer& fea, int n, int offset) {
    for (int k = 0; k < n; ++k) {
      const int f = static_cast<int>(fea.frames.size());
      int16_t samples[160];
      for (int16_t& s : samples) s = static_cast<int16_t>(f + offset);
      wav.write(samples, sizeof(samples));
      float* frame = fea.addFrame();
      for (int i = 0; i < 115; ++i) frame[i] = static_cast<float>(f + offset);
    }
  }
  // `n` more frames; every value of frame f is f, on the gain-controlled side f + 5000.
  void AddFrames(int n) {
    Append(*inst_->sideA.pWav, *inst_->sideA.pFea, n, 0);
    if (inst_->sideB) Append(*inst_->sideB->pWav, *inst_->sideB->pFea, n, 5000);
  }

  void Open(int begin, int end) {
    SentenceTable& t = *inst_->results.pSentences;
    t.vecBegin.push_back(begin);
    t.vecEnd.push_back(end);
    t.bitsClosed.push_back(0);
  }
  void Extend(int end) { inst_->results.pSentences->vecEnd.back() = end; }
  void Close(int end) {
    Extend(end);
    inst_->results.pSentences->bitsClosed.back() = 1;
  }

  // One read; the first values of its frames go to `values_`.
  uint32_t Read() {
    EXPECT_EQ(ReadStep(inst_.get(), &audio_), 0);
    EXPECT_EQ(audio_.pData, inst_->reading.pReadBuf.data());
    values_.clear();
    const auto* bytes = static_cast<const uint8_t*>(audio_.pData);
    if (inst_->pCfg->wvad_param_nReadType == 0) {
      EXPECT_STREQ(audio_.pType, "feature/F75*1");
      EXPECT_EQ(audio_.len % 460, 0u);
      for (uint32_t at = 0; at < audio_.len; at += 460) {
        float floats[115];
        std::memcpy(floats, bytes + at, 460);
        EXPECT_EQ(floats[0], floats[114]);
        values_.push_back(static_cast<int>(floats[60]));
      }
    } else {
      EXPECT_EQ(audio_.pType, nullptr);
      for (uint32_t at = 0; at + 2 <= audio_.len; at += 320) {
        int16_t sample;
        std::memcpy(&sample, bytes + at, 2);
        values_.push_back(sample);
      }
    }
    return audio_.status;
  }

  static std::vector<int> Range(int from, int to) {
    std::vector<int> out;
    for (int f = from; f < to; ++f) out.push_back(f);
    return out;
  }
  int FirstKept() const {
    int f = 0;
    while (static_cast<size_t>(f) < inst_->sideA.pWav->frames.size() && inst_->sideA.pWav->frames[static_cast<size_t>(f)] == nullptr) ++f;
    return f;
  }

  std::unique_ptr<TsegInst> inst_;
  WVadAudioSample audio_ = {reinterpret_cast<void*>(1), 77, "stale", 99, 12345};
  std::vector<int> values_;
};

}  // namespace TSEG

#endif  // WVAD_TESTS_SESSION_READ_PATH_FIXTURE_H_
