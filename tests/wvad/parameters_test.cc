// SPDX-License-Identifier: Apache-2.0
#include "wvad/parameters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Pair;

std::string Refusal(const std::vector<std::string>& settings, bool endpoint) {
  try {
    PlanParameters(settings, endpoint);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kBadParameter);
    return failure.what();
  }
  return "taken";
}

TEST(Parameters, RecordingHasNoLimitsThatEndIt) {
  const ParameterPlan plan = PlanParameters({}, false);
  EXPECT_THAT(plan.session, Contains(Pair("wvad_param_nSpeechTailMS", "2147483647")));
  EXPECT_THAT(plan.session, Contains(Pair("wvad_param_nResponseTimeOut", "2147483647")));
}

TEST(Parameters, EndpointKeepsTheLimitsOfTheEngine) {
  for (const auto& [name, value] : PlanParameters({}, true).session) {
    EXPECT_NE(name, "wvad_param_nSpeechTailMS");
    EXPECT_NE(name, "wvad_param_nResponseTimeOut");
  }
}

TEST(Parameters, LimitsThatEndASessionAreForEndpointOnly) {
  for (const char* name : {"wvad_param_nSpeechTailMS", "VAD_PARAM_SPEECHTAIL", "wvad_param_nResponseTimeOut"}) {
    EXPECT_THAT(Refusal({std::string(name) + "=500"}, false), HasSubstr("--endpoint")) << name;
    EXPECT_EQ(Refusal({std::string(name) + "=500"}, true), "taken") << name;
  }
}

TEST(Parameters, KeepTheirOrderAndAnEqualsSignInTheValue) {
  const ParameterPlan plan = PlanParameters({"b=1", "a=x=y", "b="}, true);
  const ParameterList expected = {{"wvad_param_nReadType", "1"}, {"b", "1"}, {"a", "x=y"}, {"b", ""}};
  EXPECT_EQ(plan.session, expected);
}

TEST(Parameters, ThoseOfTheStartGoToTheConfiguration) {
  const ParameterPlan plan = PlanParameters({"wvad_param_cmn_type=2", "wvad_param_bKelOn=1"}, false);
  const ParameterList expected = {{"wvad_param_cmn_type", "2"}, {"wvad_param_bKelOn", "1"}};
  EXPECT_EQ(plan.configuration, expected);
  for (const auto& [name, value] : plan.session)
    EXPECT_THAT(name, ::testing::AnyOf("wvad_param_nReadType", "wvad_param_nSpeechTailMS", "wvad_param_nResponseTimeOut"));
}

TEST(Parameters, ThoseOfTheStartAreCheckedHere) {
  for (const char* bad : {"wvad_param_cmn_type=5", "wvad_param_cmn_type=", "wvad_param_cmn_type=-1", "wvad_param_cmn_type=1 ",
                          "wvad_param_bKelOn=2", "wvad_param_bKelOn=true"}) {
    EXPECT_THAT(Refusal({bad}, false), ::testing::AnyOf(HasSubstr("is out of range (0 to"), HasSubstr("is not a "))) << bad;
  }
}

TEST(Parameters, ThoseOfTheModelAreRefused) {
  for (const char* name : {"wvad_param_isTsegLstm", "wvad_param_TsegModelType", "wvad_param_vad_AgcOn"}) {
    EXPECT_THAT(Refusal({std::string(name) + "=1"}, true), HasSubstr("settled by the model"));
  }
  for (const char* name : {"wvad_param_model_path", "wvad_param_model_name"}) {
    EXPECT_THAT(Refusal({std::string(name) + "=x"}, true), HasSubstr("--model"));
  }
}

TEST(Parameters, DebugWatchesAreForClientsOfTheLibrary) {
  EXPECT_THAT(Refusal({"wvad_param_isDebugWatch=1"}, false), HasSubstr("is for clients of the library"));
  EXPECT_EQ(Refusal({"wvad_param_isDebugWatch=0"}, false), "taken");
  EXPECT_THAT(Refusal({"wvad_param_isDebugWatch=2"}, false), HasSubstr("out of range"));
}

TEST(Parameters, CommandsThatReadDecideWhatIsRead) {
  EXPECT_THAT(PlanParameters({}, false, Handout::kPcm).session, Contains(Pair("wvad_param_nReadType", "1")));
  EXPECT_THAT(PlanParameters({}, false, Handout::kFeatures).session, Contains(Pair("wvad_param_nReadType", "0")));
  for (const char* setting : {"wvad_param_nReadType=0", "wvad_param_readtype=1"}) {
    EXPECT_THROW(PlanParameters({setting}, false, Handout::kPcm), Failure) << setting;
    EXPECT_THROW(PlanParameters({setting}, false, Handout::kFeatures), Failure) << setting;
    EXPECT_EQ(Refusal({setting}, false), "taken");
  }
}

TEST(Parameters, ThoseOfTheQualityComponentGoToItsSection) {
  const ParameterPlan plan =
      PlanParameters({"wkel_param_snr_threshold=3", "wkel_param_cur_threshold=0.1", "wkel_param_snr_threshold=5.5"}, false);
  // The component takes the first of a name, so the last setting stands first.
  const ParameterList expected = {
      {"wkel_param_snr_threshold", "5.5"}, {"wkel_param_cur_threshold", "0.1"}, {"wkel_param_snr_threshold", "3"}};
  EXPECT_EQ(plan.quality, expected);
  EXPECT_TRUE(plan.configuration.empty());
  EXPECT_THAT(PlanParameters({}, false, Handout::kNothing, true).configuration, Contains(Pair("wvad_param_bKelOn", "1")));
  EXPECT_THAT(Refusal({"wkel_param_cur_threshold=a"}, false), HasSubstr("is not a number"));
  EXPECT_THAT(Refusal({"wkel_param_cur_threshold="}, false), HasSubstr("is not a number"));
  EXPECT_THAT(Refusal({"wkel_param_sampleRate=0"}, false), HasSubstr("is not 16000, 8000 or 6000"));
}

TEST(Parameters, SettingWithoutNameOrEqualsIsRefused) {
  EXPECT_THAT(Refusal({"wvad_param_nFrameGap"}, false), HasSubstr("NAME=VALUE"));
  EXPECT_THAT(Refusal({"=3"}, false), HasSubstr("NAME=VALUE"));
  EXPECT_THAT(Refusal({"wvad_param_cmn_type=1\n[kel]"}, false), HasSubstr("line breaks"));
}

}  // namespace
}  // namespace TSEG::tool
