// SPDX-License-Identifier: Apache-2.0
#include "wvad/time_range.h"

#include <gtest/gtest.h>

#include <string>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

TEST(TimeRange, PlacesAreFramesOfTenMilliseconds) {
  const struct {
    const char* text;
    int64_t first, last;
  } rows[] = {
      {"0", 0, 0},
      {"12.3", 1230, 1230},
      {"12.309", 1230, 1230},
      {"0.29", 29, 29},  // 28.999... in binary
      {"1:02.5", 6250, 6250},
      {"1:00:00", 360000, 360000},
      {"2-3", 200, 300},
      {"59.99-1:00", 5999, 6000},
      {"90", 9000, 9000},
      {"90:00", 540000, 540000},
      {"100000", 10000000, 10000000},
      {"5-5", 500, 500},
  };
  for (const auto& row : rows) {
    const FrameRange range = ParseFrameRange(row.text);
    EXPECT_EQ(range.first, row.first) << row.text;
    EXPECT_EQ(range.last, row.last) << row.text;
  }
}

TEST(TimeRange, WhatIsNoPlaceIsRefused) {
  for (const char* text : {"",    " 1",   "1 ",  "-",    "-1",      "1-",     "1-2-3", "a",  "1s",   "nan",         "inf",
                           "1e3", "0x10", "1,5", "1:60", "1:2:3:4", "1.5:00", ":5",    "5:", "1:-2", "99999999999", "3-2"}) {
    try {
      ParseFrameRange(text);
      ADD_FAILURE() << "\"" << text << "\" was taken";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::kUsage) << text;
      EXPECT_EQ(std::string(failure.what()).rfind(std::string("--at ") + text, 0), 0U) << failure.what();
    }
  }
}

}  // namespace
}  // namespace TSEG::tool
