// SPDX-License-Identifier: Apache-2.0
//
// Conversions of configuration values: lenient, silent, 0 where nothing parses.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "base/config_file.h"

namespace TSEG {
namespace {

TEST(ConfigValues, IntDetectsItsBase) {
  struct {
    const char* text;
    int32_t wanted;
  } const rows[] = {{"16", 16},         {"0x10", 16},      {"0X1f", 31}, {"010", 8},    {"-5", -5}, {"+7", 7},
                    {"12a", 12},        {"a", 0},          {"", 0},      {" 9", 9},     {"1.9", 1}, {"4294967295", -1},
                    {"0xFFFFFFFF", -1}, {"4294967301", 5}, {"09", 0},    {"-0x10", -16}};
  for (const auto& row : rows) EXPECT_EQ(ConfigInt(row.text), row.wanted) << row.text;
}

TEST(ConfigValues, IntBeyond64BitsTakesTheLowBitsOfTheLimit) {
  EXPECT_EQ(ConfigInt("99999999999999999999"), -1);  // 0x7FFFFFFFFFFFFFFF
  EXPECT_EQ(ConfigInt("-99999999999999999999"), 0);  // 0x8000000000000000
}

TEST(ConfigValues, DecimalKnowsNoOtherBase) {
  EXPECT_EQ(ConfigDecimal("010"), 10);
  EXPECT_EQ(ConfigDecimal("0x10"), 0);
  EXPECT_EQ(ConfigDecimal("-3x"), -3);
}

TEST(ConfigValues, FloatIsRoundedOnceToSingle) {
  EXPECT_EQ(ConfigFloat("0.1"), 0.1f);
  EXPECT_EQ(ConfigFloat("-1.5e2"), -150.0f);
  EXPECT_EQ(ConfigFloat("2.5 seconds"), 2.5f);
  EXPECT_EQ(ConfigFloat("none"), 0.0f);
  EXPECT_EQ(ConfigFloat("1e400"), std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(ConfigFloat("nan")));
}

TEST(ConfigValues, BoolKnowsTwoWordsAndNumbers) {
  for (const char* text : {"true", "1", "-1", "0x2", "7 dwarfs"}) EXPECT_TRUE(ConfigBool(text)) << text;
  for (const char* text : {"false", "0", "00", "", "TRUE", "yes", "0x0"}) EXPECT_FALSE(ConfigBool(text)) << text;
}

TEST(ConfigValues, StringLosesDoubleQuotesBlanksAndControlsAtBothEnds) {
  EXPECT_EQ(ConfigString(" \"a \"b\" c\"\t"), "a \"b\" c");
  EXPECT_EQ(ConfigString("'kept'"), "'kept'");
  EXPECT_EQ(ConfigString("\" \" \""), "");
  EXPECT_EQ(ConfigString(""), "");
}

}  // namespace
}  // namespace TSEG
