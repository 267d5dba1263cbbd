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
  EXPECT_NE(inst_->pDnn, nullptr);
  EXPECT_EQ(inst_->pLstm, nullptr);
  EXPECT_EQ(inst_->pFrontEndB, nullptr);
  EXPECT_EQ(inst_->pWavB, nullptr);
  EXPECT_EQ(inst_->pFeaB, nullptr);
  EXPECT_EQ(inst_->hKel, nullptr);
  EXPECT_EQ(inst_->nSampleRate, 16000);
  EXPECT_EQ(inst_->nCurFrameGap, 33);
  EXPECT_STREQ(inst_->szSid, "undefine ");
  EXPECT_EQ(inst_->pReadBuf.size(), 3145728u);
  EXPECT_EQ(inst_->pChunk.size(), 800u);
  EXPECT_EQ(inst_->pWavA->nFrameBytes, 320u);
  EXPECT_EQ(inst_->bFirstBlock, 1);
  EXPECT_EQ(inst_->bInstStart, 0);
  EXPECT_GE(inst_->mScore.capacity(), 4096u);
  EXPECT_GE(inst_->eScore.capacity(), 4096u);
  EXPECT_GE(inst_->debugText.capacity(), 16384u);
  EXPECT_EQ(inst_->pAgc->nRate, 0);
}

TEST_F(InstanceRecordTest, RecurrentModelGetsTheRecurrentObject) {
  UpWithInstance("models/lstm40.bin");
  EXPECT_EQ(inst_->pDnn, nullptr);
  EXPECT_NE(inst_->pLstm, nullptr);
}

TEST_F(InstanceRecordTest, GainControlMakesTheSecondSide) {
  UpWithGainControl("models/dnn.bin");
  EXPECT_NE(inst_->pFrontEndB, nullptr);
  EXPECT_NE(inst_->pWavB, nullptr);
  EXPECT_NE(inst_->pFeaB, nullptr);
  EXPECT_EQ(inst_->pAgcChunk.size(), 1600u);
  EXPECT_EQ(inst_->pWavB->nFrameBytes, 320u);
}

TEST_F(InstanceRecordTest, AudioQualityGetsItsInstance) {
  UpWithInstance("models/dnn.bin", "wvad_param_bKelOn = 1");
  EXPECT_NE(inst_->hKel, nullptr);
}

TEST_F(InstanceRecordTest, StartPutsTheSessionsFieldsBackAndKeepsTheOthers) {
  UpWithInstance();
  TsegInst& r = *inst_;
  r.bTimeOut = r.bAudioFinish = r.bSpeechFound = r.bEmptyChunkSent = 1;
  r.nReadState = r.nReadSentence = r.nReadBegun = r.nAudioBytes = r.nChunkConsumed = r.nChunkFill = 7;
  r.nFrameIdx = r.nCurSpeechFrameNum = r.nNoSpeechFrames = r.nHoldOver = r.nState = r.nSilenceResetCount = r.nCurFrameGap = 7;
  r.fLastVol = 7;
  r.fEnergyAcc = 7;
  r.bFirstBlock = 0;
  r.pKelResults->resize(3);
  r.pSentences->nIdx = 7;
  r.pSentences->vecBegin = {1, 2};
  r.pEndpoint->nState = 2;
  r.pProbe->nScanned = 7;
  r.pEnergyStats->fThreshold = 7;
  // Kept: what the energy pass holds, the running energy sum, and the texts that wait.
  r.nEnergySamples = 5;
  r.fSpeechEnergySum = 5;
  r.nSpeechEnergyCount = 5;
  r.bVolDelivered = 1;
  r.pVolResults->assign(2, "text");
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(r.bInstStart, 1);
  EXPECT_EQ(r.bTimeOut + r.bAudioFinish + r.bSpeechFound + r.bEmptyChunkSent, 0);
  EXPECT_EQ(r.nReadState + r.nReadSentence + r.nReadBegun + r.nAudioBytes + r.nChunkConsumed + r.nChunkFill, 0u);
  EXPECT_EQ(r.nFrameIdx, 0);
  EXPECT_EQ(r.nCurSpeechFrameNum, 0);
  EXPECT_EQ(r.nNoSpeechFrames, 0);
  EXPECT_EQ(r.nHoldOver, 0);
  EXPECT_EQ(r.nState, 0);
  EXPECT_EQ(r.nSilenceResetCount, 0);
  EXPECT_EQ(r.nCurFrameGap, 40);
  EXPECT_EQ(r.fLastVol, 0.0f);
  EXPECT_EQ(r.fEnergyAcc, 0.0);
  EXPECT_EQ(r.bFirstBlock, 1);
  EXPECT_TRUE(r.pKelResults->empty());
  EXPECT_EQ(r.pSentences->nIdx, -1);
  EXPECT_TRUE(r.pSentences->vecBegin.empty());
  EXPECT_EQ(r.pEndpoint->nState, 0);
  EXPECT_EQ(r.pProbe->nScanned, 0);
  EXPECT_EQ(r.pEnergyStats->fThreshold, 65.0f);
  EXPECT_EQ(r.nEnergySamples, 5u);
  EXPECT_EQ(r.fSpeechEnergySum, 5.0f);
  EXPECT_EQ(r.nSpeechEnergyCount, 5);
  EXPECT_EQ(r.bVolDelivered, 1);
  EXPECT_EQ(r.pVolResults->size(), 2u);
}

