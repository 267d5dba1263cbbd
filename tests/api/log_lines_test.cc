// SPDX-License-Identifier: Apache-2.0
//
// Every line that the exported functions log, whole and with the letters of its level, in the order in which a caller's mistakes produce
// them. Timers and scopes are left out here; that each call has its pair is a test of its own.
#include <sstream>

#include "session/tseg_inst.h"
#include "support/energy_engine_fixture.h"

namespace TSEG::testing_support {
namespace {

using Lines = std::vector<std::string>;

class LogLinesTest : public EnergyEngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    Relog();
  }
  // The fixture's log with the level before each line.
  void Relog() { PutLogger(folder_, "file=" + folder_.file("level.log") + "\nlevel=all\nstyle=20\nflush=1\nhead=0\n"); }
  // What has been logged since the last call, timers and scopes apart.
  Lines New() {
    const std::string all = folder_.read("level.log");
    std::istringstream in(all.substr(seen_));
    seen_ = all.size();
    Lines lines;
    for (std::string line; std::getline(in, line);) {
      if (line.compare(0, 5, "[PRF]") != 0 && line.compare(0, 5, "[TRC]") != 0) lines.push_back(line);
    }
    return lines;
  }
  void UpEnergy(const std::string& extra = "") {
    EnergyEngineTest::UpEnergy(extra);
    New();
  }
  static std::string Error(const std::string& name, int code) {
    return "[ERR] Error! The error string is -> " + name + " = " + std::to_string(code);
  }

 private:
  size_t seen_ = 0;
};

TEST_F(LogLinesTest, CallsOnADownEngine) {
  int value = 0;
  char text[8] = "";
  WVadAudioSample audio = {};
  // An instance that outlived its engine: its handle is not null.
  UpEnergy();
  ASSERT_EQ(wVadUninitialize(), 0);
  Relog();
  New();
  const struct {
    const char* name;
    int code;
  } rows[] = {
      {"wVadUninitialize", wVadUninitialize()},
      {"wVadCreateInst", wVadCreateInst(&inst_)},
      {"wVadDestroyInst", wVadDestroyInst(inst_)},
      {"wVadStart", wVadStart(inst_)},
      {"wVadStop", wVadStop(inst_)},
      {"wVadSetParameter", wVadSetParameter(inst_, "x", "1")},
      {"wVadGetParameter", wVadGetParameter(inst_, "x", text, 8)},
      {"wVadAudioWrite", wVadAudioWrite(inst_, &audio)},
      {"wVadAudioRead", wVadAudioRead(inst_, &audio)},
      {"wVadGetSilLen", wVadGetSilLen(inst_, 0, &value)},
      {"wVadQueryEPInfo", wVadQueryEPInfo(inst_, &value, 1)},
  };
  Lines expected;
  for (const auto& row : rows) {
    EXPECT_EQ(row.code, std::string(row.name) == "wVadQueryEPInfo" ? 0 : 14002) << row.name;
    expected.push_back("[ERR] " + std::string(row.name) + " | Engine hasn't init. WVAD_ERROR_NOT_INIT = 14002");
  }
  EXPECT_EQ(New(), expected);
  ASSERT_EQ(wVadInitialize(nullptr), 0);  // so that the fixture can free the instance
}

