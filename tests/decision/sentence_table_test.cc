// SPDX-License-Identifier: Apache-2.0
//
// Verdicts into the sentence table, "vol" texts, the end of the audio, and the endpoints of the query.
#include "decision/sentence_table.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "decision/inst_builder.h"

namespace TSEG {
namespace {

TEST(wVadEmitVerdict, BeginOpensASentence) {
  auto inst = MakeInst();
  wVadEmitVerdict(inst.get(), WVAD_FRAME_BEGIN, 12, 40);
  const SentenceTable& table = *inst->results.pSentences;
  EXPECT_EQ(table.nIdx, 0);
  EXPECT_EQ(table.vecBegin, std::vector<int32_t>{12});
  EXPECT_EQ(table.vecEnd, std::vector<int32_t>{40});
  EXPECT_EQ(table.vecSilLen, std::vector<int32_t>{0});
  EXPECT_TRUE(table.bitsClosed.empty());
}

TEST(wVadEmitVerdict, PauseClosesItAndClearsTheEnergySum) {
  auto inst = MakeInst();
  wVadEmitVerdict(inst.get(), WVAD_FRAME_BEGIN, 12, 40);
  inst->decision.pEndpoint->nSilFrames = 41;
  inst->decision.fSpeechEnergySum = 31.0f;
  inst->decision.nSpeechEnergyCount = 2;
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 12, 77);
  const SentenceTable& table = *inst->results.pSentences;
  EXPECT_EQ(table.vecEnd[0], 77);
  EXPECT_EQ(table.bitsClosed, std::vector<uint8_t>{1});
  EXPECT_EQ(table.vecSilLen[0], 41);
  EXPECT_EQ(inst->decision.fSpeechEnergySum, 0.0f);
  EXPECT_EQ(inst->decision.nSpeechEnergyCount, 0);
  EXPECT_EQ(inst->results.fLastVol, 1.0f);  // mean 15.5
}

TEST(wVadEmitVerdict, VolTextCarriesMeasureTimesAndLevel) {
  auto inst = MakeInst();
  inst->power.frameEnergy = std::vector<double>(20, 160.0 * 100.0 * 100.0);  // rms 100 in every frame
  inst->decision.fSpeechEnergySum = 160.0f;
  inst->decision.nSpeechEnergyCount = 10;  // mean 16, distance 1.5, squared 2.25
  wVadEmitVerdict(inst.get(), WVAD_FRAME_BEGIN, 3, 5);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 3, 11);
  ASSERT_EQ(inst->results.pVolResults->size(), 1u);
  EXPECT_EQ(inst->results.pVolResults->front(), "\"ws\":[{\"vol\":2.2,\"trig\":true,\"bg\":30,\"ed\":110,\"eg\":40.00}]");
}

TEST(wVadEmitVerdict, VolAtTheThresholdIsNoTrigger) {
  CFG_VAD cfg;
  cfg.wvad_param_vol_threshold = 4.0f;
  auto inst = MakeInst(cfg);
  inst->decision.fSpeechEnergySum = 16.5f;  // distance 2
  inst->decision.nSpeechEnergyCount = 1;
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 0, 0);
  EXPECT_EQ(inst->results.pVolResults->back(), "\"ws\":[{\"vol\":4.0,\"trig\":false,\"bg\":0,\"ed\":0,\"eg\":-140.00}]");
}

TEST(wVadEmitVerdict, SentenceWithoutCountedEnergyHasVol210) {
  auto inst = MakeInst();
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 5, 5);
  EXPECT_EQ(inst->results.fLastVol, 210.25f);
  // Begin equal to end: no level.
  EXPECT_EQ(inst->results.pVolResults->back(), "\"ws\":[{\"vol\":210.2,\"trig\":false,\"bg\":50,\"ed\":50,\"eg\":-140.00}]");
}

TEST(wVadEmitVerdict, FramesBeyondThePowerListCountWithoutPower) {
  auto inst = MakeInst();
  inst->power.frameEnergy = std::vector<double>(4, 160.0 * 100.0 * 100.0);
  // Frames 0 to 399 of which 4 have rms 100: the mean square is 100, the rms 10.
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 0, 400);
  EXPECT_NE(inst->results.pVolResults->back().find("\"eg\":20.00}"), std::string::npos) << inst->results.pVolResults->back();
}

TEST(wVadEmitVerdict, SilentSentenceHasTheLowestLevel) {
  auto inst = MakeInst();
  inst->power.frameEnergy = std::vector<double>(10, 0.0);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 0, 10);
  EXPECT_NE(inst->results.pVolResults->back().find("\"eg\":-140.00}"), std::string::npos);
}

TEST(wVadEmitVerdict, SeventeenthVolTextEmptiesTheList) {
  auto inst = MakeInst();
  for (int i = 0; i < 16; ++i) wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, i, i);
  EXPECT_EQ(inst->results.pVolResults->size(), 16u);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 16, 16);
  ASSERT_EQ(inst->results.pVolResults->size(), 1u);
  EXPECT_NE(inst->results.pVolResults->front().find("\"bg\":160,"), std::string::npos);
}

