// SPDX-License-Identifier: Apache-2.0
//
// The interface of the audio-quality component: life, sessions, parameters, codes and lines.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "quality/kel_rig.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

// A test in a folder of its own with the component up, the logger on a file and the global parameters at their built-in values.
class KelEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    ASSERT_TRUE(log_.opened());
    ASSERT_EQ(wKelInitialize(&engine_, nullptr), 0);
  }
  void TearDown() override {
    engine_.defaults = CFG_KEL();
    wKelUninitialize(&engine_);
    std::filesystem::current_path(previous_);
  }
  void Restart(const std::string& config) {
    folder_.write("w_tseg.cfg", config);
    ASSERT_EQ(wKelInitialize(&engine_, nullptr), 0);
  }
  static std::string Get(KelInst* inst, const char* key) {
    char text[1100] = "untouched";
    EXPECT_EQ(wKelGetParameter(&inst, key, text, sizeof text), 0) << key;
    return text;
  }

  KelEngine engine_;
  testing_support::TempFolder folder_;
  testing_support::LogCapture log_;
  std::filesystem::path previous_;
};

TEST_F(KelEngineTest, InitializeFindsTheLoggerOfTheProcess) {
  EXPECT_EQ(log_.Count("wKelInitialize | srlog_inst has been created!!"), 1);
  EXPECT_EQ(log_.Count("wKelInitialize | srlog_open succeed!"), 0);
}

TEST_F(KelEngineTest, UninitializeClosesTheLogger) {
  EXPECT_EQ(wKelUninitialize(&engine_), 0);
  EXPECT_EQ(log_.Count("wKelUninitialize | srlog_close succeed!"), 1);
  EXPECT_FALSE(srlog_exists());
}

TEST_F(KelEngineTest, InitializeOpensALoggerWhereThereIsNone) {
  srlog_close();
  ASSERT_FALSE(srlog_exists());
  EXPECT_EQ(wKelInitialize(&engine_, nullptr), 0);
  EXPECT_TRUE(srlog_exists());
}

TEST_F(KelEngineTest, MissingConfigurationIsNotedAndDefaultsStay) {
  EXPECT_EQ(log_.Count("CFG_KEL::init | Couldn't find cfg_file: w_tseg.cfg"), 1);
  KelRig rig(&engine_);
  EXPECT_EQ(Get(rig.inst, "wkel_param_sampleRate"), "16000");
  EXPECT_EQ(Get(rig.inst, "wkel_param_snr_threshold"), "4.5");
}

TEST_F(KelEngineTest, FolderInPlaceOfTheConfigurationCountsAsMissing) {
  std::filesystem::create_directory("w_tseg.cfg");
  ASSERT_EQ(wKelInitialize(&engine_, nullptr), 0);
  EXPECT_EQ(log_.Count("CFG_KEL::init | Couldn't find cfg_file: w_tseg.cfg"), 2);
}

TEST_F(KelEngineTest, FileSetsTheGlobalValuesAndWarnsOfForeignKeys) {
  Restart(
      "[vad]\nwkel_param_sampleRate = 1\n[kel]\nwkel_param_sampleRate = 0x1f40\nwkel_param_snr_threshold = 7.25\nwkel_param_cur_threshold "
      "=\n"
      "wkel_param_normal_none = 3\nwkel_param_normal_count = x\nwkel_param_sid = s\nsomething = 1\n");
  EXPECT_EQ(engine_.defaults.sampleRate, 8000);
  EXPECT_EQ(engine_.defaults.snr_threshold, 7.25f);
  EXPECT_EQ(engine_.defaults.cur_threshold, 0.08f);  // an empty value leaves it
  EXPECT_EQ(engine_.defaults.normal_none, 3);
  EXPECT_EQ(engine_.defaults.normal_count, 0);  // what does not parse is 0
  EXPECT_EQ(log_.Count("CFG_KEL::init | para not suitable for normal operation, param = something"), 1);
  EXPECT_EQ(log_.Count("CFG_KEL::init | para not suitable"), 1);  // "wkel_param_sid" is a key of the table
  KelRig rig(&engine_);
  EXPECT_EQ(rig.inst->pCfg->sampleRate, 8000);
}

TEST_F(KelEngineTest, KeyInOtherLettersWarnsAndApplies) {
  Restart("[KEL]\nWKEL_param_sampleRate = 010\n");
  EXPECT_EQ(engine_.defaults.sampleRate, 8);  // octal
  EXPECT_EQ(log_.Count("CFG_KEL::init | para not suitable for normal operation, param = WKEL_param_sampleRate"), 1);
}