TEST_F(LogLinesTest, EveryTimedCallHasItsPairAndTheTwoUntimedHaveNone) {
  UpEnergy();
  WVadAudioSample audio = {};
  int value = 0;
  char text[64];
  WVadResult* list = nullptr;
  // The pair opens before anything that the call says, and the timer is the last to speak.
  const auto logged = [&](const std::string& name) {
    const std::string log = folder_.read("level.log");
    const size_t enter = log.find("[TRC] TSEG::" + name + " | enter.\n");
    const size_t leave = log.find("[TRC] TSEG::" + name + " | leave.\n[PRF] TSEG::" + name + "  ");
    return enter != std::string::npos && leave != std::string::npos && enter < leave;
  };
  wVadSetParameter(inst_, "wvad_param_nFrameGap", "40");
  wVadGetParameter(inst_, "wvad_param_nFrameGap", text, 64);
  wVadAudioWrite(inst_, nullptr);
  wVadAudioRead(inst_, &audio);
  wVadQueryEPInfo(nullptr, &value, 1);
  wVadGetSilLen(inst_, 0, &value);
  wVADResourceAdd(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  wVADResourceDelete(nullptr, nullptr, nullptr, nullptr, nullptr);
  wVadStop(inst_);
  wVadReset(inst_);
  wVadGetResult(inst_, &list);
  for (const char* name : {"wVadSetParameter", "wVadGetParameter", "wVadAudioWrite", "wVadAudioRead", "wVadQueryEPInfo", "wVadGetSilLen",
                           "wVADResourceAdd", "wVADResourceDelete", "wVadStop", "wVadCreateInst"}) {
    EXPECT_TRUE(logged(name)) << name;
  }
  const std::string log = folder_.read("level.log");
  EXPECT_EQ(log.find("wVadReset"), std::string::npos);
  EXPECT_EQ(log.find("wVadGetResult"), std::string::npos);
  // The inner function of the write has a pair for each chunk, inside that of the write.
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(400, WVAD_WRITE_CONTINUE), 0);
  EXPECT_TRUE(logged("wVadWriteNoAGC"));
  ASSERT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
  EXPECT_TRUE(logged("wVadDestroyInst"));
}

TEST_F(LogLinesTest, StartUpAndShutDown) {
  ConfigureEnergy("Wvad_param_nFrameGap = 41\nno_such_key = 1");
  ASSERT_EQ(wVadInitialize(nullptr), 0);
  Lines lines = New();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(lines[0], "[VBS] WVADInitialize | srlog_inst has been created!!");
  EXPECT_EQ(lines[1], "[WAN] CFG_VAD::init | para not suitable for normal operation, param = Wvad_param_nFrameGap");
  EXPECT_EQ(lines[2], "[WAN] CFG_VAD::init | para not suitable for normal operation, param = no_such_key");
  EXPECT_EQ(lines.back(), "[CRT] TSEGEngine Initialized OK.");
  EXPECT_EQ(wVadInitialize(nullptr), 14001);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadInitialize | g_bInit != Null", Error("WVAD_ERROR_ALREADY_INIT", 14001)}));
  ASSERT_EQ(wVadUninitialize(), 0);
  lines = New();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "[VBS] WVADUninitialize | srlog_close succeed!");
}

TEST_F(LogLinesTest, StartUpWithoutItsFiles) {
  EXPECT_EQ(wVadInitialize(nullptr), 30000);
  const Lines lines = New();
  ASSERT_GE(lines.size(), 5u);
  EXPECT_EQ(lines[1], "[CRT] CFG_VAD::init | Couldn't find cfg_file: w_tseg.cfg");
  EXPECT_EQ(lines[lines.size() - 3], Error("RES_MGR_ERROR_RESOURCE_NOT_EXIST", 30000));
  EXPECT_EQ(lines[lines.size() - 2], "[ERR] WVADInitialize | wVADResourceAdd model file failed, ret = 30000");
  EXPECT_EQ(lines.back(), Error("ret", 30000));
}

TEST_F(LogLinesTest, InstanceControl) {
  UpEnergy();
  wVadCreateInst(nullptr);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadCreateInst | WVADInst = Null", Error("WVAD_ERROR_NULL_HANDLE", 14011)}));
  wVadDestroyInst(nullptr);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadDestroyInst | WVADInst = Null", Error("WVAD_ERROR_NULL_HANDLE", 14011)}));
  wVadStart(nullptr);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadStart | WVADInst handle is NULL. WVAD_ERROR_NULL_HANDLE = 14011"}));
  wVadStop(nullptr);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadStop | WVADInst handle is NULL. WVAD_ERROR_NULL_HANDLE = 14011"}));
  Set("wvad_param_nFrameStartMargin", "-1");
  wVadStart(inst_);
  EXPECT_EQ(New(),
            (Lines{"[ERR] WVADAPI wVadAudioWrite | FrameStartMargin is less than 0 ", Error("WVAD_ERROR_INVALID_PARA_VALUE", 14010)}));
  Set("wvad_param_nFrameEndMargin", "-2147483648");
  wVadStart(inst_);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadAudioWrite | FrameEndMargin is less than 0 ", Error("WVAD_ERROR_INVALID_PARA_VALUE", 14010)}));
  wVadStop(inst_);
  wVadReset(nullptr);
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(New(), Lines{});
  wVadStart(inst_);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadStart | pTsegInst->bInstStart has started", Error("WVAD_ERROR_ALREADY_START", 14003)}));
}

