// SPDX-License-Identifier: Apache-2.0
#include "wvad/shown.h"

#include <gtest/gtest.h>

namespace TSEG::tool {
namespace {

TEST(Shown, WhatCanBeReadStaysAsItIs) {
  for (const char* text : {"", "talk.wav", "a b\\c'd\"e",
                           "Gr\xc3\xbc\xc3\x9f"
                           "e",
                           "\xe4\xbc\x9a\xe8\xae\xae", "\xf0\x9f\x8e\xa4.wav", "\xc2\xa0"}) {
    EXPECT_EQ(Shown(text), text);
  }
}

TEST(Shown, ControlCharactersAreEscaped) {
  EXPECT_EQ(Shown("no\nfile\r\t"), "no\\nfile\\r\\t");
  EXPECT_EQ(Shown("\x1b[31mred\x07\x7f"), "\\x1b[31mred\\x07\\x7f");
  EXPECT_EQ(Shown(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(Shown("\xc2\x9b"
                  "31m"),
            "\\xc2\\x9b31m");  // the control sequence introducer as one character
  EXPECT_EQ(Shown("a\xe2\x80\xa8"
                  "b"),
            "a\\xe2\\x80\\xa8b");  // line separator
}

TEST(Shown, BytesThatAreNoUtf8AreEscaped) {
  EXPECT_EQ(Shown("\xff\xfe"), "\\xff\\xfe");
  EXPECT_EQ(Shown("a\x80z"), "a\\x80z");                         // goes on with nothing
  EXPECT_EQ(Shown("\xc3"), "\\xc3");                             // cut short
  EXPECT_EQ(Shown("\xe4\xbc!"), "\\xe4\\xbc!");                  // cut short by another one
  EXPECT_EQ(Shown("\xc0\xaf"), "\\xc0\\xaf");                    // longer than it has to be
  EXPECT_EQ(Shown("\xe0\x80\xaf"), "\\xe0\\x80\\xaf");           // the same with three
  EXPECT_EQ(Shown("\xed\xa0\x80"), "\\xed\\xa0\\x80");           // a surrogate
  EXPECT_EQ(Shown("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // beyond the last character
}

TEST(Shown, TwiceIsOnce) {
  const std::string once = Shown("a\nb\xff\x1b");
  EXPECT_EQ(Shown(once), once);
}

}  // namespace
}  // namespace TSEG::tool
