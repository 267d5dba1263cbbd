// SPDX-License-Identifier: Apache-2.0
#include "wvad/parameter_table.h"

#include <gtest/gtest.h>

#include <set>

#include "wvad/engine.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

std::string Refusal(const std::string& name, const std::string& value, Writing writing = Writing::kSetting) {
  try {
    CheckValue(*FindParameter(name), value, writing);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kBadParameter);
    return failure.what();
  }
  return "";
}

TEST(ParameterTable, WhatMakesNoSenseIsToldTheRange) {
  EXPECT_EQ(Refusal("wvad_param_nFrameEndMargin", "2147483647"),
            "wvad_param_nFrameEndMargin: \"2147483647\" is out of range (0 to 3000 frames)");
  EXPECT_EQ(Refusal("wvad_param_nFrameGap", "-5"), "wvad_param_nFrameGap: \"-5\" is out of range (0 to 6000 frames)");
  EXPECT_EQ(Refusal("wvad_param_nFrameGap", "99999999999999999999"),
            "wvad_param_nFrameGap: \"99999999999999999999\" is out of range (0 to 6000 frames)");
  for (const char* value : {"2", "-1", "1.0001", "inf"}) {
    EXPECT_EQ(Refusal("wvad_param_vad_threshold", value),
              "wvad_param_vad_threshold: \"" + std::string(value) + "\" is out of range (0 to 1)");
  }
  EXPECT_EQ(Refusal("wvad_param_vad_threshold", "nan"), "wvad_param_vad_threshold: \"nan\" is out of range (0 to 1)");
  for (const char* value : {"", "abc", "0.5x", "0,5", " 1"}) {
    EXPECT_EQ(Refusal("wvad_param_vad_threshold", value),
              "wvad_param_vad_threshold: \"" + std::string(value) + "\" is not a number (0 to 1)");
  }
  EXPECT_EQ(Refusal("wvad_param_isTsegDoCMN", "true"), "wvad_param_isTsegDoCMN: \"true\" is not a value (0 to 1)");
  EXPECT_EQ(Refusal("wkel_param_sampleRate", "44100"), "wkel_param_sampleRate: \"44100\" is not 16000, 8000 or 6000");
}

TEST(ParameterTable, EdgesOfARangeBelongToIt) {
  for (const ParameterRow& row : ParameterTable()) {
    if (row.kind == ValueKind::kText || row.kind == ValueKind::kRate) continue;
    const std::string name(row.name);
    const auto text = [](double value) { return std::to_string(static_cast<long long>(value)); };
    EXPECT_EQ(Refusal(name, text(row.least)), "") << name;
    EXPECT_EQ(Refusal(name, text(row.most)), "") << name;
    EXPECT_NE(Refusal(name, text(row.least - 1)), "") << name;
    EXPECT_NE(Refusal(name, text(row.most + 1)), "") << name;
  }
}

TEST(ParameterTable, ConfigurationIsWrittenAsTheEngineReadsIt) {
  EXPECT_EQ(Refusal("wvad_param_nFrameGap", "0x50", Writing::kConfiguration), "");
  EXPECT_EQ(Refusal("wvad_param_isTsegDoCMN", "true", Writing::kConfiguration), "");
  EXPECT_EQ(Refusal("wvad_param_nFrameGap", "", Writing::kConfiguration), "");
  EXPECT_NE(Refusal("wvad_param_nFrameGap", "0x50"), "");
  EXPECT_NE(Refusal("wvad_param_nFrameGap", "abc", Writing::kConfiguration), "");
  EXPECT_NE(Refusal("wvad_param_nFrameGap", "0x7FFFFFFF", Writing::kConfiguration), "");
}

// The engine knows every name of the table, and its own values lie in the ranges.
TEST(ParameterTable, DefaultsOfTheEngineLieInTheRanges) {
  Engine engine(WVAD_TEST_MODEL, {}, "");
  const Detector detector(engine);
  std::set<std::string_view> names;
  int checked = 0;
  for (const ParameterRow& row : ParameterTable()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    const std::string value = detector.Get(std::string(row.name));
    if (value.empty()) continue;
    EXPECT_EQ(Refusal(std::string(row.name), value), "") << value;
    ++checked;
  }
  EXPECT_GT(checked, 35);
}

}  // namespace
}  // namespace TSEG::tool
