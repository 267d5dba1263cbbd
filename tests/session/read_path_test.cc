// SPDX-License-Identifier: Apache-2.0
//
// The read step on hand-made sentence tables: every row of the machine, what is copied, what is freed, and the end of a session.
#include "session/read_path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace TSEG {
namespace {

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

TEST_F(ReadPathTest, NothingIsReportedBeforeTheFirstSentence) {
  AddFrames(50);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(audio_.len, 0u);
  EXPECT_EQ(audio_.nFrame, -1);
  EXPECT_EQ(inst_->reading.nReadState, 0u);
}

TEST_F(ReadPathTest, PcmHasNoTypeText) {
  inst_->pCfg->wvad_param_nReadType = 7;
  audio_.pType = "stale";
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(audio_.pType, nullptr);
}

TEST_F(ReadPathTest, SentenceInProgressBeginsGoesOnAndEnds) {
  AddFrames(40);
  Open(10, 40);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.nFrame, 10);
  EXPECT_EQ(values_, Range(10, 40));
  EXPECT_EQ(inst_->reading.nReadState, 1u);
  EXPECT_EQ(inst_->reading.nReadBegun, 1u);

  AddFrames(20);
  Extend(60);
  EXPECT_EQ(Read(), 2u);
  EXPECT_EQ(audio_.nFrame, 40);  // the first frame of the piece
  EXPECT_EQ(values_, Range(40, 60));
  EXPECT_EQ(inst_->reading.nReadState, 2u);

  EXPECT_EQ(Read(), 0u);  // nothing new: the piece would begin where it ends
  EXPECT_EQ(audio_.nFrame, 60);
  EXPECT_EQ(audio_.len, 0u);
  EXPECT_EQ(inst_->reading.nReadState, 2u);

  AddFrames(20);
  Close(75);
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(audio_.nFrame, 75);
  EXPECT_EQ(values_, Range(60, 75));
  EXPECT_EQ(inst_->reading.nReadState, 3u);
  EXPECT_EQ(inst_->reading.nReadSentence, 1u);

  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(audio_.nFrame, -1);
  EXPECT_EQ(inst_->reading.nReadState, 0u);
}

TEST_F(ReadPathTest, SentenceWithoutNewFramesInItsFirstSecondReadIsInside) {
  AddFrames(20);
  Open(5, 20);
  Read();
  EXPECT_EQ(Read(), 0u);  // state 1, from 20 equals the end
  EXPECT_EQ(inst_->reading.nReadState, 2u);
}

TEST_F(ReadPathTest, SentenceClosedBeforeTheFirstReadComesInTwo) {
  AddFrames(100);
  Open(10, 50);
  Close(50);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.nFrame, 10);
  EXPECT_EQ(values_, Range(10, 50));
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(audio_.nFrame, 50);
  EXPECT_EQ(audio_.len, 0u);
}

TEST_F(ReadPathTest, NextSentenceInProgressWaitsForOneReadAfterAnEnd) {
  AddFrames(200);
  Open(10, 50);
  Close(50);
  Open(100, 150);
  Read();
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(Read(), 0u);  // ended, and the next is not closed: only the state moves
  EXPECT_EQ(audio_.nFrame, -1);
  EXPECT_EQ(audio_.len, 0u);
  EXPECT_EQ(inst_->reading.nReadState, 0u);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.nFrame, 100);
  EXPECT_EQ(values_, Range(100, 150));
}

TEST_F(ReadPathTest, NextSentenceThatIsClosedFollowsAtOnce) {
  AddFrames(200);
  Open(10, 50);
  Close(50);
  Open(100, 150);
  Close(150);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.nFrame, 100);
  EXPECT_EQ(values_, Range(100, 150));
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(audio_.nFrame, 150);
}

TEST_F(ReadPathTest, ClosedSentenceThatWasReportedBeforeEndsFromOutside) {
  AddFrames(60);
  Open(10, 50);
  Close(50);
  inst_->reading.nReadBegun = 1;
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(audio_.nFrame, 50);
  EXPECT_EQ(values_, Range(10, 50));
  EXPECT_EQ(inst_->reading.nReadSentence, 1u);
  EXPECT_EQ(inst_->reading.nReadState, 3u);
}

TEST_F(ReadPathTest, SentencesThatOverlapGiveEachFrameOnce) {
  AddFrames(100);
  Open(10, 50);
  Close(50);
  Open(40, 80);  // its margin reaches back
  Close(80);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(values_, Range(10, 50));
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.nFrame, 40);
  EXPECT_EQ(values_, Range(50, 80));
}

