// SPDX-License-Identifier: Apache-2.0
//
// The sections "resMgr", "heterogeneous" and "numa" of the configuration file.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <string>

#include "res/cfg_resmgr.h"
#include "res/cpu_singleton.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using testing_support::LogCapture;
using testing_support::TempFolder;

// A current folder of its own.
class ResConfig : public ::testing::Test {
 protected:
  ResConfig() : previous_(std::filesystem::current_path()) { std::filesystem::current_path(folder_.path()); }
  ~ResConfig() override { std::filesystem::current_path(previous_); }
  void File(const std::string& text) { folder_.write("w_tseg.cfg", text); }
  void Device(const std::string& entries) { File("[heterogeneous]\n" + entries + "\n"); }

  TempFolder folder_;
  LogCapture log_;

 private:
  std::filesystem::path previous_;
};

const char* const kUnsuitable = "CFG_RESMGR::init | para not suitable for normal operation, param = ";
const char* const kUnsupported = "CPUSingleton::CPUSingleton | Unsupported device configuration";
const char* const kPowerOfTwo = "Device Choice Must be 2^n,now use CPU Choice";

TEST_F(ResConfig, WithoutAFileTheDefaultsStay) {
  CFG_RESMGR cfg;
  cfg.init();
  EXPECT_EQ(log_.CountLines("CFG_RESMGR::init | Couldn't find cfg_file: w_tseg.cfg"), 1) << log_.Text();
  EXPECT_EQ(cfg.timeThreshold, 100.0F);
  EXPECT_TRUE(cfg.is_calc_md5);
  EXPECT_FALSE(cfg.resetUseNvidiaGPUAvailable);
  EXPECT_TRUE(std::isinf(cfg.PersonalLMWeight));
  EXPECT_EQ(cfg.normal_none, 0);
  EXPECT_EQ(cfg.normal_count, 0);
}

TEST_F(ResConfig, AMissingFileIsToldAtLevelInf) {
  srlog_close();
  {
    const LogCapture others(LogCapture::kAllLevels & ~uint32_t{kLogInf});
    CFG_RESMGR().init();
    EXPECT_EQ(others.Text(), "");
  }
  const LogCapture info(kLogInf);
  CFG_RESMGR().init();
  EXPECT_EQ(info.CountLines("CFG_RESMGR::init | Couldn't find cfg_file: w_tseg.cfg"), 1);
}

TEST_F(ResConfig, AFolderOfThatNameIsNoFile) {
  std::filesystem::create_directory(folder_.file("w_tseg.cfg"));
  CFG_RESMGR().init();
  EXPECT_EQ(log_.CountLines("CFG_RESMGR::init | Couldn't find cfg_file: w_tseg.cfg"), 1);
}

TEST_F(ResConfig, ReadsItsSection) {
  File(
      "[vad]\nwresMgr_param_is_calc_md5 = true\n[resMgr]\nwresMgr_param_normal_none = 12\nwresMgr_param_personal_timeThreshold = 2.5\n"
      "wresMgr_param_is_calc_md5 = false\nwresMgr_param_resetUseNvidiaGPUAvailable = 1\nwresMgr_param_PersonalLMWeight = 0.25\n"
      "wresMgr_param_normal_count = 010\n");
  CFG_RESMGR cfg;
  cfg.init();
  EXPECT_EQ(cfg.normal_none, 12);
  EXPECT_EQ(cfg.timeThreshold, 2.5F);
  EXPECT_FALSE(cfg.is_calc_md5);
  EXPECT_TRUE(cfg.resetUseNvidiaGPUAvailable);
  EXPECT_EQ(cfg.PersonalLMWeight, 0.25F);
  EXPECT_EQ(cfg.normal_count, 10);  // decimal
  // The end of the table is read although it is warned of.
  EXPECT_EQ(log_.CountLines(std::string(kUnsuitable) + "wresMgr_param_normal_count"), 1) << log_.Text();
  EXPECT_EQ(log_.Count(kUnsuitable), 1);
}

TEST_F(ResConfig, WarnsOfStrangersAndGoesOn) {
  File("[resMgr]\nstranger = 1\nWRESMGR_PARAM_IS_CALC_MD5 = 0\nwresMgr_param_PersonalLMWeight =\n");
  CFG_RESMGR cfg;
  cfg.init();
  EXPECT_EQ(log_.CountLines(std::string(kUnsuitable) + "stranger"), 1) << log_.Text();
  EXPECT_EQ(log_.CountLines(std::string(kUnsuitable) + "WRESMGR_PARAM_IS_CALC_MD5"), 1);
  EXPECT_FALSE(cfg.is_calc_md5);  // found without regard to case
  EXPECT_TRUE(std::isinf(cfg.PersonalLMWeight));
}

