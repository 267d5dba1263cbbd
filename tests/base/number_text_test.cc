// SPDX-License-Identifier: Apache-2.0
#include "base/number_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "support/comma_locale.h"

namespace TSEG {
namespace {

TEST(NumberText, RoundsToTheStatedDecimals) {
  EXPECT_STREQ(FixedText(33.04f, 1).c_str(), "33.0");
  EXPECT_STREQ(FixedText(-140.0f, 2).c_str(), "-140.00");
  EXPECT_STREQ(FixedText(210.25f, 1).c_str(), "210.2") << "an exact half goes to the even digit";
  EXPECT_STREQ(FixedText(0.0f, 3).c_str(), "0.000");
  EXPECT_STREQ(FixedText(-0.0001f, 3).c_str(), "-0.000");
}

TEST(NumberText, HoldsTheLargestAndTheUnusual) {
  EXPECT_STREQ(FixedText(-std::numeric_limits<float>::max(), 3).c_str(), "-340282346638528859811704183484516925440.000");
  EXPECT_STREQ(FixedText(std::numeric_limits<float>::infinity(), 1).c_str(), "inf");
}

void ExpectPoints() {
  EXPECT_STREQ(FixedText(4.5f, 1).c_str(), "4.5");
  EXPECT_STREQ(FixedText(12345.0f, 1).c_str(), "12345.0");
  EXPECT_EQ(ShortestText(12345.25), "12345.25");
  EXPECT_EQ(ReadNumber("0.25"), 0.25);
  EXPECT_EQ(ReadNumber<float>("0.25"), 0.25F);
  EXPECT_EQ(ReadNumber("0,25"), std::nullopt);
}

TEST(NumberText, ClientsLocaleDoesNotMoveThePoint) {
  const testing_support::CommaCLocale comma;
  if (!comma.ok()) GTEST_SKIP() << "no locale with a decimal comma here";
  ExpectPoints();
}

TEST(NumberText, ClientsCxxLocaleDoesNotMoveThePoint) {
  const testing_support::CommaLocale comma;
  ExpectPoints();
}

TEST(NumberText, ShortestTextHasNoDigitTooMany) {
  for (const auto& [value, text] :
       {std::pair{0.1, "0.1"}, {-64.2, "-64.2"}, {3600.0, "3600"}, {1.0 / 3, "0.3333333333333333"}, {1e300, "1e+300"}, {0.0, "0"}}) {
    EXPECT_EQ(ShortestText(value), text);
    EXPECT_EQ(c_library::ShortestText(value), text);
  }
}

// What stands in for the standard library's conversions takes the same texts and refuses the same.
TEST(NumberText, ReadsDecimalNumbersAlone) {
  const std::pair<std::string_view, double> good[] = {{"0.25", 0.25}, {"-3", -3}, {"1e-3", 0.001}, {".5", 0.5}, {"7.", 7}};
  for (const auto& [text, value] : good) {
    EXPECT_EQ(ReadNumber(text), value) << text;
    EXPECT_EQ(c_library::ReadNumber(text), value) << text;
  }
  for (const std::string_view text : {"", " 1", "1 ", "+1", "0x10", "1,5", "1e999", "one", "--1", "1.5.", "-"}) {
    EXPECT_EQ(ReadNumber(text), std::nullopt) << text;
    EXPECT_EQ(c_library::ReadNumber(text), std::nullopt) << text;
  }
  EXPECT_EQ(ReadNumber(std::string_view("1\0", 2)), std::nullopt);
  EXPECT_EQ(c_library::ReadNumber(std::string_view("1\0", 2)), std::nullopt);
}

// A little more than half a step above 1, 1 + 2^-24: rounded to a double first it would lie on the half, and then go down to 1.
TEST(NumberText, ReadsFloatsWithOneRounding) {
  constexpr std::string_view kAboveTheHalf = "1.00000005960464477539063";
  EXPECT_EQ(ReadNumber<float>(kAboveTheHalf), 1.0F + 0x1p-23F);
  EXPECT_EQ(c_library::ReadNumber<float>(kAboveTheHalf), 1.0F + 0x1p-23F);
  EXPECT_EQ(ReadNumber<float>("0.7"), 0.7F);
  EXPECT_EQ(ReadNumber<float>("1e39"), std::nullopt);
  EXPECT_EQ(c_library::ReadNumber<float>("1e39"), std::nullopt);
}

TEST(NumberText, FixedTextIsThatOfTheCLibrary) {
  for (const float value : {33.04f, -140.0f, 210.25f, 0.0f, -0.0001f, 3.4e38f}) {
    char text[64];
    c_library::WriteFixed(text, sizeof text, static_cast<double>(value), 2);
    EXPECT_STREQ(FixedText(value, 2).c_str(), text);
  }
}

}  // namespace
}  // namespace TSEG
