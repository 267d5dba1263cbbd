// SPDX-License-Identifier: Apache-2.0
//
// Tables whose rows have a `name`: what an option takes, what its help lists, and what a wrong name is told come from the same rows.
#ifndef WVAD_WVAD_NAMED_ROWS_H_
#define WVAD_WVAD_NAMED_ROWS_H_

#include <cstddef>
#include <span>
#include <string>

namespace TSEG::tool {

// The row called `name`, null if there is none.
template <typename Row>
const Row* FindRow(std::span<const Row> rows, const std::string& name) {
  for (const Row& row : rows) {
    if (name == row.name) return &row;
  }
  return nullptr;
}

// All names, with one text between them and another before the last.
template <typename Row>
std::string NamesOf(std::span<const Row> rows, const char* between, const char* before_last) {
  std::string names;
  for (size_t i = 0; i < rows.size(); ++i) {
    if (i > 0) names += i + 1 == rows.size() ? before_last : between;
    names += rows[i].name;
  }
  return names;
}

// "table: for people; json: one document".
template <typename Row>
std::string WordsOf(std::span<const Row> rows) {
  std::string words;
  for (const Row& row : rows) words += (words.empty() ? "" : "; ") + std::string(row.name) + ": " + row.words;
  return words;
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_NAMED_ROWS_H_
