// SPDX-License-Identifier: Apache-2.0
//
// What the shells need to complete a command line of this program, made from the tables of commands and options themselves.
#ifndef WVAD_WVAD_COMPLETIONS_H_
#define WVAD_WVAD_COMPLETIONS_H_

#include <span>
#include <string>
#include <vector>

namespace TSEG::tool {

// What may stand at a place of the command line.
struct ValueWords {
  std::vector<std::string> choices;  // empty: a file is as good as anything
  bool or_file = false;              // or a file
  bool list = false;                 // several of them, with commas between
  bool goes_on = false;              // a choice is a begin, such as NAME=
};

struct OptionWords {
  std::string long_name;   // without dashes
  std::string short_name;  // one letter, or empty
  std::string words;       // what it does
  bool takes_value = false;
  ValueWords value;
};

struct CommandWords {
  std::string name;
  std::string words;
  std::vector<OptionWords> options;
  std::vector<CommandWords> commands;  // below it; a command that has some takes no arguments
  bool takes_arguments = false;
  ValueWords argument;
};

// A script for each shell. `program` is the whole program: its name, and its commands.
std::string BashCompletion(const CommandWords& program);
std::string ZshCompletion(const CommandWords& program);
std::string FishCompletion(const CommandWords& program);

struct Shell {
  const char* name;
  const char* words;
  std::string (*make)(const CommandWords& program);
};
std::span<const Shell> Shells();

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMPLETIONS_H_