TEST_F(LogLinesTest, SettingParameters) {
  UpEnergy();
  wVadSetParameter(nullptr, "x", "1");
  wVadSetParameter(inst_, nullptr, "1");
  wVadSetParameter(inst_, "x", nullptr);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadSetParameter | wVadInst handle is NULL. WVAD_ERROR_NULL_HANDLE = 14011",
                          "[ERR] wVadSetParameter | para param is NULL. WVAD_ERROR_NULL_HANDLE = 14011",
                          "[ERR] wVadSetParameter | para paramValue is NULL. WVAD_ERROR_NULL_HANDLE = 14011"}));
  Set(std::string(257, 'n').c_str(), "1");
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadSetParameter | param length is too long", Error("WVAD_ERROR_PARAM_TOO_LONG", 14020)}));
  Set("wvad_param_normal_none", "7");
  EXPECT_EQ(New(), (Lines{"[INF] CFG_VAD::set_para_value | para not suitable for normal operation, param = wvad_param_normal_none",
                          "[ERR] WVADAPI wSetParameter | param = wvad_param_normal_none, paramValue = 7",
                          Error("WVAD_ERROR_INVALID_PARA", 14009)}));
  const std::string long_value(257, '1');
  Set("wvad_param_nFrameGap", long_value.c_str());
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadSetParameter | param length is too long", Error("false", 0),
                          "[ERR] WVADAPI wSetParameter | param = wvad_param_nFrameGap, paramValue = " + long_value,
                          Error("WVAD_ERROR_INVALID_PARA", 14009)}));
  Set("no such", "v");
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wSetParameter | param = no such, paramValue = v", Error("WVAD_ERROR_INVALID_PARA", 14009)}));
  Set("VAD_PARAM_MARGIN", "3");
  EXPECT_EQ(New(), (Lines{"[ERR] WVADSetParameter | invalid para, param = VAD_PARAM_MARGIN, param_value = 3", Error("ret", 14017)}));
  Set("wkel_param_sid", "s");  // the component is off
  EXPECT_EQ(New(), (Lines{"[ERR] WVADSetParameter | invalid para, param = wkel_param_sid, param_value = s", Error("ret", 14017)}));
  Set("VAD_PARAM_SAMPLERATE", "16000");
  EXPECT_EQ(New(), Lines{});
  Set("VAD_PARAM_SAMPLERATE", "8000");
  EXPECT_EQ(New(), (Lines{"[WAN] wVadSetParameter | VAD_PARAM_SAMPLERATE warning, nParamValue = 8000 don't match with model"}));
  Set("VAD_PARAM_SAMPLERATE", "8000");  // the rate that the session has
  EXPECT_EQ(New(), Lines{});
  Set("VAD_PARAM_SAMPLERATE", "-1");
  EXPECT_EQ(New(), (Lines{"[WAN] wVadSetParameter | VAD_PARAM_SAMPLERATE warning, nParamValue = -1 don't match with model",
                          "[ERR] wVadSetParameter | VAD_PARAM_SAMPLERATE err, nParamValue = -1 don't support",
                          Error("WVAD_ERROR_INVALID_PARA_VALUE", 14010)}));
  Set("VAD_PARAM_SAMPLERATE", "16000");
  New();
  ASSERT_EQ(wVadStart(inst_), 0);
  Set("wvad_param_nFrameGap", "1");
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadSetParameter | pTsegInst->bInstStart has started", Error("WVAD_ERROR_ALREADY_START", 14003)}));
}