TEST_F(ReadPathTest, EndOfAudioLetsAllSentencesOutAndIsReportedOnce) {
  AddFrames(200);
  Open(10, 50);
  Close(50);
  Open(100, 150);
  Close(150);
  inst_->decision.bAudioFinish = 1;
  const uint32_t expected[] = {1, 3, 1, 3, 4, 0, 0};
  for (const uint32_t status : expected) EXPECT_EQ(Read(), status);
  EXPECT_EQ(inst_->reading.nReadState, 4u);
  EXPECT_EQ(audio_.nFrame, -1);
  EXPECT_EQ(audio_.len, 0u);
}

TEST_F(ReadPathTest, EndOfAudioWithoutASentenceIsReportedAtOnce) {
  AddFrames(20);
  inst_->decision.bAudioFinish = 1;
  EXPECT_EQ(Read(), 4u);
  EXPECT_EQ(Read(), 0u);
}

TEST_F(ReadPathTest, TimeOutIsReportedByEveryRead) {
  AddFrames(1000);
  inst_->decision.bTimeOut = 1;
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(Read(), 4u);
    EXPECT_EQ(audio_.len, 0u);
    EXPECT_EQ(audio_.nFrame, -1);
    EXPECT_EQ(inst_->reading.nReadState, 4u);
  }
}

TEST_F(ReadPathTest, TimeOutEndsTheReadingInsideASentence) {
  AddFrames(30);
  Open(10, 20);
  EXPECT_EQ(Read(), 1u);
  Extend(30);
  inst_->decision.bTimeOut = 1;
  inst_->decision.bAudioFinish = 1;
  EXPECT_EQ(Read(), 4u);
  EXPECT_EQ(audio_.nFrame, 20);  // that of the last step, with its frames
  EXPECT_EQ(values_, Range(20, 30));
  EXPECT_EQ(Read(), 4u);
  EXPECT_EQ(audio_.nFrame, -1);
  EXPECT_EQ(audio_.len, 0u);
}

TEST_F(ReadPathTest, EndOfAudioWaitsForTheEndOfTheSentenceInProgress) {
  AddFrames(30);
  Open(10, 20);
  Read();
  inst_->decision.bAudioFinish = 1;
  Extend(25);
  EXPECT_EQ(Read(), 2u);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(inst_->reading.nReadState, 2u);
  Close(30);
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(Read(), 4u);
}

// ---- What is copied

TEST_F(ReadPathTest, PcmComesByFrameWithAShorterLast) {
  inst_->pCfg->wvad_param_nReadType = 1;
  AddFrames(9);
  const int16_t rest[50] = {9};
  inst_->sideA.pWav->write(rest, sizeof(rest));
  inst_->sideA.pFea->addFrame();
  inst_->sideA.pWav->markLast();
  Open(5, 10);
  Close(10);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.len, 4u * 320 + 100);
  EXPECT_EQ(values_, Range(5, 10));
}

TEST_F(ReadPathTest, GainControlledSideIsReadWhenAskedFor) {
  for (const bool read_agc : {true, false}) {
    for (const int read_type : {0, 1}) {
      Renew();
      WithGainControl();
      inst_->pCfg->wvad_param_vad_ReadAGC = read_agc;
      inst_->pCfg->wvad_param_nReadType = read_type;
      AddFrames(10);
      Open(2, 8);
      Close(8);
      EXPECT_EQ(Read(), 1u);
      EXPECT_EQ(values_, read_agc ? Range(5002, 5008) : Range(2, 8));
      for (size_t f = 0; f < 10; ++f) {  // what was read is gone on both sides
        const bool gone = f >= 2 && f < 8;
        EXPECT_EQ(inst_->sideA.pWav->frames[f] == nullptr, gone) << f;
        EXPECT_EQ(inst_->sideA.pFea->frames[f] == nullptr, gone) << f;
        EXPECT_EQ(inst_->sideB->pWav->frames[f] == nullptr, gone) << f;
        EXPECT_EQ(inst_->sideB->pFea->frames[f] == nullptr, gone) << f;
      }
    }
  }
}

TEST_F(ReadPathTest, ReadingTheGainControlledSideNeedsGainControl) {
  inst_->pCfg->wvad_param_vad_ReadAGC = true;
  AddFrames(10);
  Open(2, 8);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(values_, Range(2, 8));
}

TEST_F(ReadPathTest, MeanRemovalHoldsAShortSentenceBackUntilItCloses) {
  inst_->reading.pReadCmn->reset();
  AddFrames(80);
  Open(10, 50);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.len, 0u);
  Extend(70);
  EXPECT_EQ(ReadStep(inst_.get(), &audio_), 0);
  EXPECT_EQ(audio_.status, 2u);
  EXPECT_EQ(audio_.len, 0u);
  Close(75);
  EXPECT_EQ(ReadStep(inst_.get(), &audio_), 0);
  EXPECT_EQ(audio_.status, 3u);
  EXPECT_EQ(audio_.len, 65u * 460);
  // 65 frames, values 10 to 74: a = (200 - 65) * 0.6 / 200 = 0.405, own mean 42.
  float first[115];
  std::memcpy(first, audio_.pData, sizeof(first));
  EXPECT_NEAR(first[0], 10.0 - (0.405 * 12.7679 + 0.595 * 42.0), 1e-4);
  EXPECT_EQ(first[24], 10.0f);
  EXPECT_NEAR(first[114], 10.0 - (0.405 * 15.364 + 0.595 * 42.0), 1e-4);
}

