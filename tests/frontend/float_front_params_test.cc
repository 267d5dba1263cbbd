// SPDX-License-Identifier: Apache-2.0
//
// The parameters of the front end by name, and the refusal of bad arguments.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frontend/float_front.h"
#include "frontend/float_front_fixture.h"
#include "frontend/test_audio.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using testing::ElementsAre;
using testing_support::Front;
using testing_support::LogCapture;
using testing_support::Noise;
using testing_support::SamplesFor;

TEST(FloatFrontParams, K4EnergyCannotBeSwitchedBack) {
  Front front("1", false);
  EXPECT_EQ(front.set("wffpl_param_k4_energy", "0"), 0);
  front.append(std::vector<int16_t>(800));
  std::vector<StaticFeatureFB> records = front.read(false);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].fEnergy, 0.0f);
  EXPECT_EQ(front.set("wffpl_param_k4_energy", "1"), 0);
  EXPECT_EQ(front.set("wffpl_param_k4_energy", "0"), 0);
  ORVAFloatFrontReset(front.handle, 1);
  front.append(std::vector<int16_t>(800));
  records = front.read(false);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_NEAR(records[0].fEnergy, 56.9897f, 5e-5);
}

TEST(FloatFrontParams, PitchOffLeavesZeros) {
  Front front("1", false);
  front.append(testing_support::Tone(800, 200.0, 16000, 8000));
  StaticFeatureFB record;
  record.fPitch = record.fPitchAux = 99.0f;
  ASSERT_EQ(ORVAFloatFrontGetFeature(front.handle, &record, 0), 0);
  EXPECT_EQ(record.fPitch, 0.0f);
  EXPECT_EQ(record.fPitchAux, 0.0f);
}

TEST(FloatFrontParams, PitchOfSilenceIs70HertzWithoutCorrelation) {
  Front front("1", true);
  front.append(std::vector<int16_t>(800));
  const std::vector<StaticFeatureFB> records = front.read(false);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FLOAT_EQ(records[0].fPitch, 3.5f);
  EXPECT_EQ(records[0].fPitchAux, 0.0f);
}

TEST(FloatFrontParams, UnknownParametersAreRefused) {
  Front front("1", false);
  for (const char* name : {"wffpl_param_special_count", "wffpl_param_cmn_typ", "wffpl_param_cmn_type ", ""}) {
    const LogCapture log(kLogErr);
    EXPECT_EQ(front.set(name, "1"), 4) << name;
    EXPECT_THAT(log.Lines(), ElementsAre(std::string("ORVAFloatFrontSetParameter | invalid para , param = ") + name + ", value = 1",
                                         "Error! The error string is -> ORVAFE_ERRID_ERROR = 4"));
  }
}

TEST(FloatFrontParams, KnownParametersWithoutMeaningAreRefused) {
  Front front("1", false);
  for (const char* name : {"wffpl_param_normal_none", "wffpl_param_normal_count", "wffpl_param_special_none"}) {
    const LogCapture log(kLogErr);
    EXPECT_EQ(front.set(name, "7"), 4) << name;
    EXPECT_THAT(log.Lines(), ElementsAre(std::string("ORVAFloatFrontSetParameter | err param = ") + name + ", value = 7, ret = 4"));
  }
}

TEST(FloatFrontParams, BadMeanTypeIsRefusedButKept) {
  for (const char* value : {"5", "-1"}) {
    Front front("1", false);
    {
      const LogCapture log(kLogErr);
      EXPECT_EQ(front.set("wffpl_param_cmn_type", value), 4);
      EXPECT_THAT(log.Lines(), ElementsAre(std::string("ORVAFloatFrontSetParameter | err param = wffpl_param_cmn_type, value = ") + value +
                                           ", ret = 4"));
    }
    // The schedule is still that of type 1, but the type is no longer 1: the mean of the one frame is that frame itself.
    front.append(Noise(800, 5000));
    const std::vector<StaticFeatureFB> records = front.read(false);
    ASSERT_EQ(records.size(), 1u);
    for (const float v : records[0].afFb40Cmn) EXPECT_EQ(v, 0.0f);
    EXPECT_GT(records[0].afFb40[0], 1.0f);
  }
}

