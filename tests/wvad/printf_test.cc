// SPDX-License-Identifier: Apache-2.0
#include "wvad/forms/printf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

std::string Printed(const std::string& format) {
  const std::string file = "far/my talk.wav";
  const Sentence sentence = {11200, 35200, 12.34, true, 70.456, {}, {}, 2};
  return PrintfFormat(format).Print(Line{file, "my talk", 7, 16000, sentence});
}

std::string Refusal(const std::string& format) {
  try {
    Printed(format);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kUsage);
    return failure.what();
  }
  return "";
}

TEST(Printf, FieldsStandForTheSentence) {
  EXPECT_EQ(Printed("{begin} {end} {length}"), "0.70 2.20 1.50");
  EXPECT_EQ(Printed("{number}|{channel}|{file}|{id}"), "7|2|far/my talk.wav|my talk");
  EXPECT_EQ(Printed("{level} {vol} {trig}"), "70.46 12.3 true");
  EXPECT_THAT(Printed("{path}"), ::testing::EndsWith("/far/my talk.wav"));
  EXPECT_EQ(Printed("{begin:0} {end:4}"), "1 2.2000");
}

TEST(Printf, ValuesThatAreMissingAreADash) {
  const std::string file = "-";
  const Sentence sentence = {0, 160, {}, {}, {}};
  EXPECT_EQ(PrintfFormat("{level} {vol} {trig} {path} {channel}").Print(Line{file, "stdin", 1, 16000, sentence}), "- - - - 0");
}

TEST(Printf, EscapesAndBracesStandForCharacters) {
  EXPECT_EQ(Printed("a\\tb\\n\\\\\\x41\\\"%d"), "a\tb\n\\A\"%d");
  EXPECT_EQ(Printed("a\\0b"), std::string("a\0b", 3));
  EXPECT_EQ(Printed("{{{number}}}"), "{7}");
  EXPECT_EQ(Printed(""), "");
}

TEST(Printf, WhatMakesNoSenseIsRefusedWithWhatDoes) {
  EXPECT_EQ(Refusal("{foo}"),
            "--printf: there is no field foo; choose begin, end, length, number, channel, file, path, id, level, vol or trig");
  EXPECT_EQ(Refusal("{}").substr(0, 32), "--printf: there is no field ; ch");
  EXPECT_EQ(Refusal("{begin"), "--printf: a { that is not closed; {{ prints one");
  EXPECT_EQ(Refusal("begin}"), "--printf: a } that closes nothing; }} prints one");
  EXPECT_EQ(Refusal("\\q"), "--printf: there is no escape \\q; choose \\n, \\t, \\r, \\0, \\\\ or \\xHH");
  EXPECT_EQ(Refusal("a\\"), "--printf: ends with a single backslash");
  for (const char* hex : {"\\x", "\\x4", "\\xg1"}) EXPECT_EQ(Refusal(hex), "--printf: \\x wants two hexadecimal digits") << hex;
  for (const char* decimals : {"{begin:}", "{begin:x}", "{begin:-1}", "{begin:10}", "{begin:1.5}"}) {
    EXPECT_THAT(Refusal(decimals), ::testing::HasSubstr("decimals from 0 to 9")) << decimals;
  }
  EXPECT_EQ(Refusal("{file:2}"), "--printf: {file:2}: only decimal numbers have decimals");
}

}  // namespace
}  // namespace TSEG::tool