TEST_F(ReadPathTest, FeaturesThatDoNotFitWaitForTheNextRead) {
  // 6838 frames of 460 bytes are 3145480 of the 3145728.
  AddFrames(15020);
  Open(20, 15020);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.len, 3145480u);
  EXPECT_EQ(values_, Range(20, 6858));
  Close(15020);
  EXPECT_EQ(Read(), 2u);
  EXPECT_EQ(audio_.nFrame, 6858);
  EXPECT_EQ(values_, Range(6858, 13696));
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(audio_.nFrame, 15020);
  EXPECT_EQ(values_, Range(13696, 15020));
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(audio_.nFrame, -1);
  EXPECT_EQ(audio_.len, 0u);
}

TEST_F(ReadPathTest, EndOfTheSessionWaitsForFramesThatDoNotFit) {
  // 30000 frames are four buffers and a part of the fifth.
  AddFrames(30000);
  Open(0, 30000);
  Close(30000);
  inst_->decision.bAudioFinish = 1;
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(values_, Range(0, 6838));
  for (int piece = 1; piece < 4; ++piece) {
    EXPECT_EQ(Read(), 2u);
    EXPECT_EQ(audio_.nFrame, piece * 6838);
    EXPECT_EQ(values_, Range(piece * 6838, (piece + 1) * 6838));
  }
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(audio_.nFrame, 30000);
  EXPECT_EQ(values_, Range(27352, 30000));
  EXPECT_EQ(Read(), 4u);
  EXPECT_EQ(audio_.len, 0u);
  EXPECT_EQ(Read(), 0u);
}

TEST_F(ReadPathTest, PieceThatFitsToTheLastFrameEndsTheSentence) {
  AddFrames(13676);
  Open(0, 6838);
  EXPECT_EQ(Read(), 1u);
  Close(13676);
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(audio_.nFrame, 13676);
  EXPECT_EQ(values_, Range(6838, 13676));
}

TEST_F(ReadPathTest, PcmThatDoesNotFitComesBesideTheNextSentence) {
  inst_->pCfg->wvad_param_nReadType = 1;
  // 9830 frames of 320 bytes are 3145600.
  AddFrames(10200);
  Open(0, 10000);
  Close(10000);
  Open(10100, 10200);
  Close(10200);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(audio_.len, 3145600u);
  EXPECT_EQ(values_, Range(0, 9830));
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(values_, Range(9830, 10000));
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(values_, Range(10100, 10200));
}

TEST_F(ReadPathTest, WaitingFramesComeAfterTheEndOfTheSessionToo) {
  AddFrames(7000);
  Open(0, 7000);
  inst_->decision.bTimeOut = 1;
  EXPECT_EQ(Read(), 4u);
  EXPECT_EQ(values_, Range(0, 6838));
  EXPECT_EQ(Read(), 4u);
  EXPECT_EQ(values_, Range(6838, 7000));
  EXPECT_EQ(Read(), 4u);
  EXPECT_TRUE(values_.empty());
}

TEST_F(ReadPathTest, FrameThatIsGoneIsLeftOut) {
  AddFrames(10);
  inst_->sideA.pFea->freeFea(4);
  inst_->sideA.pWav->freeWav(4);
  Open(2, 12);  // two beyond the end as well
  Close(12);
  EXPECT_EQ(Read(), 1u);
  EXPECT_EQ(values_, (std::vector<int>{2, 3, 5, 6, 7, 8, 9}));
}

// ---- What is freed

TEST_F(ReadPathTest, OneSecondStaysBehindTheReadingPoint) {
  AddFrames(400);
  Open(250, 300);
  Read();
  EXPECT_EQ(FirstKept(), 150);
  EXPECT_EQ(inst_->sideA.pFea->nFreedTo, 150u);
  Extend(350);
  Read();
  EXPECT_EQ(audio_.nFrame, 300);
  EXPECT_EQ(inst_->sideA.pWav->nFreedTo, 200u);
  Close(360);
  Read();
  EXPECT_EQ(inst_->sideA.pWav->nFreedTo, 260u);
}

TEST_F(ReadPathTest, NothingIsFreedInTheFirstSecond) {
  AddFrames(200);
  Open(100, 150);
  Read();
  EXPECT_EQ(FirstKept(), 0);
}

