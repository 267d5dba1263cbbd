// SPDX-License-Identifier: Apache-2.0
#include "base/number_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

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

TEST(NumberText, ClientsLocaleDoesNotMoveThePoint) {
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE"}) std::setlocale(LC_ALL, name);
  EXPECT_STREQ(FixedText(4.5f, 1).c_str(), "4.5");
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace TSEG
