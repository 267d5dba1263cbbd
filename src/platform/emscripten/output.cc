// SPDX-License-Identifier: Apache-2.0
//
// Lines for a person go to standard error, which is the console of the page or the program that runs this code. And the end, a trap.
#include <cstdio>

#include "platform/platform.h"

namespace TSEG::platform {

void WriteDebugger(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

void ShowMessage(const std::string& caption, const std::string& line, bool is_error) {
  std::fprintf(stderr, "%s%s%s\n", caption.c_str(), is_error ? " [error]: " : " [information]: ", line.c_str());
}

bool OpenConsole() { return false; }

void CloseConsole() {}

// Address zero can be written here; a trap ends all that runs.
void FaultAtZero() { __builtin_trap(); }

}  // namespace TSEG::platform
