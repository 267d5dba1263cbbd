// SPDX-License-Identifier: Apache-2.0
//
// The form of a line: prefix parts by the style mask, the newline, the clock, the filters before it.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "log/log.h"
#include "log/log_impl.h"
#include "log_fixture.h"
#include "platform/platform.h"

namespace TSEG {
namespace {

using LogLine = LogTest;

std::string ProcessPart() {
  char text[32];
  std::snprintf(text, sizeof text, "[Px%04x]", platform::ProcessId());
  return text;
}
std::string ThreadPart() {
  char text[32];
  std::snprintf(text, sizeof text, "[Tx%04x]", platform::ThreadId());
  return text;
}

TEST_F(LogLine, FullStyleHasDateLevelProcessAndThread) {
  Open();
  FakeTime::Pass(123);
  logger.log_msg_i(nullptr, kLogErr, 0, "it failed");
  EXPECT_EQ(Text(), "[16/05/04-12:30:05 123][ERR]" + ProcessPart() + ThreadPart() + " it failed\n");
}

TEST_F(LogLine, EachStyleBitAddsItsPart) {
  Open();
  FakeTime::Pass(9);
  struct {
    uint32_t style;
    std::string wanted;
  } const rows[] = {{1, "[12:30:05 009] x"},
                    {2, "[16/05/04-12:30:05 009] x"},
                    {3, "[16/05/04-12:30:05 009] x"},  // the date covers the time
                    {4, "[WAN] x"},
                    {8, ThreadPart() + " x"},
                    {16, "x\n"},
                    {32, "[subject ] x"},
                    {64, ProcessPart() + " x"},
                    {128, "x"},
                    {256, "x"},
                    {61, "[12:30:05 009][WAN]" + ThreadPart() + "[subject ] x\n"},
                    {126, "[16/05/04-12:30:05 009][WAN]" + ProcessPart() + ThreadPart() + "[subject ] x\n"}};
  for (const auto& row : rows) {
    const size_t before = Text().size();
    logger.log_msg_i("subject", kLogWan, row.style, "x");
    EXPECT_EQ(Text().substr(before), row.wanted) << row.style;
  }
}

TEST_F(LogLine, SubjectIsEightCharactersWide) {
  Open();
  logger.log_msg_i("abc", kLogErr, 32, "1");
  logger.log_msg_i("a long subject", kLogErr, 32, "2");
  logger.log_msg_i("", kLogErr, 32, "3");
  logger.log_msg_i(nullptr, kLogErr, 32, "4");
  EXPECT_EQ(Text(), "[abc     ] 1[a long s] 2[        ] 34");
}

TEST_F(LogLine, StyleNoneWritesTheTextAlone) {
  cfg.nStyle = 256;
  Open();
  logger.log(kLogErr, "one");
  logger.log(kLogErr, "two\n");
  EXPECT_EQ(Text(), "onetwo\n");
}

TEST_F(LogLine, TextThatEndsInANewlineGetsNoSecond) {
  cfg.nStyle = 16;
  Open();
  logger.log(kLogErr, "one\n");
  logger.log(kLogErr, "two\r");
  logger.log(kLogErr, "three\n\r");
  logger.log(kLogErr, "four");
  logger.log(kLogErr, "");
  EXPECT_EQ(Text(), "one\ntwo\rthree\n\rfour\n\n");
}

TEST_F(LogLine, StyleOfTheConfigurationStandsForZero) {
  cfg.nStyle = 4 | 16;
  Open();
  logger.log_msg_i(nullptr, kLogInf | kLogErr, 0, "x");
  logger.log_msg_i(nullptr, kLogErr, 16, "y");
  EXPECT_EQ(Text(), "[INF] x\ny\n");
}

TEST_F(LogLine, MessageIsCutToTheLineAndStaysALine) {
  cfg.nStyle = 4 | 16;
  Open();
  logger.log(kLogErr, std::string(70000, 'x').c_str());
  const std::string text = Text();
  ASSERT_EQ(text.size(), 65535u);
  EXPECT_EQ(text, "[ERR] " + std::string(65535 - 6 - 1, 'x') + "\n");
}

TEST_F(LogLine, LongestMessageWithoutPrefixIsWhole) {
  cfg.nStyle = 256;
  Open();
  logger.log(kLogErr, std::string(65535, 'x').c_str());
  EXPECT_EQ(Text(), std::string(65535, 'x'));
}

TEST_F(LogLine, LevelLettersAreThoseOfTheHighestBit) {
  struct {
    uint32_t level;
    const char* letters;
  } const rows[] = {{0, "CRT"},  {1, "CRT"},   {2, "ERR"},   {3, "ERR"},   {4, "WAN"},   {8, "INF"},   {16, "VBS"},         {32, "DBG"},
                    {64, "PRF"}, {128, "TRC"}, {255, "TRC"}, {256, "SPK"}, {511, "SPK"}, {512, "UNK"}, {0x80000000u, "UNK"}};
  for (const auto& row : rows) EXPECT_STREQ(logger.level_text(row.level), row.letters) << row.level;
}

TEST_F(LogLine, LevelMaskOfZeroPassesNothing) {
  cfg.nLevel = 0u;
  Open();
  for (uint32_t bit = 1; bit != 0; bit <<= 1) logger.log(bit, "x");
  EXPECT_EQ(Text(), "");
}

TEST_F(LogLine, LevelMaskPassesAnyCommonBit) {
  cfg.nLevel = 7u;
  cfg.nStyle = 16u;
  Open();
  logger.log(kLogInf, "no");
  logger.log(kLogInf | kLogWan, "yes");
  EXPECT_EQ(Text(), "yes\n");
}

TEST_F(LogLine, OutputZeroWritesNothing) {
  cfg.nOutput = 0u;
  Open();
  logger.log(kLogErr, "x");
  EXPECT_FALSE(logger.enabled(kLogErr));
  EXPECT_FALSE(std::filesystem::exists(folder.file("w.log")));
}

TEST_F(LogLine, ExcludedTextsAndSubjectsAreDropped) {
  cfg.nStyle = 16u;
  cfg.filter.exclude = {"noise", "sub"};
  Open();
  logger.log_msg_i(nullptr, kLogErr, 0, "some noise here");
  logger.log_msg_i("sub", kLogErr, 0, "dropped by its subject");
  logger.log_msg_i("subject", kLogErr, 0, "kept");
  EXPECT_EQ(Text(), "kept\n");
}

TEST_F(LogLine, TimeFollowsTheTicksNotTheWallClock) {
  cfg.nStyle = 1u | 16u;
  Open();
  FakeTime::ticks += 61007;
  FakeTime::wall += 3600;  // somebody set the clock
  logger.log(kLogErr, "x");
  EXPECT_EQ(Text(), "[12:31:06 007] x\n");
}

TEST_F(LogLine, WallClockBeforeTheStartIsBelieved) {
  cfg.nStyle = 1u | 16u;
  Open();
  FakeTime::ticks = 123456;
  FakeTime::wall = kSomeTime - 5;
  logger.log(kLogErr, "x");
  EXPECT_EQ(Text(), "[12:30:00 456] x\n");
}

TEST_F(LogLine, WithoutATickBaseTheWallClockServes) {
  cfg.nStyle = 1u | 16u;
  FakeTime::ticks = 0;
  Open();
  FakeTime::ticks = 5042;
  FakeTime::wall += 7;
  logger.log(kLogErr, "x");
  EXPECT_EQ(Text(), "[12:30:12 042] x\n");
}

TEST_F(LogLine, TimeGoesOnBeyondThe32BitsOfMilliseconds) {
  cfg.nStyle = 2u | 16u;
  Open();
  FakeTime::ticks += 50ull * 86400 * 1000;
  FakeTime::wall += 50 * 86400;
  logger.log(kLogErr, "x");
  EXPECT_EQ(Text(), "[16/06/23-12:30:05 000] x\n");
}

TEST_F(LogLine, TimeTextHasThreeForms) {
  Open();
  FakeTime::Pass(1042);
  char text[Logger::kTimeSize];
  logger.time_text(text, true, false);
  EXPECT_STREQ(text, "2016-05-04_12-30-06");
  logger.time_text(text, false, false);
  EXPECT_STREQ(text, "16/05/04-12:30:06 042");
  logger.time_text(text, false, true);
  EXPECT_STREQ(text, "12:30:06 042");
}

TEST_F(LogLine, SubjectNumberIsEightHexDigitsWide) {
  char buffer[9] = "12345678";
  logger.format_subject(0xBEEF, buffer, 8);
  EXPECT_STREQ(buffer, "12345678");
  logger.format_subject(0xBEEF, buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "    beef");
}

TEST_F(LogLine, SubjectMaskHas32Bits) {
  cfg.nSubjects = 0x80000002u;
  Open();
  EXPECT_FALSE(logger.subject_enabled(0));
  EXPECT_TRUE(logger.subject_enabled(1));
  EXPECT_FALSE(logger.subject_enabled(30));
  EXPECT_TRUE(logger.subject_enabled(31));
  EXPECT_TRUE(logger.subject_enabled(32));
  EXPECT_TRUE(logger.subject_enabled(1000));
}

}  // namespace
}  // namespace TSEG
