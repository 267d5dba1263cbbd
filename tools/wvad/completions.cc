// SPDX-License-Identifier: Apache-2.0
#include "wvad/completions.h"

#include <functional>

namespace TSEG::tool {
namespace {

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// The first clause of a description, without what shells would take for their own.
std::string Short(const std::string& words) {
  std::string text = words.substr(0, words.find_first_of(".;("));
  while (!text.empty() && text.back() == ' ') text.pop_back();
  std::string plain;
  for (const char c : text) {
    if (std::string("'\"`[]\\$").find(c) == std::string::npos) plain += c == ':' ? ',' : c;
  }
  return plain;
}

std::vector<std::string> NamesOf(const std::vector<CommandWords>& commands) {
  std::vector<std::string> names;
  for (const CommandWords& command : commands) names.push_back(command.name);
  return names;
}

// Each command and those below it, with the names on the way to it: "model/pack". The program itself is "".
using Visit = std::function<void(const std::string& path, const CommandWords& command)>;
void VisitAll(const std::string& path, const CommandWords& command, const Visit& visit) {
  visit(path, command);
  for (const CommandWords& below : command.commands) VisitAll(path.empty() ? below.name : path + "/" + below.name, below, visit);
}

std::string BashCase(const std::string& path, const CommandWords& command) {
  std::string values;
  std::vector<std::string> words = NamesOf(command.commands);
  for (const OptionWords& option : command.options) {
    words.push_back("--" + option.long_name);
    if (!option.takes_value) continue;
    const std::string names = (option.short_name.empty() ? "" : "-" + option.short_name + " | ") + "--" + option.long_name;
    // Without choices of its own a value may be a file, which the shell completes where nothing else is offered.
    values += "        " + names + ")" +
              (option.choices.empty() ? "" : " COMPREPLY=($(compgen -W \"" + Joined(option.choices) + "\" -- \"$cur\"));") + " return ;;\n";
  }
  return "    \"" + path + "\")\n" + (values.empty() ? "" : "      case $prev in\n" + values + "      esac\n") + "      words=\"" +
         Joined(words) + "\"\n" + (command.commands.empty() ? "" : "      files=no\n") + "      ;;\n";
}

std::string ZshOption(const OptionWords& option) {
  const std::string names = option.short_name.empty() ? "--" + option.long_name : "";
  const std::string pair = "{-" + option.short_name + ",--" + option.long_name + "}";
  const std::string value = !option.takes_value ? "" : option.choices.empty() ? ":value:_files" : ":value:(" + Joined(option.choices) + ")";
  const std::string words = "'[" + Short(option.words) + "]" + value + "'";
  return names.empty() ? "'*'" + pair + words : "'*'" + names + words;
}

std::string ZshFunction(const std::string& function, const CommandWords& command) {
  std::string text = function + "() {\n  local curcontext=$curcontext state line\n  typeset -A opt_args\n  _arguments -C -s \\\n";
  for (const OptionWords& option : command.options) text += "    " + ZshOption(option) + " \\\n";
  if (command.commands.empty()) return text + "    '*:file:_files'\n}\n\n";
  text += "    '1: :->command' \\\n    '*:: :->rest'\n  case $state in\n    command)\n      local -a commands\n      commands=(\n";
  for (const CommandWords& below : command.commands) text += "        '" + below.name + ":" + Short(below.words) + "'\n";
  text += "      )\n      _describe command commands\n      ;;\n    rest)\n      case $words[1] in\n";
  for (const CommandWords& below : command.commands) text += "        " + below.name + ") " + function + "_" + below.name + " ;;\n";
  return text + "      esac\n      ;;\n  esac\n}\n\n";
}

}  // namespace

std::string BashCompletion(const CommandWords& program) {
  std::string known;
  std::string cases;
  VisitAll("", program, [&](const std::string& path, const CommandWords& command) {
    cases += BashCase(path, command);
    for (const CommandWords& below : command.commands) known += (known.empty() ? "" : " | ") + path + "/" + below.name;
  });
  return "# Completion of " + program.name + " for bash.\n_" + program.name +
         "() {\n"
         "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command= words= files=yes i\n"
         "  COMPREPLY=()\n"
         "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
         "    case $command/${COMP_WORDS[i]} in\n"
         "      " +
         known +
         ") command=${command:+$command/}${COMP_WORDS[i]} ;;\n"
         "    esac\n"
         "  done\n"
         "  case $command in\n" +
         cases +
         "  esac\n"
         "  # Files are completed by the shell itself, where nothing is offered.\n"
         "  if [[ $cur == -* || $files == no ]]; then\n"
         "    COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
         "  fi\n"
         "}\n"
         "complete -o bashdefault -o default -F _" +
         program.name + " " + program.name + "\n";
}

std::string ZshCompletion(const CommandWords& program) {
  std::string functions;
  VisitAll("", program, [&](const std::string& path, const CommandWords& command) {
    std::string function = "_" + program.name + (path.empty() ? "" : "_" + path);
    for (char& c : function) c = c == '/' ? '_' : c;
    functions += ZshFunction(function, command);
  });
  return "#compdef " + program.name + "\n# Completion of " + program.name + " for zsh.\n\n" + functions + "_" + program.name + " \"$@\"\n";
}

std::string FishCompletion(const CommandWords& program) {
  std::string text = "# Completion of " + program.name + " for fish.\n";
  VisitAll("", program, [&](const std::string& path, const CommandWords& command) {
    // All names on the way were seen, and none of those below.
    std::string seen = path.empty() ? "" : "__fish_seen_subcommand_from " + path;
    for (size_t at = seen.find('/'); at != std::string::npos; at = seen.find('/'))
      seen.replace(at, 1, "; and __fish_seen_subcommand_from ");
    std::string here = seen;
    if (!command.commands.empty())
      here += (seen.empty() ? "" : "; and ") + ("not __fish_seen_subcommand_from " + Joined(NamesOf(command.commands)));
    const std::string start = "complete -c " + program.name + " -n '" + here + "'";
    for (const CommandWords& below : command.commands) {
      text += start + " -f -a " + below.name + " -d '" + Short(below.words) + "'\n";
    }
    for (const OptionWords& option : command.options) {
      text += start + (option.short_name.empty() ? "" : " -s " + option.short_name) + " -l " + option.long_name;
      if (option.takes_value) text += option.choices.empty() ? " -r" : " -x -a '" + Joined(option.choices) + "'";
      text += " -d '" + Short(option.words) + "'\n";
    }
  });
  return text;
}

std::span<const Shell> Shells() {
  static constexpr Shell kShells[] = {{"bash", "source it", BashCompletion},
                                      {"zsh", "as _wvad in a folder of fpath", ZshCompletion},
                                      {"fish", "source it", FishCompletion}};
  return kShells;
}

}  // namespace TSEG::tool
