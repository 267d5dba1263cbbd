// SPDX-License-Identifier: Apache-2.0
#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

using InstanceTest = EngineTest;

TEST_F(InstanceTest, CreateChecksTheEngineThenThePointer) {
  EXPECT_EQ(wVadCreateInst(nullptr), 14002);
  EXPECT_TRUE(Logged("wVadCreateInst | Engine hasn't init. WVAD_ERROR_NOT_INIT = 14002"));
  Up();
  EXPECT_EQ(wVadCreateInst(nullptr), 14011);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadCreateInst | WVADInst = Null", "WVAD_ERROR_NULL_HANDLE", 14011));
}

TEST_F(InstanceTest, DestroyChecksTheEngineThenTheHandle) {
  EXPECT_EQ(wVadDestroyInst(nullptr), 14002);
  Up();
  EXPECT_EQ(wVadDestroyInst(nullptr), 14011);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadDestroyInst | WVADInst = Null", "WVAD_ERROR_NULL_HANDLE", 14011));
}

TEST_F(InstanceTest, StartLooksAtTheHandleFirstAndStopAtTheEngine) {
  EXPECT_EQ(wVadStart(nullptr), 14011);
  EXPECT_EQ(wVadStop(nullptr), 14002);
  EXPECT_TRUE(Logged("wVadStart | WVADInst handle is NULL. WVAD_ERROR_NULL_HANDLE = 14011"));
  Up();
  EXPECT_EQ(wVadStop(nullptr), 14011);
  EXPECT_TRUE(Logged("wVadStop | WVADInst handle is NULL. WVAD_ERROR_NULL_HANDLE = 14011"));
}

TEST_F(InstanceTest, SecondStartIsRefusedAndTheSessionGoesOn) {
  UpWithInstance();
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(16000, WVAD_WRITE_CONTINUE), 0);
  EXPECT_EQ(wVadStart(inst_), 14003);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadStart | pTsegInst->bInstStart has started", "WVAD_ERROR_ALREADY_START", 14003));
  EXPECT_EQ(WriteSilence(16000, WVAD_WRITE_LAST), 0);
}

TEST_F(InstanceTest, ParameterSetForASessionIsBackAtItsDefaultAfterStop) {
  UpWithInstance();
  ASSERT_EQ(Set("wvad_param_nFrameGap", "77"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "77");
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "40");
}

TEST_F(InstanceTest, RateOfTheSessionOutlivesStop) {
  UpWithInstance();
  ASSERT_EQ(Set("VAD_PARAM_SAMPLERATE", "8000"), 0);
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(Get("VAD_PARAM_SAMPLERATE"), "8000");
}

TEST_F(InstanceTest, StopTwiceGivesZeroBothTimes) {
  UpWithInstance();
  EXPECT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(wVadStop(inst_), 0);
}

TEST_F(InstanceTest, DestroyOfAStartedInstanceNeedsNoStop) {
  UpWithInstance();
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(20000, WVAD_WRITE_CONTINUE), 0);
  EXPECT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
}

TEST_F(InstanceTest, ResetInMidSessionChangesNothing) {
  const std::vector<int16_t> pcm = ReadPcm(DataFile("sessions/pcm_16000.i16"));
  UpWithInstance();
  ASSERT_EQ(wVadStart(inst_), 0);
  WriteAll(pcm, 4096);
  const std::vector<int> expected = Endpoints();
  ASSERT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  for (size_t at = 0; at < pcm.size(); at += 2048) {
    ASSERT_EQ(Write(pcm.data() + at, std::min<size_t>(2048, pcm.size() - at), WVAD_WRITE_CONTINUE), 0);
    EXPECT_EQ(wVadReset(inst_), 0);
  }
  ASSERT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(Endpoints(), expected);
}

TEST_F(InstanceTest, NegativeMarginsAreRefusedTheEndMarginFirst) {
  UpWithInstance();
  ASSERT_EQ(Set("wvad_param_nFrameEndMargin", "-1"), 0);
  ASSERT_EQ(Set("wvad_param_nFrameStartMargin", "-1"), 0);
  EXPECT_EQ(wVadStart(inst_), 14010);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadAudioWrite | FrameEndMargin is less than 0 ", "WVAD_ERROR_INVALID_PARA_VALUE", 14010));
  EXPECT_EQ(Log().find("FrameStartMargin"), std::string::npos);
  ASSERT_EQ(Set("wvad_param_nFrameEndMargin", "0"), 0);
  EXPECT_EQ(wVadStart(inst_), 14010);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadAudioWrite | FrameStartMargin is less than 0 ", "WVAD_ERROR_INVALID_PARA_VALUE", 14010));
  WVadAudioSample audio = {};
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14004);
}

TEST_F(InstanceTest, RefusedRateCannotStart) {
  UpWithInstance();
  EXPECT_EQ(Set("VAD_PARAM_SAMPLERATE", "11025"), 14010);
  EXPECT_EQ(wVadStart(inst_), 14010);
  EXPECT_EQ(Set("VAD_PARAM_SAMPLERATE", "0"), 14010);
  EXPECT_EQ(wVadStart(inst_), 14010);
  EXPECT_EQ(Set("VAD_PARAM_SAMPLERATE", "16000"), 0);
  EXPECT_EQ(wVadStart(inst_), 0);
}

TEST_F(InstanceTest, EveryServedRateRunsASession) {
  UpWithInstance();
  for (const char* rate : {"16000", "8000", "6000"}) {
    ASSERT_EQ(Set("VAD_PARAM_SAMPLERATE", rate), 0);
    ASSERT_EQ(wVadStart(inst_), 0) << rate;
    EXPECT_EQ(WriteSilence(40000, WVAD_WRITE_CONTINUE), 0);
    EXPECT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
    EXPECT_TRUE(Endpoints().empty()) << rate;
    ASSERT_EQ(wVadStop(inst_), 0);
  }
}

TEST_F(InstanceTest, CallsOnAnIdleInstanceAnswerAsTheStateTableSays) {
  UpWithInstance();
  WVadAudioSample audio = {};
  int length = 7;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14004);
  EXPECT_EQ(wVadAudioRead(inst_, &audio), 14004);
  EXPECT_EQ(wVadQueryEPInfo(inst_, &length, 1), 0);
  EXPECT_TRUE(Logged("WVADAPI wVadQueryEPInfo | pTsegInst->bInstStart != Null"));
  EXPECT_EQ(wVadGetSilLen(inst_, 0, &length), 0);
  EXPECT_EQ(length, -1);
}

TEST_F(InstanceTest, DebugTextOfTheSessionIsHandedToTheFile) {
  UpWithInstance();
  ASSERT_EQ(Set("wvad_param_isVadDegOn", "1"), 0);
  ASSERT_EQ(Set("VAD_PARAM_SID", "call/7"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(16000 * 2, WVAD_WRITE_LAST), 0);
  ASSERT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
  ASSERT_EQ(wVadUninitialize(), 0);
  const std::string text = folder_.read("vad_debug.txt");
  EXPECT_NE(text.find("call/7|VAD:|mScore: "), std::string::npos) << text.substr(0, 400);
  // 195 frames of 32000 samples have their window of 800; silence has energy 0, and the trace ends with a blank before the energies.
  EXPECT_NE(text.find(" |eScore: 0 0 0"), std::string::npos);
  EXPECT_NE(text.find("\t \tLog End\n"), std::string::npos);
}

}  // namespace
}  // namespace TSEG::testing_support
