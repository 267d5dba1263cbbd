// SPDX-License-Identifier: Apache-2.0
//
// What the values of all options keep to: a whole number is written in decimal digits, nothing is empty (a script's variable that was not
// set), and what holds one value is given once.
#ifndef WVAD_WVAD_OPTION_VALUES_H_
#define WVAD_WVAD_OPTION_VALUES_H_

#include <CLI/CLI.hpp>
#include <span>
#include <string>

#include "wvad/named_rows.h"

namespace TSEG::tool {

// An option that names a row of a table; its help lists the rows.
template <typename Row>
CLI::Option* AddChoice(CLI::App* command, const std::string& option, const Row*& choice, const std::string& words,
                       std::span<const Row> rows) {
  const auto take = [&choice, rows, option](const std::string& name) {
    const Row* row = FindRow(rows, name);
    if (row == nullptr) {
      const size_t dashes = option.find("--");
      throw CLI::ValidationError(dashes == std::string::npos ? option : option.substr(dashes),
                                 "there is no " + name + "; choose " + NamesOf(rows, ", ", " or "));
    }
    choice = row;
  };
  CLI::Option* added = command->add_option_function<std::string>(option, take, words + WordsOf(rows));
  if (choice != nullptr) added->default_str(choice->name);
  return added->type_name(NamesOf(rows, "|", "|"));
}

// An option that takes a whole number from `least` to `most`; anything else is told that range. `value` stays where it is not given,
// and the help shows it unless it is 0.
CLI::Option* AddWhole(CLI::App* command, const std::string& option, int& value, const std::string& words, int least, int most);

// Refuses numbers in other than decimal digits, and blanks around them, for options of other kinds.
CLI::Validator PlainNumber();

// Throws Failure(kUsage) for "--output=", which would take its value from the argument behind it.
void CheckArguments(int argc, const char* const* argv);
// Throws Failure(kUsage) for an option of a command that was given, or of one below it, that is empty or was given twice. Flags and options
// that gather values may come any number of times.
void CheckValues(const CLI::App& command);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_OPTION_VALUES_H_
