// SPDX-License-Identifier: Apache-2.0
//
// The configuration grammar: sections, entries, trimming, quotes, and texts that are no configuration at all.
#include "base/config_file.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace TSEG {
namespace {

using std::string_literals::operator""s;

// The entries of section "vad" as "key|value" texts.
std::vector<std::string> Entries(std::string_view text, std::string_view section = "vad") {
  std::vector<std::string> lines;
  for (const ConfigEntry& entry : ConfigSection::Parse(text, section).entries()) lines.push_back(entry.key + "|" + entry.value);
  return lines;
}

using Lines = std::vector<std::string>;

TEST(ConfigFile, TakesTheEntriesOfTheWantedSectionAlone) {
  EXPECT_EQ(Entries("a=0\n[kel]\nb=1\n[vad]\nc=2\nd=3\n[resMgr]\ne=4\n"), (Lines{"c|2", "d|3"}));
}

TEST(ConfigFile, SectionThatComesTwiceCountsBothTimes) {
  EXPECT_EQ(Entries("[vad]\na=1\n[kel]\nb=2\n[vad]\nc=3\n"), (Lines{"a|1", "c|3"}));
}

TEST(ConfigFile, SectionNameIsComparedWithoutCase) {
  EXPECT_EQ(Entries("[VaD]\na=1\n"), Lines{"a|1"});
  EXPECT_EQ(Entries("[resmgr]\na=1\n", "resMgr"), Lines{"a|1"});
}

TEST(ConfigFile, SectionNameLosesBracketsBlanksAndControlsAtBothEnds) {
  for (const char* header : {"[vad]", "[ vad ]", "[vad", "  [\tvad\t]  ", "[]vad]]", "[vad ] ]"}) {
    EXPECT_EQ(Entries(std::string(header) + "\na=1\n"), Lines{"a|1"}) << header;
  }
  EXPECT_EQ(Entries("[[vad]]\na=1\n"), Lines{});  // a second opening bracket belongs to the name
  EXPECT_EQ(Entries("[vad] x\na=1\n"), Lines{});
  EXPECT_EQ(Entries("[va d]\na=1\n"), Lines{});
}

TEST(ConfigFile, LinesBeforeTheFirstHeaderBelongToNoSection) {
  EXPECT_EQ(Entries("a=1\n[vad]\nb=2\n"), Lines{"b|2"});
  EXPECT_EQ(Entries("a=1\n", ""), Lines{});
}

TEST(ConfigFile, CommentsAndEmptyLinesAreSkipped) {
  EXPECT_EQ(Entries("[vad]\n\n  \t \n# a=1\n;b=2\n  # c=3\n d=4 ; kept\n"), Lines{"d|4 ; kept"});
}

TEST(ConfigFile, SplitsAtTheFirstEqualsSign) { EXPECT_EQ(Entries("[vad]\na=b=c\n=x\n"), (Lines{"a|b=c", "|x"})); }

TEST(ConfigFile, LineWithoutEqualsIsAnEntryWithoutValue) {
  EXPECT_EQ(Entries("[vad]\nalone here\nempty =\n"), (Lines{"alone here|", "empty|"}));
}

TEST(ConfigFile, KeyAndValueAreTrimmed) { EXPECT_EQ(Entries("[vad]\n\x01 a b\t = \t c d \x1f\r\n"), Lines{"a b|c d"}); }

TEST(ConfigFile, CharactersAbove32StayAtTheEnds) { EXPECT_EQ(Entries("[vad]\n\xc3\xa4\x7f = \xff\x80\n"), Lines{"\xc3\xa4\x7f|\xff\x80"}); }

TEST(ConfigFile, OpeningQuoteGoesAndTheSameQuoteAtTheEndToo) {
  struct {
    const char* value;
    const char* wanted;
  } const rows[] = {{"\"x y\"", "x y"}, {"'x y'", "x y"}, {"\"x'", "x'"},         {"'x\"", "x\""},      {"x\"", "x\""}, {"\" x \"", " x "},
                    {"\"", ""},         {"\"\"", ""},     {"\"\"x\"\"", "\"x\""}, {"\"x\" y", "x\" y"}, {"'a", "a"}};
  for (const auto& row : rows) EXPECT_EQ(Entries("[vad]\nk="s + row.value + "\n"), Lines{"k|"s + row.wanted}) << row.value;
}

TEST(ConfigFile, EntriesKeepTheirOrderAndDuplicates) {
  EXPECT_EQ(Entries("[vad]\nb=1\na=2\nB=3\nb=1\n"), (Lines{"b|1", "a|2", "B|3", "b|1"}));
}

TEST(ConfigFile, LookupTakesTheFirstWithoutCase) {
  const ConfigSection section = ConfigSection::Parse("[vad]\nKey=1\nkey=2\n", "vad");
  ASSERT_NE(section.find("kEY"), nullptr);
  EXPECT_EQ(*section.find("kEY"), "1");
  EXPECT_EQ(section.find("other"), nullptr);
}

TEST(ConfigFile, EmptyFirstEntryHidesALaterOne) {
  const ConfigSection section = ConfigSection::Parse("[vad]\nkey=\nkey=2\n", "vad");
  ASSERT_NE(section.find("key"), nullptr);
  EXPECT_EQ(*section.find("key"), "");
  EXPECT_EQ(section.find_set("key"), nullptr);
}

TEST(ConfigFile, FoldsTheLettersAToZAlone) {
  EXPECT_TRUE(EqualsIgnoringCase("AbZ", "aBz"));
  EXPECT_FALSE(EqualsIgnoringCase("a", "ab"));
  EXPECT_FALSE(EqualsIgnoringCase("[", "{"));                // 32 apart, as letters are
  EXPECT_FALSE(EqualsIgnoringCase("\xc3\x84", "\xc3\xa4"));  // an umlaut in both cases
}

TEST(ConfigFile, LastLineNeedsNoNewline) { EXPECT_EQ(Entries("[vad]\na=1"), Lines{"a|1"}); }

TEST(ConfigFile, TakesALineUpTo10000Characters) {
  const std::string exact = "k=" + std::string(9998, 'x');
  EXPECT_EQ(Entries("[vad]\n" + exact + "\nb=2\n"), (Lines{"k|" + std::string(9998, 'x'), "b|2"}));
  EXPECT_EQ(Entries("[vad]\n" + exact + "yyy=z\nb=2\n"), (Lines{"k|" + std::string(9998, 'x'), "b|2"}));
}

TEST(ConfigFile, ZeroByteIsAControlCharacter) { EXPECT_EQ(Entries("[vad]\n\0a\0b = c\0\n"s), Lines{"a\0b|c"s}); }

TEST(ConfigFile, AcceptsAnyBytes) {
  std::mt19937 random(20240607);
  for (int round = 0; round < 300; ++round) {
    std::string text = "[vad]\n";
    const size_t length = random() % 4000;
    for (size_t i = 0; i < length; ++i)
      text += static_cast<char>(random() % 7 == 0 ? "[]=\n\"'#; "[random() % 9] : static_cast<char>(random() & 0xFF));
    for (const ConfigEntry& entry : ConfigSection::Parse(text, "vad").entries()) {
      EXPECT_EQ(entry.key.find('='), std::string::npos);
      EXPECT_EQ((entry.key + entry.value).find('\n'), std::string::npos);
      if (!entry.key.empty()) {
        EXPECT_GT(static_cast<unsigned char>(entry.key.front()), 32) << "round " << round;
        EXPECT_GT(static_cast<unsigned char>(entry.key.back()), 32) << "round " << round;
        EXPECT_NE(entry.key.front(), '[') << "round " << round;
      }
    }
  }
  EXPECT_TRUE(ConfigSection::Parse("", "vad").entries().empty());
  EXPECT_TRUE(ConfigSection::Parse(std::string(1 << 20, '\n'), "vad").entries().empty());
}

}  // namespace
}  // namespace TSEG
