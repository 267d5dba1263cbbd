// SPDX-License-Identifier: Apache-2.0
//
// What every set of parameters does with its table, and each way in which sets may differ, on a record of the test's own.
#include "params/param_set.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "support/folder_fixture.h"

namespace TSEG {
namespace {

struct Small {
  int32_t mark = 0;
  int32_t number = 1;
  bool flag = true;
  float real = 2.0f;
  std::string text = "t";
  int32_t end = 0;
};

constexpr ParamRow<Small> kRows[] = {
    {"mark", &Small::mark}, {"number", &Small::number}, {"flag", &Small::flag}, {"real", &Small::real},
    {"text", &Small::text}, {"end", &Small::end},       {"handled_elsewhere"},
};
static_assert(ParamPosition<kRows>("mark") == 0);
static_assert(ParamPosition<kRows>("handled_elsewhere") == 6);

constexpr ParamSet<Small> With(BadText bad_text) {
  return {.owner = "Small",
          .section = "small",
          .rows = kRows,
          .n_of_file = 5,
          .first_settable = 1,
          .last_settable = 4,
          .missing_file_level = kLogInf,
          .file_int = ConfigDecimal,
          .bad_text = bad_text};
}

using ParamSetTest = testing_support::FolderTest;

std::string Get(const Small& record, const char* name) {
  char text[64] = "";
  EXPECT_TRUE(With(BadText::kThrows).Get(record, name, text, sizeof text)) << name;
  return text;
}

TEST(ParamSet, WholeTextIsTakenByEachSet) {
  for (const BadText bad_text : {BadText::kThrows, BadText::kIsRefused, BadText::kIsReadOver}) {
    const ParamSet<Small> set = With(bad_text);
    Small record;
    EXPECT_TRUE(set.Set(&record, "number", "-7"));
    EXPECT_TRUE(set.Set(&record, "flag", "0"));
    EXPECT_TRUE(set.Set(&record, "real", "0.5"));
    EXPECT_TRUE(set.Set(&record, "text", "a b"));
    EXPECT_EQ(record.number, -7);
    EXPECT_FALSE(record.flag);
    EXPECT_EQ(record.real, 0.5f);
    EXPECT_EQ(record.text, "a b");
  }
}

TEST(ParamSet, BadTextThrowsIsRefusedOrIsReadAsFarAsItGoes) {
  Small record;
  EXPECT_THROW(With(BadText::kThrows).Set(&record, "number", "12a"), boost::bad_lexical_cast);
  EXPECT_FALSE(With(BadText::kIsRefused).Set(&record, "number", "12a"));
  EXPECT_EQ(record.number, 1);
  EXPECT_TRUE(With(BadText::kIsReadOver).Set(&record, "number", "12a"));
  EXPECT_EQ(record.number, 12);
  EXPECT_TRUE(With(BadText::kIsReadOver).Set(&record, "real", "x"));
  EXPECT_EQ(record.real, 0.0f);
}

TEST_F(ParamSetTest, RefusedTextIsToldLikeAnUnknownName) {
  OpenLog(kLogInf);
  Small record;
  EXPECT_FALSE(With(BadText::kIsRefused).Set(&record, "flag", "yes"));
  EXPECT_FALSE(With(BadText::kIsRefused).Set(&record, "mark", "1"));
  EXPECT_FALSE(With(BadText::kIsRefused).Set(&record, "end", "1"));
  EXPECT_FALSE(With(BadText::kIsRefused).Set(&record, "handled_elsewhere", "1"));
  EXPECT_EQ(Log(),
            "Small::set_para_value | para not suitable for normal operation, param = flag\n"
            "Small::set_para_value | para not suitable for normal operation, param = mark\n"
            "Small::set_para_value | para not suitable for normal operation, param = end\n"
            "Small::set_para_value | para not suitable for normal operation, param = handled_elsewhere\n");
}

TEST(ParamSet, FloatsAreGivenWithNineDigits) {
  Small record;
  const struct {
    float value;
    const char* text;
  } kFloats[] = {{0.1f, "0.100000001"},
                 {-1e-10f, "-1.00000001e-10"},  // the nearest single is -1.00000001335e-10
                 {16777216.0f, "16777216"},
                 {std::numeric_limits<float>::infinity(), "inf"},
                 {-std::numeric_limits<float>::infinity(), "-inf"},
                 {std::numeric_limits<float>::quiet_NaN(), "nan"}};
  for (const auto& row : kFloats) {
    record.real = row.value;
    EXPECT_EQ(Get(record, "real"), row.text);
  }
  EXPECT_EQ(Get(record, "flag"), "1");
  EXPECT_EQ(Get(record, "text"), "t");
}

TEST_F(ParamSetTest, FileIsReadOverTheRecord) {
  OpenLog(kLogWan);
  folder_.write("w_tseg.cfg", "[small]\nnumber = 010\nFLAG = 0\nreal =\nend = 5\nhandled_elsewhere = 1\n[other]\ntext = x\n");
  Small record;
  With(BadText::kThrows).Init(&record);
  EXPECT_EQ(record.number, 10);
  EXPECT_FALSE(record.flag);
  EXPECT_EQ(record.real, 2.0f);
  EXPECT_EQ(record.end, 5);  // told of, being none of the first five, and read
  EXPECT_EQ(record.text, "t");
  EXPECT_EQ(Log(),
            "Small::init | para not suitable for normal operation, param = FLAG\n"
            "Small::init | para not suitable for normal operation, param = end\n"
            "Small::init | para not suitable for normal operation, param = handled_elsewhere\n");
}

TEST_F(ParamSetTest, MissingFileIsToldAtTheLevelOfTheSet) {
  OpenLog(kLogCrt);
  Small record;
  ParamSet<Small> set = With(BadText::kThrows);
  set.Init(&record);
  EXPECT_EQ(Log(), "");
  set.missing_file_level = kLogCrt;
  set.Init(&record);
  EXPECT_EQ(Log(), "Small::init | Couldn't find cfg_file: w_tseg.cfg\n");
}

}  // namespace
}  // namespace TSEG