TEST_F(ReadPathTest, LongSilenceIsFreedUpToTheRunThatMayBegin) {
  AddFrames(500);
  inst_->decision.pEndpoint->nPendBegin = 320;
  Read();
  EXPECT_EQ(FirstKept(), 0);  // no sentence yet: the endpoint's state is not 2
  inst_->decision.pEndpoint->nState = 2;
  Read();
  EXPECT_EQ(FirstKept(), 220);
  EXPECT_EQ(inst_->sideA.pFea->nFreedTo, 220u);
  inst_->decision.pEndpoint->nPendBegin = -1;
  Read();
  EXPECT_EQ(FirstKept(), 220);
}

TEST_F(ReadPathTest, MeanTypeFourFreesNothingUntilASentenceCloses) {
  inst_->pCfg->wvad_param_srec_cmn_type = 4;
  inst_->reading.pReadCmn->reset();
  inst_->reading.pReadCmn->setup(4);
  AddFrames(500);
  inst_->decision.pEndpoint->nState = 2;
  inst_->decision.pEndpoint->nPendBegin = 320;
  Read();
  EXPECT_EQ(FirstKept(), 0);
  Open(300, 400);
  Read();
  EXPECT_EQ(FirstKept(), 0);
  Extend(450);
  Read();
  EXPECT_EQ(FirstKept(), 0);
  Close(460);
  ReadStep(inst_.get(), &audio_);
  EXPECT_EQ(audio_.status, 3u);
  EXPECT_EQ(audio_.len, 160u * 460);
  EXPECT_EQ(inst_->sideA.pWav->nFreedTo, 360u);
  for (size_t f = 0; f < 500; ++f) EXPECT_EQ(inst_->sideA.pFea->frames[f] == nullptr, f < 460) << f;
}

TEST_F(ReadPathTest, BothSidesAreFreedWithGainControl) {
  WithGainControl();
  AddFrames(400);
  Open(250, 300);
  Read();
  EXPECT_EQ(inst_->sideA.pWav->nFreedTo, 150u);
  EXPECT_EQ(inst_->sideA.pFea->nFreedTo, 150u);
  EXPECT_EQ(inst_->sideB->pWav->nFreedTo, 150u);
  EXPECT_EQ(inst_->sideB->pFea->nFreedTo, 150u);
}

// ---- Over many schedules

TEST_F(ReadPathTest, EveryFrameOfEverySentenceComesOnceAndInOrder) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&](unsigned n) { return static_cast<int>(random() % n); };
    inst_->results.pSentences = std::make_unique<SentenceTable>();
    inst_->sideA.pWav->reset();
    inst_->sideA.pFea->reset();
    inst_->reading.pReadCmn->reset();
    if (seed % 2 == 0) inst_->reading.pReadCmn->setup(1);
    inst_->pCfg->wvad_param_nReadType = 1;
    inst_->reading.nReadState = inst_->reading.nReadBegun = inst_->reading.nReadSentence = 0;
    inst_->decision.bAudioFinish = 0;

    std::vector<int> wanted, got;
    std::vector<std::pair<int, int>> begins_and_ends, reported;
    int n_frames = 0, end_of_last = 0, begin = 0;
    bool open = false;
    for (int step = 0; step < 200; ++step) {
      const int n = below(60);
      AddFrames(n);
      n_frames += n;
      if (open) {
        Extend(n_frames);
        if (below(3) == 0) {
          Close(n_frames);
          for (int f = begin; f < n_frames; ++f) wanted.push_back(f);
          begins_and_ends.emplace_back(begin, n_frames);
          end_of_last = n_frames;
          open = false;
        }
      } else if (n_frames > end_of_last && below(2) == 0) {
        // A margin may reach back, by less than the second that is kept.
        begin = std::max(end_of_last, n_frames - 1 - below(40));
        Open(begin, n_frames);
        open = true;
      }
      const bool last = step == 199;
      if (last) {
        if (open) {
          Close(n_frames);
          for (int f = begin; f < n_frames; ++f) wanted.push_back(f);
          begins_and_ends.emplace_back(begin, n_frames);
        }
        inst_->decision.bAudioFinish = 1;
      }
      for (int reads = last ? 1000 : below(3); reads > 0; --reads) {
        const uint32_t status = Read();
        got.insert(got.end(), values_.begin(), values_.end());
        if (status == 1) reported.emplace_back(audio_.nFrame, -1);
        if (status == 3) reported.back().second = audio_.nFrame;
        if (status == 4) break;
      }
    }
    EXPECT_EQ(audio_.status, 4u);
    EXPECT_EQ(got, wanted) << "seed " << seed;
    EXPECT_EQ(reported, begins_and_ends) << "seed " << seed;
  }
}

}  // namespace
}  // namespace TSEG
