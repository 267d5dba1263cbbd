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

// Where the first clause of a description ends: a dot within a number or a name is no end.
size_t EndOfClause(const std::string& words) {
  for (size_t i = 0; i < words.size(); ++i) {
    const bool stop = words[i] == '.' && (i + 1 == words.size() || words[i + 1] == ' ');
    if (stop || words[i] == ';' || words[i] == '(') return i;
  }
  return words.size();
}

// The first clause of a description, without what shells would take for their own.
std::string Short(const std::string& words) {
  std::string text = words.substr(0, EndOfClause(words));
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

// What bash offers for a value: the choices that fit what is written behind the last comma.
std::string BashReply(const ValueWords& value) {
  const std::string choices = "compgen -W \"" + Joined(value.choices) + "\"";
  const std::string reply = value.list ? "COMPREPLY=($(" + choices + " -P \"${cur%\"${cur##*,}\"}\" -- \"${cur##*,}\"))"
                                       : "COMPREPLY=($(" + choices + " -- \"$cur\"))";
  return reply + (value.goes_on ? "; compopt -o nospace 2>/dev/null" : "");
}

std::string BashCase(const std::string& path, const CommandWords& command) {
  std::string values;
  std::vector<std::string> words = NamesOf(command.commands);
  for (const OptionWords& option : command.options) {
    words.push_back("--" + option.long_name);
    if (!option.takes_value) continue;
    const std::string names = (option.short_name.empty() ? "" : "-" + option.short_name + " | ") + "--" + option.long_name;
    // Without choices of its own a value may be a file, which the shell completes where nothing else is offered.
    values += "        " + names + ")" + (option.value.choices.empty() ? "" : " " + BashReply(option.value) + ";") + " return ;;\n";
  }
  std::string text = "    \"" + path + "\")\n" + (values.empty() ? "" : "      case $prev in\n" + values + "      esac\n");
  if (!command.argument.choices.empty()) text += "      [[ $cur == -* ]] || " + BashReply(command.argument) + "\n";
  const bool files = command.takes_arguments && (command.argument.choices.empty() || command.argument.or_file);
  return text + "      words=\"" + Joined(words) + "\"\n" + (files ? "" : "      files=no\n") + "      ;;\n";
}

// What zsh does for a value; a blank before a call keeps it from being given more words, and a colon in it is not to end it.
std::string ZshAction(const ValueWords& value) {
  const std::string choices = Joined(value.choices);
  if (value.choices.empty()) return "_files";
  if (value.goes_on) return std::string(value.list ? "{compset -P \"*,\"; " : "{") + "compadd -S \"\" -- " + choices + "}";
  if (value.list) return " _values -s , value " + choices;
  return value.or_file ? " _alternative \"names\\:name\\:(" + choices + ")\" \"files\\:file\\:_files\"" : "(" + choices + ")";
}

std::string ZshOption(const OptionWords& option) {
  const std::string names = option.short_name.empty() ? "--" + option.long_name : "";
  const std::string pair = "{-" + option.short_name + ",--" + option.long_name + "}";
  const std::string words = "'[" + Short(option.words) + "]" + (option.takes_value ? ":value:" + ZshAction(option.value) : "") + "'";
  return names.empty() ? "'*'" + pair + words : "'*'" + names + words;
}

std::string ZshFunction(const std::string& function, const CommandWords& command) {
  std::string text = function + "() {\n  local curcontext=$curcontext state line\n  typeset -A opt_args\n  _arguments -C -s";
  for (const OptionWords& option : command.options) text += " \\\n    " + ZshOption(option);
  if (command.takes_arguments) text += " \\\n    '*:argument:" + ZshAction(command.argument) + "'";
  if (command.commands.empty()) return text + "\n}\n\n";
  text += " \\\n    '1: :->command' \\\n    '*:: :->rest'\n";
  text += "  case $state in\n    command)\n      local -a commands\n      commands=(\n";
  for (const CommandWords& below : command.commands) text += "        '" + below.name + ":" + Short(below.words) + "'\n";
  text += "      )\n      _describe command commands\n      ;;\n    rest)\n      case $words[1] in\n";
  for (const CommandWords& below : command.commands) text += "        " + below.name + ") " + function + "_" + below.name + " ;;\n";
  return text + "      esac\n      ;;\n  esac\n}\n\n";
}

// What fish offers for a value: behind the last comma of a list it goes on.
std::string FishChoices(const ValueWords& value) {
  return value.list ? "'(__wvad_list " + Joined(value.choices) + ")'" : "'" + Joined(value.choices) + "'";
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
         "  # --option=value comes in three words.\n"
         "  if [[ $cur == = ]]; then cur=; elif [[ $prev == = ]]; then prev=${COMP_WORDS[COMP_CWORD-2]}; fi\n"
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
         "  if [[ ${#COMPREPLY[@]} -eq 0 && ($cur == -* || $files == no) ]]; then\n"
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
  std::string text = "# Completion of " + program.name +
                     " for fish.\n"
                     "function __wvad_list\n"
                     "    set -l before (string match -r '^.*,' -- (commandline -ct))\n"
                     "    printf '%s\\n' \"$before\"$argv\n"
                     "end\n";
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
    if (!command.argument.choices.empty())
      text += start + (command.argument.or_file ? " -a " : " -f -a ") + FishChoices(command.argument) + "\n";
    for (const OptionWords& option : command.options) {
      text += start + (option.short_name.empty() ? "" : " -s " + option.short_name) + " -l " + option.long_name;
      if (option.takes_value) text += option.value.choices.empty() || option.value.or_file ? " -r" : " -x";
      if (!option.value.choices.empty()) text += " -a " + FishChoices(option.value);
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
