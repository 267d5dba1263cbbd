// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <system_error>

#include "support/engine_fixture.h"

namespace TSEG::testing_support {
namespace {

using LifecycleTest = EngineTest;

TEST_F(LifecycleTest, SecondInitializeIsRefusedAndChangesNothing) {
  Up();
  EXPECT_EQ(wVadInitialize(nullptr), 14001);
  EXPECT_TRUE(LoggedFailure("WVADAPI wVadInitialize | g_bInit != Null", "WVAD_ERROR_ALREADY_INIT", 14001));
  EXPECT_EQ(wVadCreateInst(&inst_), 0);
}

TEST_F(LifecycleTest, UninitializeOnADownEngineOpensNoScope) {
  EXPECT_EQ(wVadUninitialize(), 14002);
  EXPECT_EQ(Log(), "wVadUninitialize | Engine hasn't init. WVAD_ERROR_NOT_INIT = 14002\n");
}

TEST_F(LifecycleTest, ResetAndResourceEntriesGiveZeroInAnyStateOnAnyArguments) {
  EXPECT_EQ(wVadReset(nullptr), 0);
  EXPECT_EQ(wVADResourceAdd(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(wVADResourceDelete(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_TRUE(Logged("TSEG::wVADResourceAdd | enter."));
  EXPECT_TRUE(Logged("TSEG::wVADResourceDelete | leave."));
  UpWithInstance();
  EXPECT_EQ(wVadReset(inst_), 0);
  int word = 0;
  EXPECT_EQ(wVADResourceAdd(&word, &word, &word, &word, &word, &word), 0);
  EXPECT_EQ(wVADResourceDelete(&word, &word, &word, &word, &word), 0);
}

TEST_F(LifecycleTest, LoggerThatIsOpenAlreadyIsFoundAndNotReplaced) {
  Up();
  EXPECT_TRUE(Logged("WVADInitialize | srlog_inst has been created!!"));
  EXPECT_TRUE(Logged("TSEGEngine Initialized OK."));
  EXPECT_TRUE(Logged("TSEG::wVadInitialize | enter."));
  EXPECT_TRUE(Logged("TSEG::wVadInitialize | leave."));
}

TEST_F(LifecycleTest, MissingModelFileFailsWithTheManagersCodeAndTheEngineStaysDown) {
  Configure(folder_.file("no_such_model.bin"));
  EXPECT_EQ(wVadInitialize(nullptr), 30000);
  EXPECT_TRUE(LoggedFailure("WVADInitialize | wVADResourceAdd model file failed, ret = 30000", "ret", 30000));
  EXPECT_EQ(wVadCreateInst(&inst_), 14002);
  // A second attempt runs all steps again.
  Up();
}

TEST_F(LifecycleTest, WithoutAConfigurationTheModelPathEndsInAFolder) {
  EXPECT_EQ(wVadInitialize(nullptr), 30000);
  EXPECT_TRUE(Logged("CFG_VAD::init | Couldn't find cfg_file: w_tseg.cfg"));
}

TEST_F(LifecycleTest, AbsentConfigurationFileLeavesWhatStandsAndStarts) {
  Up("models/dnn.bin", "wvad_param_nFrameGap = 50");
  EXPECT_EQ(wVadUninitialize(), 0);
  Recapture();
  std::filesystem::remove(folder_.file("w_tseg.cfg"));
  // What an earlier start read still names the model.
  EXPECT_EQ(wVadInitialize(nullptr), 0);
  EXPECT_TRUE(Logged("CFG_VAD::init | Couldn't find cfg_file: w_tseg.cfg"));
  ASSERT_EQ(wVadCreateInst(&inst_), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "50");
}

TEST_F(LifecycleTest, RefusedInitializeOpensNoScope) {
  Up();
  EXPECT_EQ(CountLogged("TSEG::wVadInitialize | enter."), 1u);
  EXPECT_EQ(wVadInitialize(nullptr), 14001);
  EXPECT_EQ(CountLogged("TSEG::wVadInitialize | enter."), 1u);
}

TEST_F(LifecycleTest, FailedStartLeavesTheEngineDownForEveryCall) {
  Configure(folder_.file("no_such_model.bin"));
  EXPECT_EQ(wVadInitialize(nullptr), 30000);
  EXPECT_EQ(wVadUninitialize(), 14002);
  EXPECT_EQ(wVadCreateInst(&inst_), 14002);
  EXPECT_EQ(inst_, nullptr);
  EXPECT_EQ(wVadInitialize(nullptr), 30000);
  Up();
  EXPECT_EQ(wVadCreateInst(&inst_), 0);
}

TEST_F(LifecycleTest, ComesUpAgainAfterUninitializeAndReadsTheFileAgain) {
  Up("models/dnn.bin", "wvad_param_nFrameGap = 50");
  ASSERT_EQ(wVadCreateInst(&inst_), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "50");
  EXPECT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
  EXPECT_EQ(wVadUninitialize(), 0);
  Up("models/dnn.bin", "wvad_param_nFrameGap = 60");
  ASSERT_EQ(wVadCreateInst(&inst_), 0);
  EXPECT_EQ(Get("wvad_param_nFrameGap"), "60");
}

TEST_F(LifecycleTest, ClosingLineComesBeforeTheLogCloses) {
  Up();
  EXPECT_EQ(wVadUninitialize(), 0);
  EXPECT_TRUE(Logged("WVADUninitialize | srlog_close succeed!"));
  EXPECT_FALSE(srlog_exists());
}

TEST_F(LifecycleTest, InstanceThatOutlivesTheEngineIsRefusedEverywhere) {
  UpWithInstance();
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(wVadUninitialize(), 0);
  WVadAudioSample audio = {};
  int length = 0;
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14002);
  EXPECT_EQ(wVadAudioRead(inst_, &audio), 14002);
  EXPECT_EQ(wVadSetParameter(inst_, "wvad_param_nFrameGap", "1"), 14002);
  EXPECT_EQ(wVadStart(inst_), 14002);
  EXPECT_EQ(wVadStop(inst_), 14002);
  EXPECT_EQ(wVadGetSilLen(inst_, 0, &length), 14002);
  EXPECT_EQ(wVadQueryEPInfo(inst_, &length, 1), 0);
  EXPECT_EQ(wVadDestroyInst(inst_), 14002);
  // Up again, its session has no model any more: writing is refused, and it can be stopped, started and destroyed.
  Up();
  EXPECT_EQ(wVadAudioWrite(inst_, &audio), 14004);
  EXPECT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(WriteSilence(1600, WVAD_WRITE_LAST), 0);
}

TEST_F(LifecycleTest, GoesUpAndDownManyTimesInOneProcess) {
  for (int i = 0; i < 50; ++i) {
    Up();
    ASSERT_EQ(wVadCreateInst(&inst_), 0);
    ASSERT_EQ(wVadStart(inst_), 0);
    ASSERT_EQ(WriteSilence(8000, WVAD_WRITE_LAST), 0);
    ASSERT_EQ(wVadDestroyInst(inst_), 0);
    inst_ = nullptr;
    ASSERT_EQ(wVadUninitialize(), 0);
  }
}

TEST_F(LifecycleTest, AudioQualityIsTouchedOnlyWhenItIsConfigured) {
  Up();
  EXPECT_EQ(Log().find("wKelInitialize |"), std::string::npos);
  EXPECT_EQ(wVadUninitialize(), 0);
  EXPECT_EQ(Log().find("wKelUninitialize |"), std::string::npos);
}

TEST_F(LifecycleTest, AudioQualityClosesTheLogFirstWhenItIsConfigured) {
  Up("models/dnn.bin", "wvad_param_bKelOn = 1");
  EXPECT_TRUE(Logged("wKelInitialize | srlog_inst has been created!!"));
  EXPECT_EQ(wVadUninitialize(), 0);
  EXPECT_TRUE(Logged("wKelUninitialize | srlog_close succeed!"));
  EXPECT_FALSE(Logged("WVADUninitialize | srlog_close succeed!"));
}

TEST_F(LifecycleTest, ModelWithoutItsSevenValuesIsTooOld) {
  std::string bytes;
  {
    std::ifstream in(DataFile("models/dnn.bin"), std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  const size_t header = static_cast<uint8_t>(bytes[2]) + 256u * static_cast<uint8_t>(bytes[3]);
  const size_t keys = header + 12376;
  const size_t values = header + 12888;
  struct Case {
    const char* what;
    size_t at;
    const char* text;
    const char* line;
  };
  const Case cases[] = {
      {"row 6 has another key", keys + 6 * 16, "7", "model_res_config_load | model insert name do not exist"},
      {"row 0 has no key", keys, "", "model_res_config_load | model insert name do not exist"},
      {"row 3 has a key without an end", keys + 3 * 16, "3333333333333333", "model_res_config_load | model insert name do not exist"},
      {"the rate has no end", values + 4 * 16, "1600000000000000", "model_res_config_load | model insert param error"},
      {"the rate is not a number", values + 4 * 16, "16k", "model_res_config_load | model insert param error"},
      {"a switch is neither 0 nor 1", values, "yes", "model_res_config_load | model insert param error"},
  };
  for (const Case& c : cases) {
    std::string changed = bytes;
    std::memset(&changed[c.at], 0, 16);
    std::memcpy(&changed[c.at], c.text, std::strlen(c.text));
    Configure(folder_.write("model.bin", changed));
    EXPECT_EQ(wVadInitialize(nullptr), 30007) << c.what;
    EXPECT_TRUE(LoggedFailure(c.line, "RES_MGR_ERROR_RESOURCE_TOO_OLD", 30007)) << c.what;
    EXPECT_TRUE(LoggedFailure("WVADInitialize | wVADResourceAdd model too old, ret = 30007", "ret", 30007)) << c.what;
  }
  Up();
}

TEST_F(LifecycleTest, ModelWhoseValuesNameAnotherNetworkIsRefused) {
  std::string bytes;
  {
    std::ifstream in(DataFile("models/dnn.bin"), std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  const size_t header = static_cast<uint8_t>(bytes[2]) + 256u * static_cast<uint8_t>(bytes[3]);
  bytes[header + 12888 + 16] = '1';  // the recurrent network, which the file does not hold
  Configure(folder_.write("model.bin", bytes));
  EXPECT_EQ(wVadInitialize(nullptr), 30003);
  Up();
}

TEST_F(LifecycleTest, ConfigurationOfAnyBytesNeverFailsTheStart) {
  std::string noise("\x00\xff[vad]\n=\n==\n[\n]\n[vad\nwvad_param_nFrameGap\x01=\xf0\n", 46);
  for (int i = 0; i < 5000; ++i) noise += static_cast<char>((i * 7919) >> 3);
  folder_.write("w_tseg.cfg", noise);
  EXPECT_EQ(wVadInitialize(nullptr), 30000);
  Up();
}

TEST_F(LifecycleTest, VanishedCurrentFolderLeavesTheEngineUsable) {
  Up();
  ASSERT_EQ(wVadCreateInst(&inst_), 0);
  const std::filesystem::path gone = folder_.file("gone");
  std::filesystem::create_directory(gone);
  std::filesystem::current_path(gone);
  std::error_code refused;
  std::filesystem::remove(gone, refused);
  if (refused && std::filesystem::path::preferred_separator == '\\') {
    std::filesystem::current_path(folder_.path());
    GTEST_SKIP() << "Windows keeps a folder that is somebody's current one";
  }
  ASSERT_FALSE(refused) << refused.message();
  ASSERT_EQ(wVadStart(inst_), 0);
  EXPECT_EQ(WriteSilence(1600, WVAD_WRITE_LAST), 0);
  EXPECT_EQ(wVadStop(inst_), 0);
  EXPECT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
  EXPECT_EQ(wVadUninitialize(), 0);
  // The configuration cannot be found from here; what an earlier start read still stands, the model among it.
  EXPECT_EQ(wVadInitialize(nullptr), 0);
  std::filesystem::current_path(folder_.path());
}

}  // namespace
}  // namespace TSEG::testing_support
