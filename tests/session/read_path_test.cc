// SPDX-License-Identifier: Apache-2.0
//
// The read step: every row of the machine, and the end of a session.
#include "session/read_path_fixture.h"

namespace TSEG {
namespace {

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

}  // namespace
}  // namespace TSEG
