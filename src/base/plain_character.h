// SPDX-License-Identifier: Apache-2.0
//
// Text of unknown origin for a line that people read.
#ifndef WVAD_BASE_PLAIN_CHARACTER_H_
#define WVAD_BASE_PLAIN_CHARACTER_H_

#include <cstddef>
#include <string_view>

namespace TSEG {

// How many bytes the character of UTF-8 at `at` has; 0 where none stands (Unicode, table 3-7), and for one that does something to a
// terminal or ends a line: C0, DEL, C1, the line and paragraph separators.
size_t PlainCharacterAt(std::string_view text, size_t at);

}  // namespace TSEG

#endif  // WVAD_BASE_PLAIN_CHARACTER_H_