TEST_F(KelEngineTest, MissingConfigurationIsToldAtLevelCrt) {
  srlog_close();
  const testing_support::LogCapture critical(kLogCrt);
  CFG_KEL().init();
  EXPECT_EQ(critical.Text(), "CFG_KEL::init | Couldn't find cfg_file: w_tseg.cfg\n");
}

TEST_F(KelEngineTest, SecondInitializeKeepsWhatTheFirstRead) {
  Restart("[kel]\nwkel_param_snr_threshold = 9\n");
  Restart("[kel]\nwkel_param_cur_threshold = 0.5\n");
  EXPECT_EQ(engine_.defaults.snr_threshold, 9.0f);
  EXPECT_EQ(engine_.defaults.cur_threshold, 0.5f);
}

TEST_F(KelEngineTest, StartTwiceIs15003AndTheInstanceStaysIntact) {
  KelRig rig(&engine_);
  rig.Write(std::vector<int16_t>(1000, 5));
  EXPECT_EQ(wKelStart(rig.inst), 15003);
  EXPECT_EQ(rig.inst->nSentCurBytesPos, 2000);
  EXPECT_EQ(rig.inst->bStarted, 1);
  EXPECT_EQ(log_.Count("KelInst::start | already start Inst"), 1);
  EXPECT_EQ(log_.Count("Error! The error string is -> WKEL_ERROR_ALREADY_START = 15003"), 1);
}

TEST_F(KelEngineTest, StopTwiceIs15004AndTheInstanceStaysIntact) {
  KelRig rig(&engine_);
  EXPECT_EQ(wKelStop(rig.inst), 0);
  rig.inst->pCfg->snr_threshold = 1.0f;
  EXPECT_EQ(wKelStop(rig.inst), 15004);
  EXPECT_EQ(rig.inst->pCfg->snr_threshold, 1.0f);
  EXPECT_EQ(log_.Count("KelInst::stop | not start Inst"), 1);
  EXPECT_EQ(log_.Count("Error! The error string is -> WKEL_ERROR_NOT_START = 15004"), 1);
  EXPECT_EQ(wKelStart(rig.inst), 0);
}

TEST_F(KelEngineTest, ParameterSetBetweenSessionsIsLostAtTheNextStop) {
  KelRig rig(&engine_);
  EXPECT_EQ(wKelStop(rig.inst), 0);
  EXPECT_EQ(wKelSetParameter(&rig.inst, "wkel_param_snr_threshold", "9.5"), 0);
  EXPECT_EQ(wKelStart(rig.inst), 0);
  EXPECT_EQ(rig.inst->pCfg->snr_threshold, 9.5f);
  EXPECT_EQ(wKelStop(rig.inst), 0);
  EXPECT_EQ(rig.inst->pCfg->snr_threshold, 4.5f);
}

TEST_F(KelEngineTest, StartStopAndResetClearTheMeasures) {
  for (const int kind : {0, 1, 2}) {
    KelRig rig(&engine_);
    rig.Write(std::vector<int16_t>(20000, 5));
    rig.Close();
    ASSERT_EQ(rig.Results().size(), 2u);
    if (kind == 0) {
      rig.inst->bStarted = 0;
      EXPECT_EQ(wKelStart(rig.inst), 0);
    } else {
      EXPECT_EQ(kind == 1 ? wKelStop(rig.inst) : wKelReset(rig.inst), 0);
    }
    EXPECT_EQ(rig.inst->nSentCurBytesPos, 0);
    EXPECT_EQ(rig.inst->nLastFramePos, 0);
    EXPECT_TRUE(rig.inst->vecFrameDb.empty());
    EXPECT_EQ(rig.inst->bStarted, kind == 1 ? 0 : 1);
    EXPECT_EQ(rig.Results(), std::vector<std::string>{CurText("0.000", false)});  // the text stays until it is written anew
  }
}

TEST_F(KelEngineTest, ResultsBeforeTheLastWriteAreAnEmptyCur) {
  KelRig rig(&engine_);
  rig.Write(std::vector<int16_t>(20000, 5));
  EXPECT_EQ(rig.Results(), std::vector<std::string>{"cur:"});
}

TEST_F(KelEngineTest, LastWriteMayCarryAudio) {
  KelRig rig(&engine_);
  rig.Write(std::vector<int16_t>(SamplesOf(50), 5), 2);
  EXPECT_EQ(rig.Results().size(), 2u);
}

TEST_F(KelEngineTest, OtherStatusesDoNotCompute) {
  KelRig rig(&engine_);
  for (const uint32_t status : {0u, 1u, 3u}) rig.Write(std::vector<int16_t>(20000, 5), status);
  EXPECT_EQ(rig.inst->bSnrReady, 0);
}

