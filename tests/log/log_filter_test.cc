// SPDX-License-Identifier: Apache-2.0
//
// Include and exclude lists.
#include "log/log_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace TSEG {
namespace {

TEST(LogFilter, ListIsDividedBySemicolonsAndCommas) {
  EXPECT_EQ(SplitLogList("one;two,three four"), (std::vector<std::string>{"one", "two", "three four"}));
  EXPECT_EQ(SplitLogList(";,one;;,"), (std::vector<std::string>{"one"}));
  EXPECT_EQ(SplitLogList("a; b"), (std::vector<std::string>{"a", " b"}));
  EXPECT_TRUE(SplitLogList("").empty());
}

TEST(LogFilter, EmptyListsPassEverything) {
  const LogFilter filter;
  EXPECT_TRUE(filter.Passes(nullptr, "anything"));
  EXPECT_TRUE(filter.Passes("subject", ""));
}

TEST(LogFilter, ExcludeDropsEqualSubjectsAndContainedTexts) {
  LogFilter filter;
  filter.exclude = {"pitch", "audio time"};
  EXPECT_FALSE(filter.Passes("pitch", "x"));
  EXPECT_TRUE(filter.Passes("pitches", "x"));  // a subject has to be equal
  EXPECT_FALSE(filter.Passes(nullptr, "the audio time is 3"));
  EXPECT_TRUE(filter.Passes(nullptr, "Audio time"));  // case counts
}

TEST(LogFilter, IncludePassesOnlyWhatItNames) {
  LogFilter filter;
  filter.include = {"pitch", "error"};
  EXPECT_TRUE(filter.Passes("pitch", "x"));
  EXPECT_TRUE(filter.Passes(nullptr, "an error here"));
  EXPECT_FALSE(filter.Passes(nullptr, "x"));
  EXPECT_FALSE(filter.Passes("pit", "x"));
}

TEST(LogFilter, ExcludeIsStrongerThanInclude) {
  LogFilter filter;
  filter.include = {"error"};
  filter.exclude = {"known"};
  EXPECT_TRUE(filter.Passes(nullptr, "error"));
  EXPECT_FALSE(filter.Passes(nullptr, "known error"));
}

}  // namespace
}  // namespace TSEG
