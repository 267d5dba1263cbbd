// SPDX-License-Identifier: Apache-2.0
//
// What can be said of the command line from its own tables: the words for completions, the help of a command by its name, and what a
// mistyped one may have been.
#ifndef WVAD_WVAD_COMMAND_WORDS_H_
#define WVAD_WVAD_COMMAND_WORDS_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "wvad/completions.h"

namespace TSEG::tool {

// What the forms of values (CLI's type names) say to those who complete them: the name of a model or a file, a parameter's setting, both
// with commas between them, and the end of the form of a list.
constexpr const char* kModelForm = "NAME|FILE";
constexpr const char* kSettingForm = "NAME=VALUE";
constexpr const char* kComparedForm = "MODEL,NAME=VALUE";
constexpr const char* kListForm = "[,...]";

// The command that takes the names of others.
constexpr const char* kHelpCommand = "help";

// All commands and options of `app`.
CommandWords WordsOfCommands(const CLI::App& app);

// The help of the command below `app` that `names` lead to, of `app` itself without any. Throws Failure(kUsage), with a guess, where there
// is none.
std::string HelpOf(const CLI::App& app, const std::vector<std::string>& names);

// Why `arguments`, which `app` has refused with `error`, make no sense, in one line.
std::string WhatIsWrong(const CLI::App& app, const CLI::ParseError& error);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMMAND_WORDS_H_
