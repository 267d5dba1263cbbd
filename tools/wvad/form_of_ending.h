// SPDX-License-Identifier: Apache-2.0
//
// The form that a file's name asks for by its ending, where the command line names none.
#ifndef WVAD_WVAD_FORM_OF_ENDING_H_
#define WVAD_WVAD_FORM_OF_ENDING_H_

#include <span>
#include <string>
#include <string_view>

#include "wvad/file_system.h"

namespace TSEG::tool {

// Whether the last part of `path` is a name and behind it `ending`, such as ".csv", in letters of either case.
inline bool HasEnding(std::string_view path, std::string_view ending) {
  const std::string_view name = path.substr(path.find_last_of(kSeparators) + 1);
  if (ending.empty() || name.size() <= ending.size()) return false;
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  const std::string_view tail = name.substr(name.size() - ending.size());
  for (size_t i = 0; i < tail.size(); ++i) {
    if (lower(tail[i]) != lower(ending[i])) return false;
  }
  return true;
}

// The row whose ending `path` has, by the longest that fits; null where none does. `ending_of` gives that of a row, empty for a row that no
// ending asks for.
template <typename Row, typename EndingOf>
const Row* RowOfEnding(std::span<const Row> rows, const std::string& path, const EndingOf& ending_of) {
  const Row* best = nullptr;
  size_t length = 0;
  for (const Row& row : rows) {
    const std::string ending(ending_of(row));
    if (ending.size() <= length || !HasEnding(path, ending)) continue;
    best = &row;
    length = ending.size();
  }
  return best;
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FORM_OF_ENDING_H_