TEST_F(ResConfig, FourValuesCanBeSetAndRead) {
  CFG_RESMGR cfg;
  char text[64];
  const struct {
    const char* name;
    const char* value;
    const char* read;
  } kRows[] = {{"wresMgr_param_personal_timeThreshold", "0.1", "0.100000001"},
               {"wresMgr_param_is_calc_md5", "0", "0"},
               {"wresMgr_param_resetUseNvidiaGPUAvailable", "true", "1"},
               {"wresMgr_param_PersonalLMWeight", "2", "2"}};
  EXPECT_TRUE(cfg.get_para_value("wresMgr_param_PersonalLMWeight", text, sizeof text));
  EXPECT_STREQ(text, "inf");
  for (const auto& row : kRows) {
    EXPECT_TRUE(cfg.set_para_value(row.name, row.value)) << row.name;
    EXPECT_TRUE(cfg.get_para_value(row.name, text, sizeof text)) << row.name;
    EXPECT_STREQ(text, row.read) << row.name;
  }
}

TEST_F(ResConfig, AValueIsSetAsTheFileWouldSetIt) {
  CFG_RESMGR cfg;
  const struct {
    const char* value;
    float number;
    bool flag;
  } kRows[] = {{"2.5", 2.5F, true}, {"3x", 3.0F, true}, {"x", 0.0F, false}, {"", 0.0F, false}, {"0x10", 16.0F, true}, {"true", 0.0F, true}};
  for (const auto& row : kRows) {
    EXPECT_TRUE(cfg.set_para_value("wresMgr_param_personal_timeThreshold", row.value)) << row.value;
    EXPECT_TRUE(cfg.set_para_value("wresMgr_param_resetUseNvidiaGPUAvailable", row.value)) << row.value;
    EXPECT_EQ(cfg.timeThreshold, row.number) << row.value;
    EXPECT_EQ(cfg.resetUseNvidiaGPUAvailable, row.flag) << row.value;
  }
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(ResConfig, NoNameAndNoValueAreRefused) {
  CFG_RESMGR cfg;
  char text[8];
  EXPECT_FALSE(cfg.set_para_value(nullptr, "1"));
  EXPECT_FALSE(cfg.set_para_value("wresMgr_param_is_calc_md5", nullptr));
  EXPECT_FALSE(cfg.get_para_value(nullptr, text, sizeof text));
  EXPECT_FALSE(cfg.get_para_value("wresMgr_param_is_calc_md5", nullptr, 8));
  EXPECT_EQ(log_.Text(),
            "CFG_RESMGR::set_para_value | para not suitable for normal operation, param = \n"
            "CFG_RESMGR::set_para_value | para not suitable for normal operation, param = wresMgr_param_is_calc_md5\n"
            "CFG_RESMGR::get_para_value | para not suitable for normal operation, param = \n"
            "CFG_RESMGR::get_para_value | para not suitable for normal operation, param = wresMgr_param_is_calc_md5\n");
}

TEST_F(ResConfig, OtherNamesCanNeitherBeSetNorRead) {
  CFG_RESMGR cfg;
  char text[8] = "same";
  for (const char* name :
       {"wresMgr_param_normal_none", "wresMgr_param_normal_count", "wresMgr_param_special_none", "wresmgr_param_is_calc_md5", ""}) {
    EXPECT_FALSE(cfg.set_para_value(name, "1")) << name;
    EXPECT_FALSE(cfg.get_para_value(name, text, sizeof text)) << name;
    EXPECT_EQ(log_.CountLines(std::string("CFG_RESMGR::set_para_value | para not suitable for normal operation, param = ") + name), 1)
        << log_.Text();
    EXPECT_EQ(log_.CountLines(std::string("CFG_RESMGR::get_para_value | para not suitable for normal operation, param = ") + name), 1);
  }
  EXPECT_STREQ(text, "same");
  EXPECT_EQ(cfg.normal_none, 0);
}

TEST_F(ResConfig, AValueMayHave256Characters) {
  CFG_RESMGR cfg;
  EXPECT_TRUE(cfg.set_para_value("wresMgr_param_is_calc_md5", std::string(256, '0').c_str()));
  EXPECT_FALSE(cfg.set_para_value("wresMgr_param_is_calc_md5", std::string(257, '0').c_str()));
  EXPECT_EQ(log_.Failures("WVADAPI wVadSetParameter | param length is too long", "false", 0), 1) << log_.Text();
}

TEST_F(ResConfig, ABufferNeedsRoomForTheTerminator) {
  const CFG_RESMGR cfg;
  char text[8] = "same";
  EXPECT_FALSE(cfg.get_para_value("wresMgr_param_personal_timeThreshold", text, 3));
  EXPECT_STREQ(text, "same");
  EXPECT_EQ(log_.Failures("CFG_RESMGR::get_para_value | err, param = wresMgr_param_personal_timeThreshold, need buff = 4", "false", 0), 1)
      << log_.Text();
  EXPECT_TRUE(cfg.get_para_value("wresMgr_param_personal_timeThreshold", text, 4));
  EXPECT_STREQ(text, "100");
}

TEST_F(ResConfig, TheDeviceIsTheProcessorByDefault) {
  const CPUSingleton cpu;
  EXPECT_EQ(cpu.nDevice, 1);
  EXPECT_EQ(cpu.nDeviceId, -1);
  EXPECT_FALSE(cpu.bUseGpu);
  EXPECT_FALSE(cpu.bGpuAvailable);
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(ResConfig, DevicesOtherThanTheProcessorsAreTold) {
  const struct {
    const char* device;
    int nDevice;
    int power_lines;
    int unsupported_lines;
  } kRows[] = {{"1", 1, 0, 0}, {"2", 2, 0, 1}, {"3", 1, 1, 0},   {"4", 4, 0, 0}, {"5", 1, 1, 0},
               {"8", 1, 1, 0}, {"0", 0, 0, 1}, {"-1", -1, 0, 1}, {"x", 0, 0, 1}, {"0x4", 0, 0, 1}};
  int power = 0;
  int unsupported = 0;
  for (const auto& row : kRows) {
    Device(std::string("device = ") + row.device);
    const CPUSingleton cpu;
    EXPECT_EQ(cpu.nDevice, row.nDevice) << row.device;
    EXPECT_EQ(cpu.bUseGpu, row.nDevice == 4) << row.device;
    EXPECT_EQ(cpu.bGpuAvailable, row.nDevice == 4) << row.device;
    EXPECT_EQ(cpu.nDeviceId, row.nDevice == 4 ? 0 : -1) << row.device;
    power += row.power_lines;
    unsupported += row.unsupported_lines;
    EXPECT_EQ(log_.CountLines(kPowerOfTwo), power) << row.device;
    EXPECT_EQ(log_.CountLines(kUnsupported), unsupported) << row.device;
  }
}

TEST_F(ResConfig, ADeviceNumberIsKept) {
  Device("device = 4\ndevice_id = 3");
  EXPECT_EQ(CPUSingleton().nDeviceId, 3);
  Device("device_id = 3");
  EXPECT_EQ(CPUSingleton().nDeviceId, 3);
}

TEST_F(ResConfig, TheDefaultStrategyBindsSevenNames) {
  const std::map<std::string, uint32_t> expected = {{"mlpres", 0xFFFFu},        {"mlpexe", 0xFFFFFu},    {"mlpdecode", 0xFFFFFu},
                                                    {"decres", 0xFFFF0000u},    {"decexe", 0xFFF00000u}, {"generalres", 0xFFFF0000u},
                                                    {"generalexe", 0xFFF00000u}};
  EXPECT_EQ(CPUSingleton().bind_strategy, expected);
}

TEST_F(ResConfig, AStrategyIsReadFromItsEnd) {
  const struct {
    const char* text;
    uint32_t mask;  // of "a", 0 if there is none
    const char* printed;
  } kRows[] = {
      {"a:0x1F", 0x1F, ""},
      {"a:1f", 0x1F, ""},
      {"a:ABCdef01", 0xABCDEF01, ""},
      {"a:9x10", 0x10, ""},  // the "x" ends it, whatever stands before
      {"a:1x0", 0, "parse_bing_stragy_str |Check bind value 1x0 error \n"},
      {"a:0x0", 0, "parse_bing_stragy_str |Check bind value 0x0 error \n"},
      {"a:0x1G", 0, "parse_bing_stragy_str |Check bind value 0x1G error \n"},
      {"a:", 0, "parse_bing_stragy_str |Check bind value  error \n"},
      {"a", 0, "parse_bing_stragy_str |Check bind value a error \n"},
      {"a:1:2", 2, ""},  // split at the first colon alone, and ":" is no digit
      {"a:1|a:2", 2, ""},
      {"b|a:3", 3, "parse_bing_stragy_str |Check bind value b error \n"},
      {"a:3|", 3, "parse_bing_stragy_str |Check bind value  error \n"},
      {"a:112345678", 0x12345678, ""},  // a ninth digit has no place
  };
  for (const auto& row : kRows) {
    CPUSingleton cpu;
    cpu.bind_strategy.clear();
    ::testing::internal::CaptureStdout();
    cpu.parse_bing_stragy_str(row.text);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), row.printed) << row.text;
    const std::map<std::string, uint32_t> expected = {{"a", row.mask}};
    EXPECT_EQ(cpu.bind_strategy, row.mask == 0 ? (std::map<std::string, uint32_t>()) : expected) << row.text;
  }
}

TEST_F(ResConfig, TheStrategyComesFromTheFile) {
  File("[numa]\nbind_stragy = mlpres:0x3\n");
  EXPECT_EQ(CPUSingleton().bind_strategy, (std::map<std::string, uint32_t>{{"mlpres", 3u}}));
}

}  // namespace
}  // namespace TSEG
