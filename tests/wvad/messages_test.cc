// SPDX-License-Identifier: Apache-2.0
#include "wvad/messages.h"

#include <gtest/gtest.h>

namespace TSEG::tool {
namespace {

TEST(Messages, ColoursFollowTheEnvironmentAndTheTerminal) {
  struct Row {
    const char* name;
    ColourWishes wishes;
    bool is_terminal;
    bool coloured;
  };
  const Row rows[] = {
      {"a terminal", {nullptr, nullptr, nullptr, "xterm"}, true, true},
      {"a file", {nullptr, nullptr, nullptr, "xterm"}, false, false},
      {"NO_COLOR", {"1", nullptr, nullptr, "xterm"}, true, false},
      {"NO_COLOR empty", {"", nullptr, nullptr, "xterm"}, true, true},
      {"NO_COLOR beats force", {"1", nullptr, "1", "xterm"}, true, false},
      {"CLICOLOR=0", {nullptr, "0", nullptr, "xterm"}, true, false},
      {"CLICOLOR=1 on a terminal", {nullptr, "1", nullptr, "xterm"}, true, true},
      {"CLICOLOR=1 into a file", {nullptr, "1", nullptr, "xterm"}, false, false},
      {"CLICOLOR_FORCE=1 into a file", {nullptr, nullptr, "1", nullptr}, false, true},
      {"CLICOLOR_FORCE=0", {nullptr, nullptr, "0", "xterm"}, false, false},
      {"a dumb terminal", {nullptr, nullptr, nullptr, "dumb"}, true, false},
      {"a terminal without a name", {nullptr, nullptr, nullptr, nullptr}, true, false},
  };
  for (const Row& row : rows) EXPECT_EQ(WantsColours(row.wishes, row.is_terminal), row.coloured) << row.name;
}

}  // namespace
}  // namespace TSEG::tool
