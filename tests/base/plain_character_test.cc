// SPDX-License-Identifier: Apache-2.0
#include "base/plain_character.h"

#include <gtest/gtest.h>

#include <string>

namespace TSEG {
namespace {

TEST(PlainCharacter, HasTheLengthOfItsFirstByte) {
  for (const char* character : {"a", "~", "\xC2\xA0", "\xDF\xBF", "\xE0\xA0\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    const std::string text = std::string("x") + character + "x";
    EXPECT_EQ(PlainCharacterAt(text, 1), text.size() - 2) << character;
  }
}

TEST(PlainCharacter, IsNoByteAlone) {
  // A byte that follows, one that never comes, one cut off by the end and one by a letter.
  for (const char* text : {"\x80", "\xFF", "\xE2\x82", "\xE2\x82x", "\xC3"}) EXPECT_EQ(PlainCharacterAt(text, 0), 0U) << text;
}

TEST(PlainCharacter, IsNotWrittenLongerThanItIsNorHalfOfAPair) {
  for (const char* text : {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80",
                           "\xF5\x80\x80\x80"}) {
    EXPECT_EQ(PlainCharacterAt(text, 0), 0U) << text;
  }
}

TEST(PlainCharacter, ChangesNoTerminalAndEndsNoLine) {
  for (const char* text : {"\n", "\x1B", "\x7F", "\xC2\x80", "\xC2\x9F", "\xE2\x80\xA8", "\xE2\x80\xA9"})
    EXPECT_EQ(PlainCharacterAt(text, 0), 0U) << text;
  EXPECT_EQ(PlainCharacterAt(std::string(1, '\0'), 0), 0U);
  EXPECT_EQ(PlainCharacterAt("\xE2\x80\xA7", 0), 3U);  // their neighbour, a hyphenation point
}

}  // namespace
}  // namespace TSEG
