// SPDX-License-Identifier: Apache-2.0
//
// Names of files as people are shown them. A name may hold anything but NUL and the slash; on a terminal a line break makes two lines of a
// message, and an escape sequence colours or moves what comes behind it. Forms for programs (JSON, CSV) have ways of their own.
#ifndef WVAD_WVAD_SHOWN_H_
#define WVAD_WVAD_SHOWN_H_

#include <string>
#include <string_view>

namespace TSEG::tool {

// `text` in one line: control characters (C0, DEL, C1), the line and paragraph separators of Unicode, and bytes that are no UTF-8 stand
// there as \n, \r, \t or \xHH for each byte; all else as it is. Shown twice it is shown once.
std::string Shown(std::string_view text);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SHOWN_H_
