// SPDX-License-Identifier: Apache-2.0
//
// What the read step frees; and that every frame comes once over many schedules.
#include <random>
#include <string>

#include "session/read_path_fixture.h"

namespace TSEG {
namespace {

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

TEST_F(ReadPathTest, SilenceIsFreedUpToTheFloorWhereAClientAsksForIt) {
  AddFrames(500);
  EndpointDetector& detector = *inst_->decision.pEndpoint;
  detector.nFloor = 450;
  Read();
  EXPECT_EQ(FirstKept(), 0);  // nobody has asked
  inst_->reading.bFreesByFloor = true;
  detector.nState = 1;
  Read();
  EXPECT_EQ(FirstKept(), 0);  // within a sentence the floor is its last speech
  detector.nState = 0;
  Read();
  EXPECT_EQ(FirstKept(), 350);
  EXPECT_EQ(inst_->sideA.pFea->nFreedTo, 350u);
  // A sentence that begins on the floor is whole.
  detector.nFloor = 460;
  Open(460, 480);
  detector.nState = 1;
  Read();
  EXPECT_EQ(FirstKept(), 360);  // behind the reading point, as ever
  Close(490);
  detector.nFloor = 490;
  detector.nState = 2;
  Read();
  EXPECT_EQ(values_, (std::vector<int>{480, 481, 482, 483, 484, 485, 486, 487, 488, 489}));
}

TEST_F(ReadPathTest, FreedByTheFloorARunThatMayBeginKeepsItsWholeMargin) {
  inst_->reading.bFreesByFloor = true;
  AddFrames(500);
  EndpointDetector& detector = *inst_->decision.pEndpoint;
  detector.nState = 2;
  detector.nPendBegin = 450;
  detector.nFloor = 250;  // 200 frames before it, as a margin of 2 s asks
  Read();
  EXPECT_EQ(FirstKept(), 150);
}

TEST_F(ReadPathTest, SilenceStaysWhileASentenceWaitsForItsReader) {
  inst_->reading.bFreesByFloor = true;
  AddFrames(500);
  Open(20, 40);
  Close(60);
  EndpointDetector& detector = *inst_->decision.pEndpoint;
  detector.nFloor = 450;
  detector.nState = 2;
  Read();
  EXPECT_EQ(FirstKept(), 0);
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