TEST_F(LogLinesTest, ReadingParameters) {
  UpEnergy();
  char text[300] = "old";
  wVadGetParameter(nullptr, "x", text, 8);
  wVadGetParameter(inst_, nullptr, text, 8);
  wVadGetParameter(inst_, "x", nullptr, 8);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadGetParameter | wVadInst handle is NULL. WVAD_ERROR_INVALID_HANDLE = 14012",
                          "[ERR] wVadGetParameter | para param is NULL. WVAD_ERROR_INVALID_HANDLE = 14012",
                          "[ERR] wVadGetParameter | para nParamValue is NULL. WVAD_ERROR_INVALID_HANDLE = 14012"}));
  wVadGetParameter(inst_, "wvad_param_nFrameGap", text, 2);
  EXPECT_EQ(New(), (Lines{"[ERR] CFG_VAD::get_para_value | err, param = wvad_param_nFrameGap, need buff = 3", Error("false", 0)}));
  wVadGetParameter(inst_, "wvad_param_normal_none", text, 300);
  EXPECT_EQ(New(), (Lines{"[INF] CFG_VAD::get_para_value | para not suitable for normal operation, param = wvad_param_normal_none"}));
  wVadGetParameter(inst_, "no such", text, 300);
  EXPECT_EQ(New(),
            (Lines{"[ERR] wVadGetParameter | invalid para , param = no such, value = old", Error("WVAD_ERROR_INVALID_PARA", 14009)}));
  wVadGetParameter(inst_, "VAD_PARAM_SID", text, 9);
  EXPECT_EQ(New(), (Lines{"[ERR] wGetParameter | err, param = VAD_PARAM_SID, need buff = 10", Error("WVAD_ERROR_BUF_NOT_ENOUGH", 14013)}));
  wVadGetParameter(inst_, "wkel_param_sid", text, 300);
  EXPECT_EQ(New(), (Lines{"[WAN] wVadGetParameter | wKelInst is Null"}));
  wVadGetParameter(inst_, "wkel_param_sampleRate", text, 3);
  EXPECT_EQ(New(), (Lines{"[ERR] CFG_VAD::get_para_value | err, param = wkel_param_sampleRate, need buff = 6", Error("false", 0),
                          "[WAN] wVadGetParameter | wKelInst is Null"}));
  wVadGetParameter(inst_, "wkel_param_normal_count", text, 1);  // outside the three that the component knows
  EXPECT_EQ(New(), (Lines{"[ERR] CFG_VAD::get_para_value | err, param = wkel_param_normal_count, need buff = 2", Error("false", 0)}));
  EXPECT_STREQ(text, "old");
}

