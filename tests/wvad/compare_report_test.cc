// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/compare_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "wvad/wrapped.h"

namespace TSEG::tool {
namespace {

TEST(CompareTable, ColumnsThatDoNotFitFollowInATableBelow) {
  // One second is found, one missed, one false; two regions are scored for ten seconds.
  Comparison comparison;
  comparison.hit_us = comparison.miss_us = comparison.false_us = 1000000;
  comparison.rest_us = 7000000;
  comparison.region_us = 10000000;
  comparison.segments = 2;
  comparison.missed = 1;
  comparison.false_alarms = 1;
  const auto table = [&](size_t width) { return CompareFormats()[0].print({{"long name", comparison}}, 0, width); };
  EXPECT_EQ(table(80),
            "             scored    speech    prec  recall      f1    miss   false     dcf\n"
            "long name     10.00      2.00  0.5000  0.5000  0.5000  0.5000  0.1250  0.4062\n"
            "\n"
            "            segs missed  false false/h   onset     95%  offset     95%\n"
            "long name      2      1      1  360.00       -       -       -       -\n");
  EXPECT_NE(table(137), table(138));  // of all columns
  EXPECT_EQ(table(138), table(kAnyWidth));
  // What belongs together stays together, the last two columns here; and however narrow, one of eleven such parts has a table.
  EXPECT_THAT(table(137), ::testing::HasSubstr("\n\n           offset     95%\n"));
  const std::string narrow = table(1);
  EXPECT_EQ(std::count(narrow.begin(), narrow.end(), '\n'), 11 * 3 - 1);
}

}  // namespace
}  // namespace TSEG::tool
