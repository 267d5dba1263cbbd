// SPDX-License-Identifier: Apache-2.0
#include "wvad/engine_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

class EngineConfig : public ::testing::Test {
 protected:
  std::string Refusal(const std::string& path, bool endpoint = false) {
    try {
      ReadConfiguration(path, endpoint, true);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::kBadParameter);
      return failure.what();
    }
    return "";
  }
  std::string OfText(const std::string& text, bool endpoint = false) { return Refusal(folder_.write("my.cfg", text), endpoint); }

  testing_support::TempFolder folder_;
};

TEST_F(EngineConfig, WhatTheEngineUnderstandsIsTaken) {
  const std::string text =
      "# a comment\n\n  ; another\r\n[VAD]\nwvad_param_nFrameGap = 0x50\r\n wvad_param_isTsegDoCMN=true \n"
      "wvad_param_debug_log_filename = \"a file\"\nwvad_param_vad_threshold=\n[kel]\nwkel_param_snr_threshold = 5.5\n"
      "[resMgr]\nwresMgr_param_is_calc_md5 = false\n[heterogeneous]\ndevice = 1\n";
  EXPECT_EQ(ReadConfiguration(folder_.write("my.cfg", text), false, true), text);
  EXPECT_EQ(ReadConfiguration("", false, true), "");
  EXPECT_EQ(OfText(""), "");
  EXPECT_EQ(OfText("[vad]"), "");
}

TEST_F(EngineConfig, WhatIsNoneIsRefusedWithItsLine) {
  using ::testing::EndsWith;
  EXPECT_THAT(OfText("[vad]\nwvad_param_nFrameGap = abc\n"),
              EndsWith("my.cfg, line 2: wvad_param_nFrameGap: \"abc\" is not a whole number (0 to 6000 frames)"));
  EXPECT_THAT(OfText("[vad]\nwvad_param_nFrameGap = -5\n"),
              EndsWith("line 2: wvad_param_nFrameGap: \"-5\" is out of range (0 to 6000 frames)"));
  EXPECT_THAT(OfText("[vad]\n\nwvad_param_nFrameGab = 4\n"),
              EndsWith("line 3: wvad_param_nFrameGab: there is no such parameter in section \"vad\""));
  EXPECT_THAT(OfText("[vad]\nVAD_PARAM_SPEECHGAP = 4\n"), EndsWith("there is no such parameter in section \"vad\""));
  EXPECT_THAT(OfText("[vda]\n"), EndsWith("line 1: there is no section \"vda\" (vad, kel, resMgr, heterogeneous, numa)"));
  EXPECT_THAT(OfText("[vad\n"), EndsWith("line 1: a section that is not closed by ]"));
  EXPECT_THAT(OfText("wvad_param_nFrameGap = 4\n"), EndsWith("line 1: stands before any section, so that nobody reads it"));
  EXPECT_THAT(OfText("[vad]\nspeech\n"), EndsWith("line 2: expected name = value, [section] or a comment"));
  EXPECT_THAT(OfText("[resMgr]\nx = 4\n"), EndsWith("there is no such parameter in section \"resmgr\""));
}

TEST_F(EngineConfig, WhatIsNotTheUsersIsRefusedAsInSettings) {
  EXPECT_THAT(OfText("[vad]\nwvad_param_isTsegLstm = 1\n"), ::testing::HasSubstr("settled by the model"));
  for (const char* on : {"1", "true", "0x1", "01"}) {
    EXPECT_THAT(OfText(std::string("[vad]\nwvad_param_isDebugWatch = ") + on + "\n"), ::testing::HasSubstr("clients of the library"));
  }
  for (const char* off : {"0", "false", "", "0x0", "00"}) {
    EXPECT_EQ(OfText(std::string("[vad]\nwvad_param_isDebugWatch = ") + off + "\n"), "");
  }
  EXPECT_THAT(OfText("[vad]\nwvad_param_nSpeechTailMS = 500\n"), ::testing::HasSubstr("--endpoint only"));
  EXPECT_EQ(OfText("[vad]\nwvad_param_nSpeechTailMS = 500\n", true), "");
  // A w_tseg.cfg names its model, which --model replaces.
  EXPECT_EQ(OfText("[vad]\nwvad_param_model_path = x/\nwvad_param_model_name = y\n"), "");
}

TEST_F(EngineConfig, WhatIsNoTextIsRefused) {
  EXPECT_THAT(Refusal("/bin/ls"), ::testing::HasSubstr("no text"));
  EXPECT_THAT(Refusal("/dev/zero"), ::testing::HasSubstr("too long for a configuration"));
  EXPECT_THAT(Refusal(folder_.path()), ::testing::HasSubstr("is a folder"));
  EXPECT_THAT(Refusal(folder_.file("no")), ::testing::HasSubstr("no such file"));
  EXPECT_THAT(OfText(std::string(2 << 20, 'x')), ::testing::HasSubstr("too long"));
}

}  // namespace
}  // namespace TSEG::tool
