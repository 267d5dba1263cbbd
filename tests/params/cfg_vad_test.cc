// SPDX-License-Identifier: Apache-2.0
//
// The parameter record: table of names, strict text conversions, and what a configuration file does to it.
#include "params/cfg_vad.h"

#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <cstring>
#include <string>

#include "params/param_table.h"
#include "support/folder_fixture.h"

namespace TSEG {
namespace {

using CfgVadTest = testing_support::FolderTest;

constexpr const char* kErrorLineFalse = "Error! The error string is -> false = 0\n";

// Names of positions 0 to 66; for the normal ones from 1 on, the built-in value as text.
constexpr struct {
  const char* name;
  const char* built_in;
} kParams[] = {
    {"wvad_param_normal_none", nullptr},
    {"wvad_param_isTsegLstm", "1"},
    {"wvad_param_SampleRate", "16000"},
    {"wvad_param_TsegModelType", "lstm_fb75"},
    {"wvad_param_model_path", "vad/"},
    {"wvad_param_model_name", ""},
    {"wvad_param_isLinkVadResult", "0"},
    {"wvad_param_nSpeechTailMS", "1800"},
    {"wvad_param_nFrameGap", "40"},
    {"wvad_param_nStartSearchWinGap", "40"},
    {"wvad_param_nFrameJump", "2"},
    {"wvad_param_nReadType", "0"},
    {"wvad_param_nFrameStartMargin", "30"},
    {"wvad_param_nFrameEndMargin", "20"},
    {"wvad_param_nSpeechTimeOut", "60000"},
    {"wvad_param_nResponseTimeOut", "10000"},
    {"wvad_param_fEnergyThresholdMultiple", "1"},
    {"wvad_param_isVadDegOn", "0"},
    {"wvad_param_bKelOn", "0"},
    {"wvad_param_isTsegDoCMN", "1"},
    {"wvad_param_isReadFtrDoCMN", "0"},
    {"wvad_param_isDebugWatch", "0"},
    {"wvad_param_nEnergyThreshhood", "16"},
    {"wvad_param_debug_log_filename", "vad_debug.txt"},
    {"wvad_param_nSilBytes", "0"},
    {"wvad_param_nFrameGapFriendyFirst", "1000"},
    {"wvad_param_nFrameGapFriendySecond", "2000"},
    {"wvad_param_vol_threshold", "8"},
    {"wvad_param_fnt_threshold", "70"},
    {"wvad_param_fnt_score_threshold", "19"},
    {"wvad_param_bkt_threshold", "60"},
    {"wvad_param_cmn_type", "0"},
    {"wvad_param_srec_cmn_type", "0"},
    {"wvad_param_vad_threshold", "0.699999988"},  // the nearest single to 0.7 is 0.69999998807...
    {"wvad_param_k4_energy", "0"},
    {"wvad_param_isLstmSubsentenceAutoResetOn", "0"},
    {"wvad_param_isSilenceAutoResetOn", "0"},
    {"wvad_param_isSilenceAutoResetSubsentenceOn", "0"},
    {"wvad_param_nSilenceAutoReset_WinSize", "400"},
    {"wvad_param_isPostProcessWinSlideOn", "0"},
    {"wvad_param_vad_AgcOn", "0"},
    {"wvad_param_vad_ReadAGC", "0"},
    {"wvad_param_vad_LstmPaddingNum", "32"},
    {"wvad_param_vad_StartPointJudgeWinLen", "20"},
    {"wvad_param_nPostProcessWinSlide_Threshold", "15"},
    {"wkel_param_normal_none", "0"},
    {"wkel_param_sampleRate", "16000"},
    {"wkel_param_snr_threshold", "4.5"},
    {"wkel_param_cur_threshold", "0.0799999982"},  // the nearest single to 0.08 is 0.07999999821...
    {"wkel_param_normal_count", "0"},
    {"wvad_param_normal_count", nullptr},
    {"wvad_param_special_none", nullptr},
    {"wvad_param_readtype", nullptr},
    {"wvad_para_vadtype", nullptr},
    {"wvad_para_nTimeSilTail", nullptr},
    {"VAD_PARAM_SPEECHGAP", nullptr},
    {"VAD_PARAM_SPEECHTAIL", nullptr},
    {"VAD_PARAM_SPEECHENHANCE", nullptr},
    {"VAD_PARAM_SPEECHTIMEOUT", nullptr},
    {"VAD_PARAM_SAMPLERATE", nullptr},
    {"VAD_PARAM_MARGIN", nullptr},
    {"VAD_PARAM_START_MARGIN", nullptr},
    {"VAD_PARAM_END_MARGIN", nullptr},
    {"VAD_PARAM_SID", nullptr},
    {"wkel_param_special_none", nullptr},
    {"wkel_param_sid", nullptr},
    {"wkel_param_special_count", nullptr},
};

std::string Get(CFG_VAD& cfg, const char* name) {
  char text[512] = "";
  EXPECT_TRUE(cfg.get_para_value(name, text, sizeof(text))) << name;
  return text;
}

TEST(ParamTable, HoldsThe67NamesInTheirOrder) {
  static_assert(std::size(kParams) == kParamCount);
  for (int i = 0; i < kParamCount; ++i) {
    EXPECT_STREQ(ParamName(i), kParams[i].name) << i;
    EXPECT_EQ(FindParam(kParams[i].name, 0, kParamCount - 1), i);
  }
}

TEST(ParamTable, NormalParametersEndWhereTheSpecialNamesBegin) {
  EXPECT_EQ(kParamNormalCount, 50);
  EXPECT_STREQ(ParamName(kParamKelSampleRate), "wkel_param_sampleRate");
  EXPECT_EQ(kParamKelSampleRate, 46);
  EXPECT_STREQ(ParamName(kParamKelCurThreshold), "wkel_param_cur_threshold");
  EXPECT_EQ(kParamKelCurThreshold, 48);
}

TEST(ParamTable, SpecialPositionsCarryTheirNames) {
  EXPECT_STREQ(ParamName(kParamReadType), "wvad_param_readtype");
  EXPECT_STREQ(ParamName(kParamVadType), "wvad_para_vadtype");
  EXPECT_STREQ(ParamName(kParamTimeSilTail), "wvad_para_nTimeSilTail");
  EXPECT_STREQ(ParamName(kParamSpeechGap), "VAD_PARAM_SPEECHGAP");
  EXPECT_STREQ(ParamName(kParamSampleRate), "VAD_PARAM_SAMPLERATE");
  EXPECT_STREQ(ParamName(kParamSid), "VAD_PARAM_SID");
  EXPECT_STREQ(ParamName(kParamKelSid), "wkel_param_sid");
}

TEST(ParamTable, NameThatWouldCloseTheTableIsNone) { EXPECT_EQ(FindParam("wvad_param_special_count", 0, kParamCount - 1), -1); }

TEST(ParamTable, SearchKeepsToItsRangeAndToTheCase) {
  EXPECT_EQ(FindParam("wvad_param_nFrameGap", 0, 7), -1);
  EXPECT_EQ(FindParam("wvad_param_nFrameGap", 9, 66), -1);
  EXPECT_EQ(FindParam("WVAD_PARAM_NFRAMEGAP", 0, 66), -1);
  EXPECT_EQ(FindParam("wvad_param_nFrameGa", 0, 66), -1);
  EXPECT_EQ(FindParam("", 0, 66), -1);
}

TEST(CfgVad, BuiltInValuesAsText) {
  CFG_VAD cfg;
  for (int i = 1; i < kParamNormalCount; ++i) EXPECT_EQ(Get(cfg, kParams[i].name), kParams[i].built_in) << kParams[i].name;
}

TEST(CfgVad, EveryNormalParameterSetsItsOwnFieldAlone) {
  for (int i = 1; i < kParamNormalCount; ++i) {
    CFG_VAD cfg;
    const std::string value = std::strcmp(kParams[i].built_in, "1") == 0 ? "0" : "1";
    ASSERT_TRUE(cfg.set_para_value(kParams[i].name, value.c_str())) << kParams[i].name;
    for (int k = 1; k < kParamNormalCount; ++k) {
      EXPECT_EQ(Get(cfg, kParams[k].name), k == i ? value : kParams[k].built_in) << kParams[i].name << " / " << kParams[k].name;
    }
  }
}

TEST(CfgVad, TextBecomesTheFieldOfItsType) {
  CFG_VAD cfg;
  EXPECT_TRUE(cfg.set_para_value("wvad_param_nSpeechTailMS", "-2147483648"));
  EXPECT_EQ(cfg.wvad_param_nSpeechTailMS, -2147483647 - 1);
  EXPECT_TRUE(cfg.set_para_value("wvad_param_vad_threshold", "0.25"));
  EXPECT_EQ(cfg.wvad_param_vad_threshold, 0.25f);
  EXPECT_TRUE(cfg.set_para_value("wvad_param_isVadDegOn", "1"));
  EXPECT_TRUE(cfg.wvad_param_isVadDegOn);
  EXPECT_TRUE(cfg.set_para_value("wvad_param_model_name", "a b\"c"));
  EXPECT_EQ(cfg.model_name(), "a b\"c");
}

TEST(CfgVad, TextThatDoesNotConvertWholeThrowsAndChangesNothing) {
  constexpr struct {
    const char* name;
    const char* value;
  } kRows[] = {
      {"wvad_param_nFrameGap", "12a"},      {"wvad_param_nFrameGap", ""},           {"wvad_param_nFrameGap", " 12"},
      {"wvad_param_nFrameGap", "0x10"},     {"wvad_param_nFrameGap", "2147483648"}, {"wvad_param_nSpeechTailMS", "abc"},
      {"wvad_param_isVadDegOn", "true"},    {"wvad_param_isVadDegOn", "2"},         {"wvad_param_isVadDegOn", ""},
      {"wvad_param_vad_threshold", "0.7x"}, {"wvad_param_vad_threshold", ""},
  };
  for (const auto& row : kRows) {
    CFG_VAD cfg;
    EXPECT_THROW(cfg.set_para_value(row.name, row.value), boost::bad_lexical_cast) << row.name << " = '" << row.value << "'";
    EXPECT_EQ(Get(cfg, row.name), kParams[FindParam(row.name, 0, 66)].built_in);
  }
}

TEST_F(CfgVadTest, NamesOutsideTheNormalOnesAreNotSet) {
  OpenLog(kLogInf);
  CFG_VAD cfg;
  EXPECT_FALSE(cfg.set_para_value("wvad_param_normal_none", "1"));
  EXPECT_FALSE(cfg.set_para_value("wvad_param_normal_count", "1"));
  EXPECT_FALSE(cfg.set_para_value("wvad_param_nframegap", "1"));
  EXPECT_EQ(Log(),
            "CFG_VAD::set_para_value | para not suitable for normal operation, param = wvad_param_normal_none\n"
            "CFG_VAD::set_para_value | para not suitable for normal operation, param = wvad_param_normal_count\n"
            "CFG_VAD::set_para_value | para not suitable for normal operation, param = wvad_param_nframegap\n");
  EXPECT_EQ(cfg.wvad_param_normal_none, 0);
}

TEST_F(CfgVadTest, ValueOf257CharactersIsRefused) {
  OpenLog(kLogErr);
  CFG_VAD cfg;
  EXPECT_TRUE(cfg.set_para_value("wvad_param_model_name", std::string(256, 'm').c_str()));
  EXPECT_EQ(Log(), "");
  EXPECT_FALSE(cfg.set_para_value("wvad_param_model_name", std::string(257, 'n').c_str()));
  EXPECT_EQ(cfg.model_name(), std::string(256, 'm'));
  EXPECT_EQ(Log(), std::string("WVADAPI wVadSetParameter | param length is too long\n") + kErrorLineFalse);
}

TEST_F(CfgVadTest, LengthIsLookedAtBeforeTheConversion) {
  CFG_VAD cfg;
  EXPECT_FALSE(cfg.set_para_value("wvad_param_nFrameGap", std::string(257, 'x').c_str()));
}

TEST_F(CfgVadTest, TextThatDoesNotFitIsNotGiven) {
  OpenLog(kLogErr);
  CFG_VAD cfg;
  char text[8] = "######";
  EXPECT_FALSE(cfg.get_para_value("wvad_param_nSpeechTailMS", text, 4));  // "1800" needs five bytes
  EXPECT_STREQ(text, "######");
  EXPECT_EQ(Log(), std::string("CFG_VAD::get_para_value | err, param = wvad_param_nSpeechTailMS, need buff = 5\n") + kErrorLineFalse);
  EXPECT_TRUE(cfg.get_para_value("wvad_param_nSpeechTailMS", text, 5));
  EXPECT_STREQ(text, "1800");
  EXPECT_EQ(text[5], '#');
}

TEST(CfgVad, EmptyTextCopiesNothing) {
  CFG_VAD cfg;
  char text[4] = "###";
  EXPECT_TRUE(cfg.get_para_value("wvad_param_model_name", text, 1));
  EXPECT_STREQ(text, "###");
  EXPECT_FALSE(cfg.get_para_value("wvad_param_model_name", text, 0));
}

TEST_F(CfgVadTest, PositionZeroIsNotGiven) {
  OpenLog(kLogInf);
  CFG_VAD cfg;
  char text[16];
  EXPECT_FALSE(cfg.get_para_value("wvad_param_normal_none", text, sizeof(text)));
  EXPECT_FALSE(cfg.get_para_value("VAD_PARAM_SID", text, sizeof(text)));
  EXPECT_EQ(Log(),
            "CFG_VAD::get_para_value | para not suitable for normal operation, param = wvad_param_normal_none\n"
            "CFG_VAD::get_para_value | para not suitable for normal operation, param = VAD_PARAM_SID\n");
}

TEST(CfgVad, CopiesAreIndependent) {
  CFG_VAD a;
  a.set_para_value("wvad_param_model_name", "one");
  CFG_VAD b(a);
  CFG_VAD c;
  c = a;
  a.set_para_value("wvad_param_model_name", "two");
  EXPECT_EQ(b.model_name(), "one");
  EXPECT_EQ(c.model_name(), "one");
  EXPECT_EQ(c.model_type(), "lstm_fb75");
  EXPECT_EQ(c.model_path(), "vad/");
  EXPECT_EQ(c.debug_log_filename(), "vad_debug.txt");
}

// ---- The configuration file

TEST_F(CfgVadTest, MissingFileIsNotedAndLeavesTheBuiltInValues) {
  OpenLog(kLogCrt);
  CFG_VAD cfg;
  cfg.init();
  EXPECT_EQ(Log(), "CFG_VAD::init | Couldn't find cfg_file: w_tseg.cfg\n");
  EXPECT_EQ(cfg.wvad_param_nFrameGap, 40);
}

TEST_F(CfgVadTest, FolderOfThatNameCountsAsMissing) {
  OpenLog(kLogCrt);
  std::filesystem::create_directory("w_tseg.cfg");
  CFG_VAD cfg;
  cfg.init();
  EXPECT_EQ(Log(), "CFG_VAD::init | Couldn't find cfg_file: w_tseg.cfg\n");
}

TEST_F(CfgVadTest, SectionHeaderInCapitalsIsActive) {
  folder_.write("w_tseg.cfg",
                "wvad_param_nFrameGap = 1\n[other]\nwvad_param_nFrameGap = 2\n [ VAD ] \nwvad_param_nFrameGap = 3\n[x]\n"
                "wvad_param_nFrameJump = 4\n");
  CFG_VAD cfg;
  cfg.init();
  EXPECT_EQ(cfg.wvad_param_nFrameGap, 3);
  EXPECT_EQ(cfg.wvad_param_nFrameJump, 2);
}

TEST_F(CfgVadTest, KeyInCapitalsWarnsAndApplies) {
  OpenLog(kLogWan);
  folder_.write("w_tseg.cfg", "[vad]\nWVAD_PARAM_NFRAMEGAP = 55\nno_such_key = 1\nwvad_param_nFrameJump = 5\n");
  CFG_VAD cfg;
  cfg.init();
  EXPECT_EQ(cfg.wvad_param_nFrameGap, 55);
  EXPECT_EQ(cfg.wvad_param_nFrameJump, 5);
  EXPECT_EQ(Log(),
            "CFG_VAD::init | para not suitable for normal operation, param = WVAD_PARAM_NFRAMEGAP\n"
            "CFG_VAD::init | para not suitable for normal operation, param = no_such_key\n");
}

TEST_F(CfgVadTest, MarksOfTheTableAreSettableFromTheFileAlone) {
  OpenLog(kLogWan);
  folder_.write("w_tseg.cfg", "[vad]\nwvad_param_normal_none = 7\nwvad_param_normal_count = 8\nwkel_param_normal_count = 9\n");
  CFG_VAD cfg;
  cfg.init();
  EXPECT_EQ(cfg.wvad_param_normal_none, 7);
  EXPECT_EQ(cfg.wvad_param_normal_count, 8);
  EXPECT_EQ(cfg.wkel_param_normal_count, 9);
  // The one of the three that is not among the first fifty names warns.
  EXPECT_EQ(Log(), "CFG_VAD::init | para not suitable for normal operation, param = wvad_param_normal_count\n");
}

TEST_F(CfgVadTest, FileValuesConvertLeniently) {
  folder_.write("w_tseg.cfg",
                "[vad]\n"
                "wvad_param_nFrameGap = 0x10\n"
                "wvad_param_nFrameJump = 010\n"
                "wvad_param_nSpeechTailMS = 12abc\n"
                "wvad_param_nSpeechTimeOut = abc\n"
                "wvad_param_vad_threshold = 0.5\n"
                "wvad_param_vol_threshold = x\n"
                "wvad_param_isVadDegOn = true\n"
                "wvad_param_isTsegDoCMN = false\n"
                "wvad_param_isTsegLstm = 0\n"
                "wvad_param_k4_energy = 2\n"
                "wvad_param_isDebugWatch = TRUE\n"
                "wvad_param_isReadFtrDoCMN = yes\n"
                "wvad_param_model_name = \"  my model.bin \"\n"
                "wvad_param_debug_log_filename = 'single.txt'\n");
  CFG_VAD cfg;
  cfg.wvad_param_isReadFtrDoCMN = true;
  cfg.init();
  EXPECT_EQ(cfg.wvad_param_nFrameGap, 16);
  EXPECT_EQ(cfg.wvad_param_nFrameJump, 8);
  EXPECT_EQ(cfg.wvad_param_nSpeechTailMS, 12);
  EXPECT_EQ(cfg.wvad_param_nSpeechTimeOut, 0);
  EXPECT_EQ(cfg.wvad_param_vad_threshold, 0.5f);
  EXPECT_EQ(cfg.wvad_param_vol_threshold, 0.0f);
  EXPECT_TRUE(cfg.wvad_param_isVadDegOn);
  EXPECT_FALSE(cfg.wvad_param_isTsegDoCMN);
  EXPECT_FALSE(cfg.wvad_param_isTsegLstm);
  EXPECT_TRUE(cfg.wvad_param_k4_energy);
  EXPECT_FALSE(cfg.wvad_param_isDebugWatch);
  EXPECT_FALSE(cfg.wvad_param_isReadFtrDoCMN);
  EXPECT_EQ(cfg.wvad_param_model_name, "my model.bin");
  EXPECT_EQ(cfg.wvad_param_debug_log_filename, "single.txt");
}

TEST_F(CfgVadTest, FirstOfTwoEntriesCountsAndAnEmptyOneLeavesTheValue) {
  folder_.write("w_tseg.cfg",
                "[vad]\nwvad_param_nFrameGap = 11\nwvad_param_nFrameGap = 12\nwvad_param_nFrameJump =\nwvad_param_nFrameJump = 9\n"
                "wvad_param_model_path\n# wvad_param_nSilBytes = 1\n; wvad_param_nSilBytes = 1\n");
  CFG_VAD cfg;
  cfg.init();
  EXPECT_EQ(cfg.wvad_param_nFrameGap, 11);
  EXPECT_EQ(cfg.wvad_param_nFrameJump, 2);
  EXPECT_EQ(cfg.wvad_param_model_path, "vad/");
  EXPECT_EQ(cfg.wvad_param_nSilBytes, 0);
}

TEST_F(CfgVadTest, FileOfAnyBytesIsRead) {
  std::string bytes = "[vad]\nwvad_param_nFrameGap=21\n";
  for (int i = 0; i < 4096; ++i) bytes.push_back(static_cast<char>((i * 7 + 3) % 256));
  bytes += "\n[vad]\n" + std::string(70000, 'k') + "=1\n=\n==\n[\n[vad\nwvad_param_nFrameJump=31";
  folder_.write("w_tseg.cfg", bytes);
  OpenLog(kLogWan);
  CFG_VAD cfg;
  cfg.init();
  EXPECT_EQ(cfg.wvad_param_nFrameGap, 21);
  EXPECT_EQ(cfg.wvad_param_nFrameJump, 31);
}

}  // namespace
}  // namespace TSEG
