// SPDX-License-Identifier: Apache-2.0
//
// What create, start and stop do to the record behind a handle, field by field.
#include <algorithm>

#include "session/tseg_inst.h"
#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

class InstanceRecordTest : public EngineTest {
 protected:
  // Up on the model with gain control switched on in its table.
  void UpWithGainControl(const std::string& model, const std::string& extra = "") {
    Configure(WithGainControl(model, false), extra);
    ASSERT_EQ(wVadInitialize(nullptr), 0);
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
  }
};

TEST_F(InstanceRecordTest, CreateMakesWhatTheSwitchesAskFor) {
  UpWithInstance("models/dnn.bin", "wvad_param_nFrameGap = 33");
  EXPECT_NE(inst_->network.pDnn, nullptr);
  EXPECT_EQ(inst_->network.pLstm, nullptr);
  EXPECT_EQ(inst_->sideB, nullptr);
  EXPECT_EQ(inst_->hKel, nullptr);
  EXPECT_EQ(inst_->nSampleRate, 16000);
  EXPECT_EQ(inst_->decision.nCurFrameGap, 33);
  EXPECT_STREQ(inst_->diagnostics.szSid, "undefine ");
  EXPECT_EQ(inst_->reading.pReadBuf.size(), 3145728u);
  EXPECT_EQ(inst_->intake.pChunk.size(), 800u);
  EXPECT_EQ(inst_->sideA.pWav->nFrameBytes, 320u);
  EXPECT_EQ(inst_->bInstStart, 0);
  EXPECT_GE(inst_->diagnostics.mScore.capacity(), 4096u);
  EXPECT_GE(inst_->decision.eScore.capacity(), 4096u);
  EXPECT_GE(inst_->diagnostics.debugText.capacity(), 16384u);
}

TEST_F(InstanceRecordTest, RecurrentModelGetsTheRecurrentObject) {
  UpWithInstance("models/lstm40.bin");
  EXPECT_EQ(inst_->network.pDnn, nullptr);
  EXPECT_NE(inst_->network.pLstm, nullptr);
}

TEST_F(InstanceRecordTest, GainControlMakesTheSecondSide) {
  UpWithGainControl("models/dnn.bin");
  ASSERT_NE(inst_->sideB, nullptr);
  EXPECT_EQ(inst_->sideB->pAgc->nRate, 0);
  EXPECT_EQ(inst_->sideB->pAgcChunk.size(), 1600u);
  EXPECT_EQ(inst_->sideB->pWav->nFrameBytes, 320u);
}

TEST_F(InstanceRecordTest, AudioQualityGetsItsInstance) {
  UpWithInstance("models/dnn.bin", "wvad_param_bKelOn = 1");
  EXPECT_NE(inst_->hKel, nullptr);
}

TEST_F(InstanceRecordTest, StartPutsTheSessionsFieldsBackAndKeepsTheOthers) {
  UpWithInstance();
  TsegInst& r = *inst_;
  r.decision.bTimeOut = r.decision.bAudioFinish = r.decision.bSpeechFound = r.intake.bEmptyChunkSent = 1;
  r.reading.nReadState = r.reading.nReadSentence = r.reading.nReadBegun = r.intake.nAudioBytes = r.intake.nChunkConsumed =
      r.intake.nChunkFill = 7;
  r.decision.nFrameIdx = r.decision.nCurSpeechFrameNum = r.decision.nNoSpeechFrames = r.decision.nHoldOver = r.decision.nState =
      r.decision.nSilenceResetCount = r.decision.nCurFrameGap = 7;
  r.results.fLastVol = 7;
  r.power.fEnergyAcc = 7;
  r.results.pKelResults->resize(3);
  r.results.pSentences->nIdx = 7;
  r.results.pSentences->vecBegin = {1, 2};
  r.decision.pEndpoint->nState = 2;
  r.results.pProbe->nScanned = 7;
  r.decision.pEnergyStats->fThreshold = 7;
  // Kept: what the energy pass holds, the running energy sum, and the texts that wait.
  r.power.nEnergySamples = 5;
  r.decision.fSpeechEnergySum = 5;
  r.decision.nSpeechEnergyCount = 5;
  r.results.bVolDelivered = 1;
  r.results.pVolResults->assign(2, "text");
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(r.bInstStart, 1);
  EXPECT_EQ(r.decision.bTimeOut + r.decision.bAudioFinish + r.decision.bSpeechFound + r.intake.bEmptyChunkSent, 0);
  EXPECT_EQ(r.reading.nReadState + r.reading.nReadSentence + r.reading.nReadBegun + r.intake.nAudioBytes + r.intake.nChunkConsumed +
                r.intake.nChunkFill,
            0u);
  EXPECT_EQ(r.decision.nFrameIdx, 0);
  EXPECT_EQ(r.decision.nCurSpeechFrameNum, 0);
  EXPECT_EQ(r.decision.nNoSpeechFrames, 0);
  EXPECT_EQ(r.decision.nHoldOver, 0);
  EXPECT_EQ(r.decision.nState, 0);
  EXPECT_EQ(r.decision.nSilenceResetCount, 0);
  EXPECT_EQ(r.decision.nCurFrameGap, 40);
  EXPECT_EQ(r.results.fLastVol, 0.0f);
  EXPECT_EQ(r.power.fEnergyAcc, 0.0);
  EXPECT_TRUE(r.results.pKelResults->empty());
  EXPECT_EQ(r.results.pSentences->nIdx, -1);
  EXPECT_TRUE(r.results.pSentences->vecBegin.empty());
  EXPECT_EQ(r.decision.pEndpoint->nState, 0);
  EXPECT_EQ(r.results.pProbe->nScanned, 0);
  EXPECT_EQ(r.decision.pEnergyStats->fThreshold, 65.0f);
  EXPECT_EQ(r.power.nEnergySamples, 5u);
  EXPECT_EQ(r.decision.fSpeechEnergySum, 5.0f);
  EXPECT_EQ(r.decision.nSpeechEnergyCount, 5);
  EXPECT_EQ(r.results.bVolDelivered, 1);
  EXPECT_EQ(r.results.pVolResults->size(), 2u);
}