TEST_F(KelEngineTest, SidKeepsTheFirst1023Characters) {
  KelRig rig(&engine_);
  EXPECT_EQ(wKelSetParameter(&rig.inst, "wkel_param_sid", std::string(2000, 'x').c_str()), 0);
  EXPECT_EQ(Get(rig.inst, "wkel_param_sid"), std::string(1023, 'x'));
  EXPECT_EQ(wKelSetParameter(&rig.inst, "wkel_param_sid", "short"), 0);
  EXPECT_EQ(Get(rig.inst, "wkel_param_sid"), "short");
  EXPECT_EQ(log_.Count("wMLPParameterGet | getParameter OK, param = wkel_param_sid, value = short"), 1);
  char three[3] = {'a', 'b', 'c'};
  EXPECT_EQ(wKelGetParameter(&rig.inst, "wkel_param_sid", three, 3), 0);
  EXPECT_STREQ(three, "sh");
}

TEST_F(KelEngineTest, NormalParametersAreSetAndRead) {
  KelRig rig(&engine_);
  EXPECT_EQ(wKelSetParameter(&rig.inst, "wkel_param_sampleRate", "8000"), 0);
  EXPECT_EQ(wKelSetParameter(&rig.inst, "wkel_param_snr_threshold", "-1.5"), 0);
  EXPECT_EQ(wKelSetParameter(&rig.inst, "wkel_param_cur_threshold", "0.25"), 0);
  EXPECT_EQ(Get(rig.inst, "wkel_param_sampleRate"), "8000");
  EXPECT_EQ(Get(rig.inst, "wkel_param_snr_threshold"), "-1.5");
  EXPECT_EQ(Get(rig.inst, "wkel_param_cur_threshold"), "0.25");
  EXPECT_EQ(engine_.defaults.sampleRate, 16000);  // the instance's own copy
}

TEST_F(KelEngineTest, RefusedParametersAre15009) {
  struct Row {
    const char* key;
    std::string value;
    bool found;
  };
  const std::string long_text(257, '1');
  const Row rows[] = {
      {"wkel_param_normal_none", "1", false},         {"wkel_param_normal_count", "1", false}, {"wkel_param_special_none", "1", true},
      {"wkel_param_special_count", "1", true},        {"wkel_param_SampleRate", "1", false},   {"", "1", false},
      {"wkel_param_sampleRate", "12a", false},        {"wkel_param_sampleRate", "", false},    {"wkel_param_snr_threshold", "x", false},
      {"wkel_param_cur_threshold", long_text, false},
  };
  int reports = 0;
  for (const Row& row : rows) {
    KelRig rig(&engine_);
    EXPECT_EQ(wKelSetParameter(&rig.inst, row.key, row.value.c_str()), 15009) << row.key;
    EXPECT_GE(log_.Count("wKELParameterSet | invalid para , param = " + std::string(row.key) + ", value = " + row.value), 1) << row.key;
    reports += row.found ? 0 : 1;
    EXPECT_EQ(log_.Count("Error! The error string is -> WKEL_ERROR_INVALID_PARA = 15009"), reports) << row.key;
    EXPECT_EQ(rig.inst->pCfg->sampleRate, 16000);
    EXPECT_EQ(rig.inst->pCfg->cur_threshold, 0.08f);
  }
  EXPECT_EQ(log_.Count("WVADAPI wVadSetParameter | param length is too long"), 1);
  EXPECT_EQ(log_.Count("Error! The error string is -> false = 0"), 1);
  EXPECT_EQ(log_.Count("CFG_KEL::set_para_value | para not suitable for normal operation, param = wkel_param_sampleRate"), 2);
}

TEST_F(KelEngineTest, ValueOf256CharactersIsTaken) {
  KelRig rig(&engine_);
  EXPECT_EQ(wKelSetParameter(&rig.inst, "wkel_param_sampleRate", (std::string(252, '0') + "8000").c_str()), 0);
  EXPECT_EQ(rig.inst->pCfg->sampleRate, 8000);
}