TEST(FloatFrontParams, UnknownRateIsRefusedAndTheOldOneGoesOn) {
  Front front("1", false, 8000);
  const LogCapture log(kLogErr);
  EXPECT_EQ(front.set("wffpl_param_SampleRate", "44100"), 4);
  EXPECT_THAT(log.Lines(), ElementsAre("ORVAFloatFrontSetParameter | invalid SampleRate ,SampleRate = 44100",
                                       "Error! The error string is -> ORVAFE_ERRID_ERROR = 4"));
  front.append(Noise(400 + 80, 1000));
  EXPECT_EQ(front.read(false).size(), 2u);
}

TEST(FloatFrontParams, ValuesAreDecimal) {
  Front front("1", false);
  EXPECT_EQ(front.set("wffpl_param_cmn_type", "0x3"), 0);  // 0, and what follows is ignored
  front.append(Noise(SamplesFor(60), 1000));
  EXPECT_TRUE(front.read(false).empty());
}

TEST(FloatFrontParams, NullArgumentsAreReported) {
  Front front;
  const LogCapture log(kLogErr);
  EXPECT_EQ(ORVAFloatFrontSetParameter(nullptr, nullptr, nullptr), 4);
  EXPECT_EQ(ORVAFloatFrontSetParameter(front.handle, nullptr, nullptr), 4);
  EXPECT_EQ(ORVAFloatFrontSetParameter(front.handle, "wffpl_param_cmn_type", nullptr), 4);
  EXPECT_THAT(log.Lines(), ElementsAre("ORVAFloatFrontSetParameter | FrontHandle handle is NULL. ORVAFE_ERRID_ERROR = 4",
                                       "ORVAFloatFrontSetParameter | param handle is NULL. ORVAFE_ERRID_ERROR = 4",
                                       "ORVAFloatFrontSetParameter | value handle is NULL. ORVAFE_ERRID_ERROR = 4"));
}

TEST(FloatFrontParams, BadAppendsAndReadsAreRefused) {
  Front front("1", false);
  const std::vector<int16_t> pcm(800);
  StaticFeatureFB record;
  {
    const LogCapture log(kLogErr);
    EXPECT_EQ(ORVAFloatFrontAppendData(nullptr, pcm.data(), 800), 4);
    EXPECT_EQ(ORVAFloatFrontAppendData(front.handle, nullptr, 800), 4);
    EXPECT_EQ(ORVAFloatFrontAppendData(front.handle, pcm.data(), -1), 4);
    EXPECT_THAT(log.Lines(), ElementsAre("ORVAFloatFrontAppendData | FrontHandle handle is NULL. ORVAFE_ERRID_ERROR = 4",
                                         "ORVAFloatFrontAppendData | samples handle is NULL. ORVAFE_ERRID_ERROR = 4",
                                         "ORVAFloatFrontAppendData | count is negative. ORVAFE_ERRID_ERROR = 4"));
  }
  EXPECT_EQ(ORVAFloatFrontAppendData(front.handle, nullptr, 0), 0);
  EXPECT_EQ(ORVAFloatFrontGetFeature(nullptr, &record, 0), 4);
  EXPECT_EQ(ORVAFloatFrontGetFeature(front.handle, nullptr, 0), 4);
  EXPECT_EQ(front.read(true).size(), 0u);
  ORVAFloatFrontReset(nullptr, 1);
  ORVAFloatFrontDestroy(nullptr);
  EXPECT_EQ(ORVAFloatFrontCreate(nullptr), 4);
}

TEST(FloatFrontParams, FailuresAreSilentWithoutALog) {
  Front front("1", false);
  EXPECT_EQ(front.set("no_such", "1"), 4);
  EXPECT_EQ(front.append(std::vector<int16_t>(409600)), 3);
}

}  // namespace
}  // namespace TSEG