TEST_F(InstanceRecordTest, StartFollowsTheRateOfTheSessionForFramesAndTheParameterForGain) {
  UpWithInstance();
  ASSERT_EQ(Set("VAD_PARAM_SAMPLERATE", "6000"), 0);
  ASSERT_EQ(Set("wvad_param_SampleRate", "8000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(inst_->pWavA->nFrameBytes, 120u);
  EXPECT_EQ(inst_->pProbe->nSampleRate, 6000);
  EXPECT_EQ(inst_->pAgc->nRate, 8000);
  EXPECT_EQ(inst_->pAgc->nBlockLen, 200);
}

TEST_F(InstanceRecordTest, StartSetsTheWatchesAndTheReadMeanFromTheParameters) {
  UpWithInstance();
  inst_->pWatchOutput->nSubIndex = 3;
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(inst_->pWatchInput->nPerRecord, 1u);
  EXPECT_EQ(inst_->pWatchOutput->nPerRecord, 75u);
  EXPECT_EQ(inst_->pWatchOutput->nSubIndex, 0);
  EXPECT_EQ(inst_->pWatch75x11->nPerRecord, 825u);
  EXPECT_EQ(inst_->pWatch75x4->nPerRecord, 300u);
  EXPECT_EQ(inst_->pReadCmn->bEnable, 0);
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(inst_->pReadCmn->bEnable, 1);
  ASSERT_EQ(Set("wvad_param_nReadType", "-3"), 0);
  ASSERT_EQ(Set("wvad_param_isReadFtrDoCMN", "1"), 0);
  ASSERT_EQ(Set("wvad_param_srec_cmn_type", "3"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(inst_->pWatchOutput->nPerRecord, 1u);
  EXPECT_EQ(inst_->pReadCmn->bEnable, 1);
  EXPECT_EQ(inst_->pReadCmn->nFirst, 25);
}

TEST_F(InstanceRecordTest, StopEmptiesBothSidesAndRestoresTheParameters) {
  UpWithGainControl("models/dnn.bin", "wvad_param_isVadDegOn = 1");
  TsegInst& r = *inst_;
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  ASSERT_EQ(Write(pcm.data(), 40001, WVAD_WRITE_CONTINUE), 0);
  ASSERT_FALSE(r.pWavA->frames.empty());
  ASSERT_FALSE(r.pFeaB->frames.empty());
  ASSERT_FALSE(r.mScore.empty());
  ASSERT_FALSE(r.eScore.empty());
  ASSERT_FALSE(r.frameEnergy.empty());
  r.pCfg->wvad_param_nFrameGap = 99;
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_TRUE(r.pWavA->frames.empty());
  EXPECT_TRUE(r.pFeaA->frames.empty());
  EXPECT_TRUE(r.pWavB->frames.empty());
  EXPECT_TRUE(r.pFeaB->frames.empty());
  EXPECT_EQ(r.pWavA->nPartial, 0u);
  EXPECT_TRUE(r.mScore.empty());
  EXPECT_TRUE(r.eScore.empty());
  EXPECT_TRUE(r.frameEnergy.empty());
  EXPECT_EQ(r.nEnergySamples, 0u);
  EXPECT_EQ(r.fEnergyAcc, 0.0);
  EXPECT_EQ(r.fSpeechEnergySum, 0.0f);
  EXPECT_EQ(r.nSpeechEnergyCount, 0);
  EXPECT_EQ(r.pReadCmn->nLastFrame, -1);
  EXPECT_EQ(r.pDnn->nFrames, 0);
  EXPECT_EQ(r.bInstStart, 0);
  EXPECT_TRUE(r.debugText.empty());
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
  ASSERT_EQ(inst_->pWavB->frames.size(), 200u);
  for (size_t f = 0; f < 200; ++f) {
    EXPECT_EQ(std::memcmp(inst_->pWavA->frames[f], &pcm[f * 160], 320), 0) << f;
    EXPECT_EQ(std::memcmp(inst_->pWavB->frames[f], &expected[f * 160], 320), 0) << f;
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
    FrontEndChannelStart(&channel, 16000, true, 0, k4, "dnn_fb75");
    ASSERT_FALSE(FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), true));
    ASSERT_EQ(inst_->eScore.size(), static_cast<size_t>(FinishedFrames(channel)));
    for (size_t f = 0; f < inst_->eScore.size(); ++f) {
      float frame[115];
      const float energy = FillFeatureFrame(channel, static_cast<int32_t>(f), frame);
      EXPECT_EQ(inst_->eScore[f], (k4 ? 1.0f : 1000.0f) * energy) << k4 << " " << f;
      EXPECT_EQ(std::memcmp(inst_->pFeaA->frames[f], frame, sizeof frame), 0) << k4 << " " << f;
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
  EXPECT_EQ(inst_->eScore.size(), 196u);  // (32000 - 800) / 160 + 1, once
  EXPECT_TRUE(inst_->eScoreB.empty());
  EXPECT_EQ(inst_->nFrameIdx, 196);
}

}  // namespace
}  // namespace TSEG::testing_support
