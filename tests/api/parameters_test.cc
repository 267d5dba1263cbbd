// SPDX-License-Identifier: Apache-2.0
#include <typeinfo>

#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

using ParametersTest = EngineTest;

TEST_F(ParametersTest, SetChecksHandleNameValueEngineStateAndLengthInThisOrder) {
  EXPECT_EQ(wVadSetParameter(nullptr, nullptr, nullptr), 14011);
  EXPECT_EQ(Log().find("para param"), std::string::npos);
  UpWithInstance();
  EXPECT_EQ(wVadSetParameter(inst_, nullptr, nullptr), 14011);
  EXPECT_TRUE(Logged("wVadSetParameter | para param is NULL. WVAD_ERROR_NULL_HANDLE = 14011"));
  EXPECT_EQ(wVadSetParameter(inst_, "x", nullptr), 14011);
  EXPECT_TRUE(Logged("wVadSetParameter | para paramValue is NULL. WVAD_ERROR_NULL_HANDLE = 14011"));
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(Set(std::string(300, 'x').c_str(), "1"), 14003);
}

TEST_F(ParametersTest, NameOf256CharactersReachesTheTableAndOneOf257IsTooLong) {
  UpWithInstance();
  EXPECT_EQ(Set(std::string(256, 'x').c_str(), "1"), 14009);
  EXPECT_EQ(Set(std::string(257, 'x').c_str(), "1"), 14020);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadSetParameter | param length is too long", "WVAD_ERROR_PARAM_TOO_LONG", 14020));
}

TEST_F(ParametersTest, ValueOf257CharactersEndsAsUnknown) {
  UpWithInstance();
  EXPECT_EQ(Set("wvad_param_model_name", std::string(256, 'm').c_str()), 0);
  EXPECT_EQ(Set("wvad_param_model_name", std::string(257, 'm').c_str()), 14009);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadSetParameter | param length is too long", "false", 0));
}

TEST_F(ParametersTest, SpeechGapIsStoredInFramesAndCut) {
  UpWithInstance();
  EXPECT_EQ(Set("VAD_PARAM_SPEECHGAP", "805"), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "80");
}

TEST_F(ParametersTest, UnservedRateIsStoredAndRefused) {
  UpWithInstance();
  EXPECT_EQ(Set("VAD_PARAM_SAMPLERATE", "11025"), 14010);
  EXPECT_TRUE(Logged("wVadSetParameter | VAD_PARAM_SAMPLERATE warning, nParamValue = 11025 don't match with model"));
  EXPECT_TRUE(LoggedFailure("wVadSetParameter | VAD_PARAM_SAMPLERATE err, nParamValue = 11025 don't support",
                            "WVAD_ERROR_INVALID_PARA_VALUE", 14010));
  EXPECT_EQ(Get("VAD_PARAM_SAMPLERATE"), "11025");
}

TEST_F(ParametersTest, SpecialNamesReadTextThatIsNoNumberAsZeroAndNormalOnesRaise) {
  UpWithInstance();
  EXPECT_EQ(Set("VAD_PARAM_SPEECHTAIL", "abc"), 0);
  EXPECT_EQ(Get("wvad_param_nSpeechTailMS"), "0");
  EXPECT_THROW(Set("wvad_param_nSpeechTailMS", "abc"), std::bad_cast);
  EXPECT_THROW(Set("wvad_param_nSpeechTailMS", "12a"), std::bad_cast);
  EXPECT_THROW(Set("wvad_param_isVadDegOn", "true"), std::bad_cast);
  EXPECT_THROW(Set("wvad_param_vad_threshold", ""), std::bad_cast);
  EXPECT_EQ(Get("wvad_param_nSpeechTailMS"), "0");
}

