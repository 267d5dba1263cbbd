// SPDX-License-Identifier: Apache-2.0
//
// What the read step copies, from which side, and what waits for the next read.
#include "session/read_path_fixture.h"

namespace TSEG {
namespace {

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

}  // namespace
}  // namespace TSEG