TEST_F(KelEngineTest, ReadsThatFail) {
  KelRig rig(&engine_);
  char text[64] = "untouched";
  EXPECT_EQ(wKelGetParameter(&rig.inst, "nothing", text, sizeof text), 15009);
  EXPECT_EQ(log_.Count("wKELParameterGet | invalid para , param = nothing, paramValue = "), 1);
  EXPECT_EQ(log_.Count("Error! The error string is -> WKEL_ERROR_INVALID_PARA = 15009"), 1);
  EXPECT_EQ(wKelGetParameter(&rig.inst, "wkel_param_special_count", text, sizeof text), 15009);
  EXPECT_EQ(wKelGetParameter(&rig.inst, "wkel_param_sid", text, 0), 15013);
  EXPECT_EQ(wKelGetParameter(&rig.inst, "wkel_param_sampleRate", text, 0), 15013);
  EXPECT_EQ(log_.Count("wGetParameter | err, param = wkel_param_sid, need buff = 1"), 1);
  EXPECT_EQ(log_.Count("Error! The error string is -> WKEL_ERROR_BUF_NOT_ENOUGH = 15013"), 2);
  EXPECT_EQ(wKelGetParameter(&rig.inst, "wkel_param_sampleRate", text, 5), 15009);
  EXPECT_EQ(log_.Count("CFG_KEL::get_para_value | err, param = wkel_param_sampleRate, need buff = 6"), 2);
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(wKelGetParameter(&rig.inst, "wkel_param_sampleRate", text, 6), 0);
  EXPECT_STREQ(text, "16000");
}

TEST_F(KelEngineTest, NullArgumentsComeBeforeTheEngineCheck) {
  wKelUninitialize(&engine_);
  testing_support::LogCapture log;
  ASSERT_TRUE(log.opened());
  KelInst* none = nullptr;
  KelInst* inst = nullptr;
  ASSERT_EQ(wKelCreate(&engine_, &inst), 0);
  char text[8];
  EXPECT_EQ(wKelSetParameter(nullptr, "k", "v"), 15011);
  EXPECT_EQ(wKelSetParameter(&none, "k", "v"), 15011);
  EXPECT_EQ(log.Count("wKelSetParameter | wKelInst handle is NULL. WKEL_ERROR_NULL_HANDLE = 15011"), 2);
  EXPECT_EQ(wKelSetParameter(&inst, nullptr, "v"), 15011);
  EXPECT_EQ(log.Count("wKelSetParameter | para param is NULL. WKEL_ERROR_NULL_HANDLE = 15011"), 1);
  EXPECT_EQ(wKelSetParameter(&inst, "k", nullptr), 15011);
  EXPECT_EQ(log.Count("wKelSetParameter | para paramValue is NULL. WKEL_ERROR_NULL_HANDLE = 15011"), 1);
  EXPECT_EQ(wKelSetParameter(&inst, "wkel_param_sid", "v"), 15002);
  EXPECT_EQ(log.Count("wKelSetParameter | Engine hasn't init. WKEL_ERROR_NOT_INIT = 15002"), 1);
  EXPECT_EQ(wKelGetParameter(&none, "k", text, 8), 15011);
  EXPECT_EQ(wKelGetParameter(&inst, nullptr, text, 8), 15011);
  EXPECT_EQ(wKelGetParameter(&inst, "k", nullptr, 8), 15011);
  EXPECT_EQ(wKelGetParameter(&inst, "wkel_param_sid", text, 8), 15002);
  EXPECT_EQ(log.Count("wKelGetParameter | Engine hasn't init. WKEL_ERROR_NOT_INIT = 15002"), 1);
  wKelDestroy(inst);
}

TEST_F(KelEngineTest, ParameterFunctionsAreTimedAndTraced) {
  KelRig rig(&engine_);
  wKelSetParameter(&rig.inst, "wkel_param_sid", "a");
  EXPECT_GE(log_.Count("TSEG::wKelSetParameter"), 2);
  Get(rig.inst, "wkel_param_sid");
  EXPECT_GE(log_.Count("TSEG::wKelGetParameter"), 2);
}

TEST_F(KelEngineTest, NullInstanceIsRefusedEverywhereButInDestroy) {
  EXPECT_EQ(wKelDestroy(nullptr), 0);
  EXPECT_EQ(wKelCreate(&engine_, nullptr), 15011);
  EXPECT_EQ(wKelStart(nullptr), 15011);
  EXPECT_EQ(wKelStop(nullptr), 15011);
  EXPECT_EQ(wKelReset(nullptr), 15011);
  WVadAudioSample audio = {};
  EXPECT_EQ(wKelAudioWrite(nullptr, &audio), 15011);
  WVadResult* out = reinterpret_cast<WVadResult*>(1);
  EXPECT_EQ(wKelGetResult(nullptr, &out), 15011);
  EXPECT_EQ(out, nullptr);
  KelRig rig(&engine_);
  EXPECT_EQ(wKelAudioWrite(rig.inst, nullptr), 15011);
  audio.len = 2;
  EXPECT_EQ(wKelAudioWrite(rig.inst, &audio), 15011);
}

}  // namespace
}  // namespace TSEG