TEST_F(InstanceRecordTest, StartFollowsTheRateOfTheSessionForFramesAndTheParameterForGain) {
  UpWithGainControl("models/dnn.bin");
  ASSERT_EQ(Set("VAD_PARAM_SAMPLERATE", "6000"), 0);
  ASSERT_EQ(Set("wvad_param_SampleRate", "8000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(inst_->sideA.pWav->nFrameBytes, 120u);
  EXPECT_EQ(inst_->results.pProbe->nSampleRate, 6000);
  EXPECT_EQ(inst_->sideB->pAgc->nRate, 8000);
  EXPECT_EQ(inst_->sideB->pAgc->nBlockLen, 200);
}

TEST_F(InstanceRecordTest, StartSetsTheWatchesAndTheReadMeanFromTheParameters) {
  UpWithInstance();
  inst_->diagnostics.pWatchOutput->nSubIndex = 3;
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(inst_->diagnostics.pWatchInput->nPerRecord, 1u);
  EXPECT_EQ(inst_->diagnostics.pWatchOutput->nPerRecord, 75u);
  EXPECT_EQ(inst_->diagnostics.pWatchOutput->nSubIndex, 0);
  EXPECT_EQ(inst_->diagnostics.pWatch75x11->nPerRecord, 825u);
  EXPECT_EQ(inst_->diagnostics.pWatch75x4->nPerRecord, 300u);
  EXPECT_EQ(inst_->reading.pReadCmn->bEnable, 0);
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(inst_->reading.pReadCmn->bEnable, 1);
  ASSERT_EQ(Set("wvad_param_nReadType", "-3"), 0);
  ASSERT_EQ(Set("wvad_param_isReadFtrDoCMN", "1"), 0);
  ASSERT_EQ(Set("wvad_param_srec_cmn_type", "3"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(inst_->diagnostics.pWatchOutput->nPerRecord, 1u);
  EXPECT_EQ(inst_->reading.pReadCmn->bEnable, 1);
  EXPECT_EQ(inst_->reading.pReadCmn->nFirst, 25);
}

TEST_F(InstanceRecordTest, StopEmptiesBothSidesAndRestoresTheParameters) {
  UpWithGainControl("models/dnn.bin", "wvad_param_isVadDegOn = 1");
  TsegInst& r = *inst_;
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  ASSERT_EQ(Write(pcm.data(), 40001, WVAD_WRITE_CONTINUE), 0);
  ASSERT_FALSE(r.sideA.pWav->frames.empty());
  ASSERT_FALSE(r.sideB->pFea->frames.empty());
  ASSERT_FALSE(r.diagnostics.mScore.empty());
  ASSERT_FALSE(r.decision.eScore.empty());
  ASSERT_FALSE(r.power.frameEnergy.empty());
  r.pCfg->wvad_param_nFrameGap = 99;
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_TRUE(r.sideA.pWav->frames.empty());
  EXPECT_TRUE(r.sideA.pFea->frames.empty());
  EXPECT_TRUE(r.sideB->pWav->frames.empty());
  EXPECT_TRUE(r.sideB->pFea->frames.empty());
  EXPECT_EQ(r.sideA.pWav->nPartial, 0u);
  EXPECT_TRUE(r.diagnostics.mScore.empty());
  EXPECT_TRUE(r.decision.eScore.empty());
  EXPECT_TRUE(r.power.frameEnergy.empty());
  EXPECT_EQ(r.power.nEnergySamples, 0u);
  EXPECT_EQ(r.power.fEnergyAcc, 0.0);
  EXPECT_EQ(r.decision.fSpeechEnergySum, 0.0f);
  EXPECT_EQ(r.decision.nSpeechEnergyCount, 0);
  EXPECT_EQ(r.reading.pReadCmn->nLastFrame, -1);
  EXPECT_EQ(r.network.pDnn->nFrames, 0);
  EXPECT_EQ(r.bInstStart, 0);
  EXPECT_TRUE(r.diagnostics.debugText.empty());
  EXPECT_EQ(r.pCfg->wvad_param_nFrameGap, 40);
}

TEST_F(InstanceRecordTest, SecondSideIsTheFirstUnderGainControlChunkByChunk) {
  UpWithGainControl("models/dnn.bin");
  ASSERT_EQ(wVadStart(inst_), 0);
  std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  pcm.resize(32000);
  ASSERT_EQ(Write(pcm.data(), pcm.size(), WVAD_WRITE_CONTINUE), 0);
  GainControl gain;
  GainControlStart(&gain, 16000);
  std::vector<int16_t> expected(pcm.size());
  for (size_t at = 0; at < pcm.size(); at += 400) {
    GainControlApply(&gain, reinterpret_cast<const uint8_t*>(&pcm[at]), reinterpret_cast<uint8_t*>(&expected[at]), 800);
  }
  ASSERT_NE(expected, pcm);
  ASSERT_EQ(inst_->sideB->pWav->frames.size(), 200u);
  for (size_t f = 0; f < 200; ++f) {
    EXPECT_EQ(std::memcmp(inst_->sideA.pWav->frames[f], &pcm[f * 160], 320), 0) << f;
    EXPECT_EQ(std::memcmp(inst_->sideB->pWav->frames[f], &expected[f * 160], 320), 0) << f;
  }
}

TEST_F(InstanceRecordTest, EnergyHistoryIsTheFrontEndsEnergyTimesItsFactor) {
  UpWithInstance();
  std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  pcm.resize(16000);
  for (const bool k4 : {false, true}) {
    ASSERT_EQ(Set("wvad_param_k4_energy", k4 ? "1" : "0"), 0);
    ASSERT_EQ(Set("wvad_param_isVadDegOn", "1"), 0);  // the debug text wants all of them, so none is dropped
    ASSERT_EQ(wVadStart(inst_), 0);
    ASSERT_EQ(Write(pcm.data(), pcm.size(), WVAD_WRITE_LAST), 0);
    FrontEndChannel channel;
    FrontEndChannelStart(&channel, 16000, true, 0, k4, 75);
    ASSERT_FALSE(FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), true));
    ASSERT_EQ(inst_->decision.eScore.size(), static_cast<size_t>(FinishedFrames(channel)));
    for (size_t f = 0; f < inst_->decision.eScore.size(); ++f) {
      float frame[115];
      const float energy = FillFeatureFrame(channel, static_cast<int32_t>(f), frame);
      EXPECT_EQ(inst_->decision.eScore[f], (k4 ? 1.0f : 1000.0f) * energy) << k4 << " " << f;
      EXPECT_EQ(std::memcmp(inst_->sideA.pFea->frames[f], frame, sizeof frame), 0) << k4 << " " << f;
    }
    ASSERT_EQ(wVadStop(inst_), 0);
  }
}

TEST_F(InstanceRecordTest, GainControlledEnergiesGoToTheOneHistory) {
  UpWithGainControl("models/dnn.bin");
  ASSERT_EQ(wVadStart(inst_), 0);
  std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  pcm.resize(32000);
  ASSERT_EQ(Write(pcm.data(), pcm.size(), WVAD_WRITE_LAST), 0);
  EXPECT_EQ(inst_->decision.eScore.size(), 196u);  // (32000 - 800) / 160 + 1, once
  EXPECT_TRUE(inst_->decision.eScoreB.empty());
  EXPECT_EQ(inst_->decision.nFrameIdx, 196);
}

}  // namespace
}  // namespace TSEG::testing_support
