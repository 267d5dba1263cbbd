// SPDX-License-Identifier: Apache-2.0
//
// Text in lines that fit a terminal. A column is a character, whatever the count of its bytes.
#ifndef WVAD_WVAD_WRAPPED_H_
#define WVAD_WVAD_WRAPPED_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace TSEG::tool {

// No line is too long.
constexpr size_t kAnyWidth = static_cast<size_t>(-1);

size_t Columns(std::string_view text);
// The first `columns` characters.
std::string_view Cut(std::string_view text, size_t columns);

// One line as several of up to `width` columns, broken at blanks, or behind | or a comma where a word fills a line by itself; what cannot
// be broken stays longer. Lines behind the first begin with `indent` blanks. No line end behind the last.
std::string Wrapped(std::string_view line, size_t width, size_t indent);

// A text of several lines: those that stand behind each other without indentation are one paragraph, which is broken anew; an indented
// line stands for itself and goes on four columns further in.
std::string Filled(std::string_view text, size_t width);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_WRAPPED_H_