TEST_F(ParametersTest, GetOfANormalParameterWithTooSmallABufferGivesZeroAndLeavesIt) {
  UpWithInstance();
  char text[8] = "keep";
  EXPECT_EQ(wVadGetParameter(inst_, "wvad_param_nFrameGap", text, 1), 0);
  EXPECT_STREQ(text, "keep");
  EXPECT_EQ(wVadGetParameter(inst_, "wvad_para_vadtype", text, 1), 14013);
  EXPECT_TRUE(LoggedFailure("wGetParameter | err, param = wvad_para_vadtype, need buff = 5", "WVAD_ERROR_BUF_NOT_ENOUGH", 14013));
  EXPECT_EQ(wVadGetParameter(inst_, "wvad_para_vadtype", text, 4), 14013);
  EXPECT_EQ(wVadGetParameter(inst_, "wvad_para_vadtype", text, 5), 0);
  EXPECT_STREQ(text, "tseg");
}

TEST_F(ParametersTest, GetWithAnEmptyOrNegativeBufferIsNotEnough) {
  UpWithInstance();
  char text[8] = "keep";
  for (const int size : {0, -1}) {
    EXPECT_EQ(wVadGetParameter(inst_, "wvad_param_nFrameGap", text, size), 14013);
    EXPECT_EQ(wVadGetParameter(inst_, "VAD_PARAM_SPEECHTAIL", text, size), 14013);
    EXPECT_STREQ(text, "keep");
  }
}

TEST_F(ParametersTest, GetChecksNullsThenTheEngine) {
  char text[8];
  EXPECT_EQ(wVadGetParameter(nullptr, "x", text, 8), 14012);
  EXPECT_TRUE(Logged("wVadGetParameter | wVadInst handle is NULL. WVAD_ERROR_INVALID_HANDLE = 14012"));
  UpWithInstance();
  EXPECT_EQ(wVadGetParameter(inst_, nullptr, text, 8), 14012);
  EXPECT_TRUE(Logged("wVadGetParameter | para param is NULL. WVAD_ERROR_INVALID_HANDLE = 14012"));
  EXPECT_EQ(wVadGetParameter(inst_, "x", nullptr, 8), 14012);
  EXPECT_TRUE(Logged("wVadGetParameter | para nParamValue is NULL. WVAD_ERROR_INVALID_HANDLE = 14012"));
  std::memcpy(text, "old", 4);
  EXPECT_EQ(wVadGetParameter(inst_, "x", text, 8), 14009);
  EXPECT_TRUE(LoggedFailure("wVadGetParameter | invalid para , param = x, value = old", "WVAD_ERROR_INVALID_PARA", 14009));
}

TEST_F(ParametersTest, SpecialNamesWithoutAGetterLeaveTheBuffer) {
  UpWithInstance();
  for (const char* name :
       {"wvad_param_normal_none", "wvad_param_normal_count", "wvad_param_special_none", "wvad_param_readtype", "VAD_PARAM_SPEECHGAP",
        "VAD_PARAM_SPEECHTAIL", "VAD_PARAM_SPEECHENHANCE", "VAD_PARAM_SPEECHTIMEOUT", "VAD_PARAM_MARGIN", "VAD_PARAM_START_MARGIN",
        "VAD_PARAM_END_MARGIN", "wkel_param_special_none", "wkel_param_sid", "wkel_param_special_count"}) {
    EXPECT_EQ(Get(name), "untouched") << name;
  }
  EXPECT_TRUE(Logged("wVadGetParameter | wKelInst is Null"));
  EXPECT_EQ(Get("wvad_para_nTimeSilTail"), "0");
  EXPECT_EQ(Get("VAD_PARAM_SID"), "undefine ");
}