TEST(wVadEmitVerdict, DeliveredVolTextsGoAtTheNextPause) {
  auto inst = MakeInst();
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 1, 1);
  inst->results.bVolDelivered = 1;
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 2, 2);
  ASSERT_EQ(inst->results.pVolResults->size(), 1u);
  EXPECT_EQ(inst->results.bVolDelivered, 0);
}

TEST(wVadEmitVerdict, TailAndNoSpeechMarkTheSession) {
  auto inst = MakeInst();
  wVadEmitVerdict(inst.get(), WVAD_FRAME_TAIL, 0, 50);
  EXPECT_EQ(inst->decision.bAudioFinish, 1);
  EXPECT_EQ(inst->decision.bTimeOut, 0);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_NOSPEECH, 0, 50);
  EXPECT_EQ(inst->decision.bTimeOut, 1);
  EXPECT_TRUE(inst->results.pSentences->vecEnd.empty());
}

// An open sentence from 10 to 30 with `held` feature frames, the detector inside it at `floor`.
std::unique_ptr<TsegInst> OpenInst(int held, int32_t floor) {
  auto inst = MakeInst();
  wVadEmitVerdict(inst.get(), WVAD_FRAME_BEGIN, 10, 30);
  for (int i = 0; i < held; ++i) inst->sideA.pFea->addFrame();
  inst->decision.pEndpoint->nState = 1;
  inst->decision.pEndpoint->nFloor = floor;
  inst->decision.pEndpoint->nSilFrames = 3;
  return inst;
}

TEST(wVadEmitVerdict, OpenSentenceReachesAheadAsFarAsAudioAndMarginAllow) {
  struct Row {
    const char* name;
    int held;
    int32_t floor, end, expected;
  };
  const Row rows[] = {
      {"bound by the frames held", 45, 40, 40, 44},          {"bound by the end's margin", 100, 60, 40, 59},
      {"bound by the floor's margin", 100, 35, 40, 54},      {"frames held behind the end", 36, 40, 40, 35},
      {"floor's margin not above the end", 100, 20, 40, 40},
  };
  for (const Row& row : rows) {
    auto inst = OpenInst(row.held, row.floor);
    wVadEmitVerdict(inst.get(), WVAD_FRAME_GOON, 10, row.end);
    EXPECT_EQ(inst->results.pSentences->vecEnd[0], row.expected) << row.name;
    EXPECT_EQ(inst->results.pSentences->vecSilLen[0], 3) << row.name;
  }
}

TEST(wVadEmitVerdict, OpenSentenceOutsideTheStateOnlyTakesTheGreaterEnd) {
  auto inst = OpenInst(100, 40);
  inst->decision.pEndpoint->nState = 2;
  wVadEmitVerdict(inst.get(), WVAD_FRAME_GOON, 10, 35);
  EXPECT_EQ(inst->results.pSentences->vecEnd[0], 35);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_GOON, 10, 32);
  EXPECT_EQ(inst->results.pSentences->vecEnd[0], 35);
}

TEST(wVadEmitVerdict, UnusedVerdictsUpdateToo) {
  for (const int verdict : {7, 9}) {
    auto inst = OpenInst(100, 40);
    inst->decision.pEndpoint->nState = 2;
    wVadEmitVerdict(inst.get(), static_cast<FrameVerdict>(verdict), 10, 36);
    EXPECT_EQ(inst->results.pSentences->vecEnd[0], 36) << verdict;
  }
}

TEST(wVadEmitVerdict, ClosedSentenceTakesOnlyTheSilenceLength) {
  auto inst = OpenInst(100, 40);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 10, 50);
  inst->decision.pEndpoint->nSilFrames = 55;
  wVadEmitVerdict(inst.get(), WVAD_FRAME_GOON, 10, 60);
  EXPECT_EQ(inst->results.pSentences->vecEnd[0], 50);
  EXPECT_EQ(inst->results.pSentences->vecSilLen[0], 55);
}

TEST(wVadEmitVerdict, EndOfZeroChangesNothing) {
  auto inst = OpenInst(100, 40);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_GOON, 0, 0);
  EXPECT_EQ(inst->results.pSentences->vecEnd[0], 30);
  EXPECT_EQ(inst->results.pSentences->vecSilLen[0], 0);
}

TEST(wVadEmitVerdict, NothingIsTouchedBeforeTheFirstSentence) {
  auto inst = MakeInst();
  inst->decision.pEndpoint->nState = 1;
  wVadEmitVerdict(inst.get(), WVAD_FRAME_GOON, 0, 10);
  wVadEmitVerdict(inst.get(), WVAD_FRAME_PAUSE, 0, 10);
  EXPECT_TRUE(inst->results.pSentences->vecEnd.empty());
  EXPECT_TRUE(inst->results.pSentences->vecSilLen.empty());
}

