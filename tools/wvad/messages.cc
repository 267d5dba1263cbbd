// SPDX-License-Identifier: Apache-2.0
#include "wvad/messages.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "wvad/shown.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

bool IsSet(const char* value) { return value != nullptr && value[0] != '\0'; }
bool Is(const char* value, std::string_view wanted) { return value != nullptr && wanted == value; }

bool Coloured() {
  static const std::string kind = TerminalKind();
  static const bool coloured = WantsColours({std::getenv("NO_COLOR"), std::getenv("CLICOLOR"), std::getenv("CLICOLOR_FORCE"), kind.c_str()},
                                            IsTerminal(kStandardError));
  return coloured;
}

void Say(const char* colour, const std::string& words) {
  const std::string line = Shown(words);
  if (Coloured()) {
    std::fprintf(stderr, "\x1b[%smwvad:\x1b[0m %s\n", colour, line.c_str());
  } else {
    std::fprintf(stderr, "wvad: %s\n", line.c_str());
  }
}

}  // namespace

void SayFailure(const std::string& line) { Say("1;31", line); }
void SayNote(const std::string& line) { Say("1;33", line); }

bool WantsColours(const ColourWishes& wishes, bool is_terminal) {
  if (IsSet(wishes.no_color)) return false;
  if (IsSet(wishes.clicolor_force) && !Is(wishes.clicolor_force, "0")) return true;
  if (Is(wishes.clicolor, "0")) return false;
  return is_terminal && IsSet(wishes.term) && !Is(wishes.term, "dumb");
}

bool HasLivingTerminal() {
  const std::string kind = TerminalKind();
  return IsTerminal(kStandardError) && !kind.empty() && kind != "dumb";
}

}  // namespace TSEG::tool
