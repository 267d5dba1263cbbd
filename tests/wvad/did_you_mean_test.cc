// SPDX-License-Identifier: Apache-2.0
#include "wvad/did_you_mean.h"

#include <gtest/gtest.h>

namespace TSEG::tool {
namespace {

TEST(DidYouMeanTest, DistanceCountsLetters) {
  EXPECT_EQ(Distance("split", "split"), 0U);
  EXPECT_EQ(Distance("", "abc"), 3U);
  EXPECT_EQ(Distance("slit", "split"), 1U);
  EXPECT_EQ(Distance("splitt", "split"), 1U);
  EXPECT_EQ(Distance("spilt", "split"), 1U);  // neighbours swapped
  EXPECT_EQ(Distance("score", "split"), 4U);
}

TEST(DidYouMeanTest, NearestNameIsGuessedAndFarOnesAreNot) {
  const std::vector<std::string> names = {"segment", "split", "features", "quality", "scores", "model"};
  EXPECT_EQ(DidYouMean("segmnet", names), " (did you mean segment?)");
  EXPECT_EQ(DidYouMean("slpit", names), " (did you mean split?)");
  EXPECT_EQ(DidYouMean("feature", names), " (did you mean features?)");
  EXPECT_EQ(DidYouMean("qual", names), " (did you mean quality?)");
  EXPECT_EQ(DidYouMean("mdoell", names), "");
  EXPECT_EQ(DidYouMean("talk.wav", names), "");
  EXPECT_EQ(DidYouMean("x", {}), "");
  EXPECT_EQ(DidYouMean("--formt", {"--force", "--format"}), " (did you mean --format?)");
}

}  // namespace
}  // namespace TSEG::tool
