// SPDX-License-Identifier: Apache-2.0
//
// Text in lines that fit a terminal.
#include "wvad/wrapped.h"

#include <gtest/gtest.h>

namespace TSEG::tool {
namespace {

TEST(Wrapped, LinesAreBrokenAtBlanksAndGoOnIndented) {
  EXPECT_EQ(Wrapped("one two three", 13, 2), "one two three");
  EXPECT_EQ(Wrapped("one two three", 12, 2), "one two\n  three");
  EXPECT_EQ(Wrapped("one two three", 7, 2), "one two\n  three");
  EXPECT_EQ(Wrapped("one two three", 6, 0), "one\ntwo\nthree");
  EXPECT_EQ(Wrapped("", 5, 2), "");
}

TEST(Wrapped, BlanksInALineStayAndThoseAtItsBreakGo) {
  EXPECT_EQ(Wrapped("  a   b     cd", 9, 4), "  a   b\n    cd");
  EXPECT_EQ(Wrapped("abc     ", 5, 2), "abc     ");
}

TEST(Wrapped, AWordThatIsTooLongBreaksBehindASeparatorOrStays) {
  EXPECT_EQ(Wrapped("csv|json|srt", 9, 1), "csv|json|\n srt");
  EXPECT_EQ(Wrapped("a,b,c", 3, 0), "a,\nb,c");
  EXPECT_EQ(Wrapped("unbreakable words", 4, 2), "unbreakable\n  words");
  EXPECT_EQ(Wrapped("unbreakable", 1, 9), "unbreakable");
}

TEST(Wrapped, ColumnsAreCharactersAndNoneIsTorn) {
  EXPECT_EQ(Columns("\xc3\xa4\xe2\x82\xac"), 2U);
  EXPECT_EQ(Cut("\xc3\xa4\xe2\x82\xac!", 2), "\xc3\xa4\xe2\x82\xac");
  EXPECT_EQ(Wrapped("\xc3\xa4\xc3\xa4 b", 4, 0), "\xc3\xa4\xc3\xa4 b");
}

TEST(Wrapped, ParagraphsAreFilledAndIndentedLinesKept) {
  const char* text = "It is\nsaid in\na few words.\n\nExamples:\n  run a  it\n  stop\n";
  EXPECT_EQ(Filled(text, 40), "It is said in a few words.\n\nExamples:\n  run a  it\n  stop\n");
  EXPECT_EQ(Filled(text, 10), "It is said\nin a few\nwords.\n\nExamples:\n  run a\n      it\n  stop\n");
}

}  // namespace
}  // namespace TSEG::tool
