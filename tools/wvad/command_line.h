// SPDX-License-Identifier: Apache-2.0
//
// The command line: every command with its options, their help and what they may be, and the command that was asked for.
#ifndef WVAD_WVAD_COMMAND_LINE_H_
#define WVAD_WVAD_COMMAND_LINE_H_

#include "wvad/exit_codes.h"

namespace TSEG::tool {

// Runs the command that the arguments name and gives its code; help and version print themselves. Throws Failure, kUsage among them.
ExitCode RunCommandLine(int argc, char** argv);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMMAND_LINE_H_