TEST(wVadEmitVerdict, FramesHeldAreThoseOfTheSideThatIsRead) {
  CFG_VAD cfg;
  cfg.wvad_param_vad_AgcOn = true;
  for (const bool read_agc : {false, true}) {
    auto inst = OpenInst(45, 40);
    inst->pCfg->wvad_param_vad_AgcOn = true;
    inst->pCfg->wvad_param_vad_ReadAGC = read_agc;
    inst->sideB = std::make_unique<GainedSide>();
    for (int i = 0; i < 43; ++i) inst->sideB->pFea->addFrame();
    wVadEmitVerdict(inst.get(), WVAD_FRAME_GOON, 10, 40);
    EXPECT_EQ(inst->results.pSentences->vecEnd[0], read_agc ? 42 : 44);
  }
}

TEST(wVadFinishAudio, OpenSentenceEndsAtTheCurrentFrame) {
  CFG_VAD cfg;
  cfg.wvad_param_isVadDegOn = true;
  auto inst = MakeInst(cfg);
  RunFrames(inst.get(), 30, true);
  wVadFinishAudio(inst.get());
  EXPECT_EQ(inst->decision.bAudioFinish, 1);
  EXPECT_EQ(inst->results.pSentences->bitsClosed, std::vector<uint8_t>{1});
  EXPECT_EQ(inst->results.pSentences->vecEnd[0], 30);  // the margin does not go beyond the audio
  EXPECT_EQ(inst->results.pSentences->vecSilLen[0], 2);
  EXPECT_EQ(inst->diagnostics.debugText, " 0 29 ");
  EXPECT_EQ(inst->results.pVolResults->size(), 1u);
}

TEST(wVadFinishAudio, WithoutAnOpenSentenceOnlyMarks) {
  CFG_VAD cfg;
  cfg.wvad_param_isVadDegOn = true;
  auto inst = MakeInst(cfg);
  RunFrames(inst.get(), 30, false);
  wVadFinishAudio(inst.get());
  EXPECT_EQ(inst->decision.bAudioFinish, 1);
  EXPECT_TRUE(inst->results.pVolResults->empty());
  EXPECT_EQ(inst->diagnostics.debugText, "");
}

TEST(wVadFinishAudio, NoTraceWithoutTheSwitch) {
  auto inst = MakeInst();
  RunFrames(inst.get(), 30, true);
  wVadFinishAudio(inst.get());
  EXPECT_EQ(inst->diagnostics.debugText, "");
}

SentenceTable ThreeSentences() {
  SentenceTable table;
  table.nIdx = 2;
  table.vecBegin = {1, 3, 5};
  table.vecEnd = {2, 4, 6};
  table.bitsClosed = {1, 1};
  return table;
}

TEST(CollectEndpoints, GivesClosedSentencesAsPairs) {
  int out[8] = {-9, -9, -9, -9, -9, -9, -9, -9};
  EXPECT_EQ(CollectEndpoints(ThreeSentences(), out, 8), 4);
  EXPECT_EQ((std::vector<int>(out, out + 5)), (std::vector<int>{1, 2, 3, 4, -9}));
}

TEST(CollectEndpoints, SizeBoundsThePairsAndAnOddOneOverrunsByOne) {
  int out[4] = {-9, -9, -9, -9};
  EXPECT_EQ(CollectEndpoints(ThreeSentences(), out, 2), 2);
  EXPECT_EQ(out[2], -9);
  EXPECT_EQ(CollectEndpoints(ThreeSentences(), out, 3), 4);
  EXPECT_EQ(out[3], 4);
  EXPECT_EQ(CollectEndpoints(ThreeSentences(), out, 0), 0);
  EXPECT_EQ(CollectEndpoints(ThreeSentences(), out, -2), 0);
}

TEST(CollectEndpoints, StopsAtTheFirstOpenSentence) {
  SentenceTable table = ThreeSentences();
  table.bitsClosed = {1, 0, 1};
  int out[8];
  EXPECT_EQ(CollectEndpoints(table, out, 8), 2);
}

TEST(CollectEndpoints, MissingFramesAreMinusOne) {
  SentenceTable table;
  table.bitsClosed = {1};
  int out[2] = {0, 0};
  EXPECT_EQ(CollectEndpoints(table, out, 2), 2);
  EXPECT_EQ(out[0], -1);
  EXPECT_EQ(out[1], -1);
}

TEST(SentenceTableReset, EmptiesTheTable) {
  SentenceTable table = ThreeSentences();
  const CFG_VAD cfg;
  SentenceTableReset(&table, &cfg);
  EXPECT_EQ(table.nIdx, -1);
  EXPECT_TRUE(table.vecBegin.empty() && table.vecEnd.empty() && table.bitsClosed.empty() && table.vecSilLen.empty());
  EXPECT_EQ(table.pCfg, &cfg);
}

}  // namespace
}  // namespace TSEG
