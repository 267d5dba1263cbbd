// SPDX-License-Identifier: Apache-2.0
#include "wvad/command_words.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "wvad/did_you_mean.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/model_finder.h"
#include "wvad/parameter_table.h"

namespace TSEG::tool {
namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> words;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    words.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return words;
}

std::vector<std::string> BundledModels() { return {std::begin(kBundledModels), std::end(kBundledModels)}; }

std::vector<std::string> ParameterBegins() {
  std::vector<std::string> names;
  for (const ParameterRow& row : ParameterTable()) names.push_back(std::string(row.name) + "=");
  return names;
}

std::vector<std::string> ModelsAndParameterBegins() {
  std::vector<std::string> names = BundledModels();
  for (std::string& name : ParameterBegins()) names.push_back(std::move(name));
  return names;
}

// Forms of values that stand for something which is listed elsewhere.
struct KnownForm {
  const char* form;
  std::vector<std::string> (*choices)();
  bool or_file;
  bool list;
  bool goes_on;
};
constexpr KnownForm kKnownForms[] = {
    {kModelForm, BundledModels, true, false, false},
    {kSettingForm, ParameterBegins, false, false, true},
    {kComparedForm, ModelsAndParameterBegins, false, true, true},
};

// "table|json" are two choices, "N|mix|all" says that there are others than mix and all, "INT:{24,25}" are two again; a list of choices
// ends with kListForm.
ValueWords ValueOfForm(std::string form) {
  for (const KnownForm& known : kKnownForms) {
    if (form == known.form) return {known.choices(), known.or_file, known.list, known.goes_on};
  }
  ValueWords value;
  const std::string list_end = kListForm;
  if (form.size() > list_end.size() && form.compare(form.size() - list_end.size(), list_end.size(), list_end) == 0) {
    value.list = true;
    form.resize(form.size() - list_end.size());
  }
  if (const size_t brace = form.find(":{"); brace != std::string::npos && form.back() == '}') {
    value.choices = Split(form.substr(brace + 2, form.size() - brace - 3), ',');
  } else if (form.find('|') != std::string::npos) {
    for (const std::string& word : Split(form, '|')) {
      const bool upper = std::any_of(word.begin(), word.end(), [](unsigned char letter) { return std::isupper(letter) != 0; });
      if (!upper && !word.empty()) value.choices.push_back(word);
    }
  }
  return value;
}

OptionWords WordsOf(const CLI::Option& option) {
  OptionWords words;
  words.long_name = option.get_lnames()[0];
  if (!option.get_snames().empty()) words.short_name = option.get_snames()[0];
  words.words = option.get_description();
  words.takes_value = option.get_items_expected_max() > 0;
  if (words.takes_value) words.value = ValueOfForm(option.get_type_name());
  return words;
}

// The names alone: what `help` takes, but for itself.
std::vector<CommandWords> WithoutOptions(const std::vector<CommandWords>& commands) {
  std::vector<CommandWords> names;
  for (const CommandWords& command : commands) {
    if (command.name == kHelpCommand) continue;
    names.push_back({command.name, command.words, {}, WithoutOptions(command.commands), false, {}});
  }
  return names;
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
  const auto has = [&command](const char* name) { return command.get_option_no_throw(name) != nullptr; };
  const bool of_output = given.starts_with("-o") || given.starts_with("--out");
  if (of_output && has("--directory") && !has("--output")) return " (this command writes into a folder: -d DIR)";
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return DidYouMean(given.substr(0, given.find('=')), names);
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

}  // namespace

CommandWords WordsOfCommands(const CLI::App& app) {
  CommandWords words;
  words.name = app.get_name();
  words.words = app.get_description();
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_lnames().empty()) words.options.push_back(WordsOf(*option));
    if (!option->get_positional()) continue;
    words.takes_arguments = true;
    words.argument = ValueOfForm(option->get_type_name());
  }
  for (const CLI::App* command : app.get_subcommands(nullptr)) words.commands.push_back(WordsOfCommands(*command));
  for (CommandWords& command : words.commands) {
    if (command.name != kHelpCommand) continue;
    command.commands = WithoutOptions(words.commands);
    command.takes_arguments = false;
  }
  return words;
}

std::string HelpOf(const CLI::App& app, const std::vector<std::string>& names) {
  std::string way = app.get_name();
  for (const std::string& name : names) way += " " + name;
  // By its own words: help() would give those of the command that was named, which is the one that asks.
  return app.get_formatter()->make_help(&CommandNamed(app, names), way, CLI::AppFormatMode::Normal);
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
