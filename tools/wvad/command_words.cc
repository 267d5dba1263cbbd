// SPDX-License-Identifier: Apache-2.0
#include "wvad/command_words.h"

#include <algorithm>
#include <cctype>

#include "wvad/did_you_mean.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"

namespace TSEG::tool {
namespace {

// "table|json" are two; "N|mix|all" says that there are others than mix and all.
std::vector<std::string> ChoicesOf(const std::string& form) {
  std::vector<std::string> choices;
  if (form.find('|') == std::string::npos) return choices;
  std::string word;
  for (const char c : form + "|") {
    if (c != '|') {
      word += c;
      continue;
    }
    const bool upper = std::any_of(word.begin(), word.end(), [](unsigned char letter) { return std::isupper(letter) != 0; });
    if (!upper && !word.empty()) choices.push_back(word);
    word.clear();
  }
  return choices;
}

std::vector<std::string> NamesOfCommands(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) names.push_back(command->get_name());
  return names;
}

// The command that was named, as far as names were right.
const CLI::App& Innermost(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
  return *command;
}

std::string NoSuchCommand(const CLI::App& app, const std::string& name) {
  const std::string guess = DidYouMean(name, NamesOfCommands(app));
  if (guess.empty() && LookAt(name).kind != FileKind::kNone) return name + ": a command is expected first: wvad segment " + name;
  return "no such command: " + name + guess + " (see --help)";
}

std::string GuessOfOption(const CLI::App& command, const std::string& given) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return DidYouMean(given.substr(0, given.find('=')), names);
}

}  // namespace

CommandWords WordsOfCommands(const CLI::App& app) {
  CommandWords words;
  words.name = app.get_name();
  words.words = app.get_description();
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_lnames().empty()) continue;
    const bool takes_value = option->get_items_expected_max() > 0;
    words.options.push_back({option->get_lnames()[0], option->get_snames().empty() ? "" : option->get_snames()[0],
                             option->get_description(), takes_value,
                             takes_value ? ChoicesOf(option->get_type_name()) : std::vector<std::string>()});
  }
  for (const CLI::App* command : app.get_subcommands(nullptr)) words.commands.push_back(WordsOfCommands(*command));
  return words;
}

const CLI::App& CommandNamed(const CLI::App& app, const std::vector<std::string>& names) {
  const CLI::App* command = &app;
  for (const std::string& name : names) {
    const std::vector<const CLI::App*> below = command->get_subcommands(nullptr);
    const auto found = std::find_if(below.begin(), below.end(), [&](const CLI::App* one) { return one->get_name() == name; });
    if (found == below.end()) throw Failure(ExitCode::kUsage, NoSuchCommand(*command, name));
    command = *found;
  }
  return *command;
}

std::string WhatIsWrong(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& command = Innermost(app);
  const std::vector<std::string> rest = app.remaining(true);
  const bool wants_command = !command.get_subcommands(nullptr).empty() && !rest.empty() && rest[0][0] != '-';
  if (wants_command) return NoSuchCommand(command, rest[0]);
  std::string guess;
  for (const std::string& name : rest) {
    if (name.empty() || name[0] != '-') continue;
    if (LookAt(name).kind != FileKind::kNone) return name + ": taken for an option; the file of that name is ./" + name;
    if (guess.empty()) guess = GuessOfOption(command, name);
  }
  return std::string(error.what()) + guess + " (see --help)";
}

}  // namespace TSEG::tool
