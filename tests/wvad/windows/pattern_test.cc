// SPDX-License-Identifier: Apache-2.0
#include "wvad/windows/pattern.h"

#include <gtest/gtest.h>

#include "wvad/file_system.h"

namespace TSEG::tool {
namespace {

struct Row {
  const char* pattern;
  const char* text;
  bool matches;
};

TEST(Pattern, MatchesAsInShells) {
  constexpr Row kRows[] = {
      {"*.wav", "a.wav", true},
      {"*.wav", ".wav", false},
      {"*.wav", "a.wave", false},
      {"*.wav", "b/a.wav", false},
      {"*/*.wav", "b/a.wav", true},
      {"a?c", "abc", true},
      {"a?c", "ac", false},
      {"a?c", "a/c", false},
      {"take[0-9]", "take7", true},
      {"take[0-9]", "takex", false},
      {"take[!0-9]", "takex", true},
      {"take[!0-9]", "take7", false},
      {"[]x]", "]", true},
      {"[abc", "[abc", true},
      {"[abc", "a", false},
      {"*a*b*c", "xaybzc", true},
      {"*a*b*c", "xbyazc", false},
      {"", "", true},
      {"", "a", false},
      {"*", "", true},
      {".*", ".wav", true},
      {"b/*", "b/.wav", false},
      {"b/.*", "b/.wav", true},
      {"?wav", ".wav", false},
      {"a*", "a.wav", true},
      {"[a-]", "-", true},
      {"a[/]b", "a/b", false},
  };
  for (const Row& row : kRows) {
    EXPECT_EQ(MatchesFrom(std::string_view(row.pattern), std::string_view(row.text)), row.matches) << row.pattern << " " << row.text;
  }
}

TEST(Pattern, LettersOfEitherCaseAndEitherSeparator) {
  EXPECT_TRUE(MatchesPattern("*.WAV", "Talk.wav"));
  EXPECT_TRUE(MatchesPattern("b\\*.wav", "B/a.wav"));
  EXPECT_TRUE(MatchesPattern("\xC3\x84*.wav", "\xC3\xA4rger.wav"));  // A and a with two dots
  EXPECT_FALSE(MatchesPattern("*.wav", "b\\a.wav"));
}

}  // namespace
}  // namespace TSEG::tool
