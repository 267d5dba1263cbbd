// SPDX-License-Identifier: Apache-2.0
//
// What the program says to the person at the terminal, on standard error: one line each, with colours where they are wanted.
#ifndef WVAD_WVAD_MESSAGES_H_
#define WVAD_WVAD_MESSAGES_H_

#include <string>

namespace TSEG::tool {

// "wvad: LINE", its begin in red or yellow; names in it stand as shown.h has them.
void SayFailure(const std::string& line);
void SayNote(const std::string& line);

// What environment variables say of colours, each null where it is not set.
struct ColourWishes {
  const char* no_color = nullptr;        // NO_COLOR: none, if it is not empty (no-color.org)
  const char* clicolor = nullptr;        // CLICOLOR: none, if it is 0
  const char* clicolor_force = nullptr;  // CLICOLOR_FORCE: also where there is no terminal, if it is not 0
  const char* term = nullptr;            // TERM: none on a "dumb" terminal, and on one that has no name
};
bool WantsColours(const ColourWishes& wishes, bool is_terminal);

// A terminal on standard error whose lines can be written anew.
bool HasLivingTerminal();

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MESSAGES_H_
