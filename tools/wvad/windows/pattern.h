// SPDX-License-Identifier: Apache-2.0
//
// MatchesFrom: patterns of names as shells have them, where the system brings no function for them.
#ifndef WVAD_WVAD_WINDOWS_PATTERN_H_
#define WVAD_WVAD_WINDOWS_PATTERN_H_

#include <cstddef>
#include <string_view>

namespace TSEG::tool {

// Whether `c` is in the set of characters at the begin of `pattern`, behind its bracket ("a-z]..." or "!0-9]..."); takes the set away. A
// bracket that is never closed leaves `pattern` as it is, and stands for itself.
template <typename Character>
bool IsInSet(std::basic_string_view<Character>* pattern, Character c) {
  const size_t first = !pattern->empty() && (pattern->front() == '!' || pattern->front() == '^') ? 1 : 0;
  const size_t end = pattern->find(Character{']'}, first + 1);
  if (end == std::basic_string_view<Character>::npos) return c == '[';
  bool found = false;
  for (size_t i = first; i < end; ++i) {
    const bool is_range = i + 2 < end && (*pattern)[i + 1] == '-';
    found = found || (is_range ? (*pattern)[i] <= c && c <= (*pattern)[i + 2] : (*pattern)[i] == c);
    if (is_range) i += 2;
  }
  pattern->remove_prefix(end + 1);
  return found != (first == 1);
}

// Whether all of `text` matches `pattern`: "*" is any characters but slashes, "?" one of them, "[a-z]" one of a set. Where `text` is the
// begin of a name, and behind each slash, a dot is matched by a dot alone.
template <typename Character>
bool MatchesFrom(std::basic_string_view<Character> pattern, std::basic_string_view<Character> text, bool is_begin = true) {
  while (!pattern.empty()) {
    const Character wanted = pattern.front();
    if (is_begin && wanted != '.' && !text.empty() && text.front() == '.') return false;
    pattern.remove_prefix(1);
    if (wanted == '*') {
      for (;; text.remove_prefix(1), is_begin = false) {
        if (MatchesFrom(pattern, text, is_begin)) return true;
        if (text.empty() || text.front() == '/') return false;
      }
    }
    if (text.empty()) return false;
    const Character c = text.front();
    text.remove_prefix(1);
    const bool fits = wanted == '?' ? c != '/' : wanted == '[' ? c != '/' && IsInSet(&pattern, c) : c == wanted;
    if (!fits) return false;
    is_begin = c == '/';
  }
  return text.empty();
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_WINDOWS_PATTERN_H_
