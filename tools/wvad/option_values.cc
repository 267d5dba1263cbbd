// SPDX-License-Identifier: Apache-2.0
#include "wvad/option_values.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

// As people call it: the long name, where there is one.
std::string NameOf(const CLI::Option& option) {
  return option.get_lnames().empty() ? option.get_name() : "--" + option.get_lnames().front();
}

}  // namespace

CLI::Option* AddWhole(CLI::App* command, const std::string& option, int& value, const std::string& words, int least, int most) {
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  const auto take = [&value, option, least, most, range](const std::string& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
      throw CLI::ValidationError(option.substr(option.find("--")), "\"" + text + "\" is not a whole number from " + range);
    }
    value = number;
  };
  CLI::Option* added = command->add_option_function<std::string>(option, take, words + " (" + range + ")")->type_name("N");
  if (value != 0) added->default_str(std::to_string(value));
  return added;
}

CLI::Validator PlainNumber() {
  const auto check = [](std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size() && std::isfinite(number);
    return whole ? std::string() : "\"" + text + "\" is not a number";
  };
  return CLI::Validator(check, "");
}

void CheckArguments(int argc, const char* const* argv) {
  for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
    const std::string_view argument = argv[i];
    const bool empty = argument.size() > 3 && argument.substr(0, 2) == "--" && argument.find('=') == argument.size() - 1;
    if (empty) throw Failure(ExitCode::kUsage, std::string(argument.substr(0, argument.size() - 1)) + ": its value is empty");
  }
}

void CheckValues(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_items_expected_max() != 1) continue;
    if (option->results().size() > 1 && option->get_positional()) {
      throw Failure(ExitCode::kUsage, option->results()[1] + ": several recordings; call " + command.get_name() + " once for each");
    }
    if (option->results().size() > 1) {
      throw Failure(ExitCode::kUsage, NameOf(*option) + ": given twice, with \"" + option->results()[0] + "\" and \"" +
                                          option->results()[1] + "\"; it holds one value");
    }
    if (!option->results().empty() && option->results()[0].empty()) {
      throw Failure(ExitCode::kUsage, NameOf(*option) + ": its value is empty");
    }
  }
  for (const CLI::App* below : command.get_subcommands()) CheckValues(*below);
}

}  // namespace TSEG::tool