TEST_F(ParametersTest, EachSpecialNameIsSetAsItsRowSays) {
  UpWithInstance();
  struct Case {
    const char* name;
    int code;
  };
  const Case cases[] = {
      {"wvad_param_normal_none", 14009},   {"wvad_param_normal_count", 14017}, {"wvad_param_special_none", 14017},
      {"wvad_param_readtype", 0},          {"wvad_para_vadtype", 14017},       {"wvad_para_nTimeSilTail", 0},
      {"VAD_PARAM_SPEECHGAP", 0},          {"VAD_PARAM_SPEECHTAIL", 0},        {"VAD_PARAM_SPEECHENHANCE", 0},
      {"VAD_PARAM_SPEECHTIMEOUT", 0},      {"VAD_PARAM_SAMPLERATE", 14010},    {"VAD_PARAM_MARGIN", 14017},
      {"VAD_PARAM_START_MARGIN", 14017},   {"VAD_PARAM_END_MARGIN", 14017},    {"VAD_PARAM_SID", 0},
      {"wkel_param_special_none", 14017},  {"wkel_param_sid", 14017},          {"wkel_param_special_count", 14017},
      {"wvad_param_special_count", 14009},
  };
  for (const Case& c : cases) EXPECT_EQ(Set(c.name, "5"), c.code) << c.name;
  EXPECT_EQ(Get("wvad_param_nReadType"), "5");
  EXPECT_EQ(Get("wvad_param_nSpeechTailMS"), "5");
  EXPECT_EQ(Get("wvad_param_nSpeechTimeOut"), "5");
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "0");
  EXPECT_TRUE(LoggedFailure("WVADSetParameter | invalid para, param = VAD_PARAM_MARGIN, param_value = 5", "ret", 14017));
  EXPECT_TRUE(LoggedFailure("WVADAPI wSetParameter | param = wvad_param_normal_none, paramValue = 5", "WVAD_ERROR_INVALID_PARA", 14009));
}

TEST_F(ParametersTest, SpecialNumbersKeepTheirLow32BitsBeforeAnyDivision) {
  UpWithInstance();
  EXPECT_EQ(Set("VAD_PARAM_SPEECHTAIL", "4294967301"), 0);
  EXPECT_EQ(Get("wvad_param_nSpeechTailMS"), "5");
  EXPECT_EQ(Set("VAD_PARAM_SPEECHTAIL", "0x10"), 0);
  EXPECT_EQ(Get("wvad_param_nSpeechTailMS"), "16");
  EXPECT_EQ(Set("VAD_PARAM_SPEECHGAP", "-1"), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "429496729");
}

TEST_F(ParametersTest, SessionIdentifierKeepsAtMost1024Bytes) {
  UpWithInstance();
  EXPECT_EQ(Set("VAD_PARAM_SID", std::string(5000, 's').c_str()), 0);
  EXPECT_EQ(Get("VAD_PARAM_SID"), std::string(1024, 's'));
  EXPECT_EQ(Set("VAD_PARAM_SID", "short"), 0);
  EXPECT_EQ(Get("VAD_PARAM_SID"), "short");
}

TEST_F(ParametersTest, FileSectionInCapitalsIsActiveAndAKeyInCapitalsWarnsAndApplies) {
  folder_.write("w_tseg.cfg", "[VAD]\n" + ModelEntries(DataFile("models/dnn.bin")) + "WVAD_PARAM_NFRAMEGAP = 33\n");
  ASSERT_EQ(wVadInitialize(nullptr), 0);
  ASSERT_EQ(wVadCreateInst(&inst_), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "33");
  EXPECT_TRUE(Logged("CFG_VAD::init | para not suitable for normal operation, param = WVAD_PARAM_NFRAMEGAP"));
}

TEST_F(ParametersTest, ModelOverridesItsSevenParametersInTheFile) {
  UpWithInstance("models/dnn.bin", "wvad_param_isTsegLstm = 1\nwvad_param_TsegModelType = lstm_fb40\nwvad_param_SampleRate = 8000");
  EXPECT_EQ(Get("wvad_param_isTsegLstm"), "0");
  EXPECT_EQ(Get("wvad_param_TsegModelType"), "dnn_fb75");
  EXPECT_EQ(Get("wvad_param_SampleRate"), "16000");
}

}  // namespace
}  // namespace TSEG::testing_support
