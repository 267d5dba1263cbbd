// SPDX-License-Identifier: Apache-2.0
//
// What can be said of the command line from its own tables: the words for completions, and what a mistyped one may have been.
#ifndef WVAD_WVAD_COMMAND_WORDS_H_
#define WVAD_WVAD_COMMAND_WORDS_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "wvad/completions.h"

namespace TSEG::tool {

// All commands and options of `app`.
CommandWords WordsOfCommands(const CLI::App& app);

// The command below `app` that `names` lead to. Throws Failure(kUsage), with a guess, where there is none.
const CLI::App& CommandNamed(const CLI::App& app, const std::vector<std::string>& names);

// Why `arguments`, which `app` has refused with `error`, make no sense, in one line.
std::string WhatIsWrong(const CLI::App& app, const CLI::ParseError& error);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMMAND_WORDS_H_