TEST_F(LogLinesTest, WritingAndReadingAudio) {
  UpEnergy();
  WVadAudioSample audio = {};
  wVadAudioWrite(inst_, nullptr);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadAudioWrite | audio = Null", Error("WVAD_ERROR_INVALID_PARA", 14009)}));
  wVadAudioWrite(inst_, &audio);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadAudioWrite | pTsegInst->bInstStart == Null", Error("WVAD_ERROR_NOT_START", 14004)}));
  wVadAudioRead(nullptr, &audio);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadAudioRead | WVADInst = Null", Error("WVAD_ERROR_NULL_HANDLE", 14011)}));
  wVadAudioRead(inst_, nullptr);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadAudioRead | audio = Null", Error("WVAD_ERROR_INVALID_PARA", 14009)}));
  wVadAudioRead(inst_, &audio);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadAudioRead | pTsegInst->bInstStart != Null", Error("WVAD_ERROR_NOT_START", 14004)}));
  ASSERT_EQ(wVadStart(inst_), 0);
  audio.len = 1;
  wVadAudioWrite(inst_, &audio);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadAudioWrite | audio sample len is not even number ",
                          Error("WVAD_ERROR_WRITE_LENGTH_NOT_EVEN", 14021)}));
  ASSERT_EQ(WriteSilence(400, WVAD_WRITE_CONTINUE), 0);
  EXPECT_EQ(New(), Lines{});
  ASSERT_EQ(WriteSilence(400, 3), 0);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadAudioWrite | audiosample status not support"}));
  ASSERT_EQ(WriteSilence(400, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(New(), Lines{});
  WriteSilence(400, WVAD_WRITE_LAST);
  EXPECT_EQ(New(), (Lines{"[WAN] WVADAudioWrite | pTsegInst->bAudioFinish = 1 pTsegInst->bTimeOut = 0",
                          "[WAN] Warning! The warn string is -> WVAD_ERROR_AUDIO_ENOUGH = 14014"}));
  ASSERT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(New(), (Lines{"[CRT] TSEG::wVadWriteNoAGC | audio time = 0 min."}));
}

TEST_F(LogLinesTest, ModelTypeWithoutALoop) {
  UpEnergy();
  ASSERT_EQ(Set("wvad_param_TsegModelType", "DNN_fb75"), 0);  // the case counts
  ASSERT_EQ(wVadStart(inst_), 0);
  New();
  ASSERT_EQ(WriteSilence(400, WVAD_WRITE_CONTINUE), 0);
  EXPECT_EQ(New(), (Lines{"[ERR] wVadAudioWrite | wReadProcess 14007", Error("WVAD_ERROR_RESOURCE_TYPE", 14007)}));
}

TEST_F(LogLinesTest, Queries) {
  UpEnergy();
  int value = 0;
  wVadQueryEPInfo(nullptr, &value, 1);
  EXPECT_EQ(New().front(), "[ERR] WVADAPI wVadQueryEPInfo | WVAD = Null");
  wVadQueryEPInfo(inst_, nullptr, 1);
  EXPECT_EQ(New().front(), "[ERR] WVADAPI wVadQueryEPInfo | nEndPoints = Null");
  wVadQueryEPInfo(inst_, &value, 1);
  EXPECT_EQ(New().front(), "[ERR] WVADAPI wVadQueryEPInfo | pTsegInst->bInstStart != Null");
  wVadGetSilLen(nullptr, 0, &value);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadGetSilLen | WVAD = Null", Error("WVAD_ERROR_NULL_HANDLE", 14011)}));
  wVadGetSilLen(inst_, -2147483647 - 1, &value);
  EXPECT_EQ(New(), (Lines{"[ERR] WVADAPI wVadGetSilLen | nIndexPause should >=0", Error("WVAD_ERROR_INVALID_PARA", 14009)}));
}

TEST_F(LogLinesTest, ForceSpliceIsAWarning) {
  UpEnergy();
  ASSERT_EQ(Set("wvad_param_nSpeechTimeOut", "1000"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  const std::vector<int16_t> signal = Bursts(4, {{0.1, 3.9}});
  ASSERT_EQ(Write(signal.data(), signal.size(), WVAD_WRITE_CONTINUE), 0);
  const Lines lines = New();
  ASSERT_FALSE(lines.empty());
  for (const std::string& line : lines) {
    EXPECT_EQ(line, "[WAN] wVadProcess | pTsegInst->nCurSpeechFrameNum > pTsegInst->nParamSpeechTimeOut/10, force splice");
  }
}

TEST_F(LogLinesTest, AudioQuality) {
  UpEnergy("wvad_param_bKelOn = 1\n[kel]\nnot_a_key = 1");
  ASSERT_EQ(Set("VAD_PARAM_SID", "s"), 0);
  EXPECT_EQ(New(), Lines{});
  char text[32] = "";
  ASSERT_EQ(wVadGetParameter(inst_, "wkel_param_sid", text, 32), 0);
  EXPECT_EQ(New(), (Lines{"[INF] wMLPParameterGet | getParameter OK, param = wkel_param_sid, value = s"}));
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(New(),
            (Lines{"[ERR] KelInst::stop | not start Inst", Error("WKEL_ERROR_NOT_START", 15004), "[ERR] wVadStop | wKelStop failed"}));
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(Write(nullptr, 0, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(New(),
            (Lines{"[CRT] TSEG::wVadWriteNoAGC | audio time = 0 min.", "[CRT] TSEG::KelInst::GetLoopBufferData | audio time = 0 min."}));
  ASSERT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
  ASSERT_EQ(wVadUninitialize(), 0);
  const Lines lines = New();
  EXPECT_EQ(lines.back(), "[VBS] wKelUninitialize | srlog_close succeed!");
}

TEST_F(LogLinesTest, AudioQualityOpensBeforeTheModel) {
  ConfigureEnergy("wvad_param_bKelOn = 1\n[kel]\nWkel_param_sampleRate = 16000");
  ASSERT_EQ(wVadInitialize(nullptr), 0);
  const Lines lines = New();
  size_t opened = 0, warned = 0, added = 0;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (lines[i] == "[VBS] wKelInitialize | srlog_inst has been created!!") opened = i;
    if (lines[i] == "[WAN] CFG_KEL::init | para not suitable for normal operation, param = Wkel_param_sampleRate") warned = i;
    if (lines[i].compare(0, 21, "[INF] ResAdd begin: s") == 0) added = i;
  }
  EXPECT_GT(opened, 0u);
  EXPECT_GT(warned, opened);
  EXPECT_GT(added, warned);
}

}  // namespace
}  // namespace TSEG::testing_support
