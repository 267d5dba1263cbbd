// SPDX-License-Identifier: Apache-2.0
//
// The options that several commands share: which recordings, how they are heard, by which engine, and where the results go.
#ifndef WVAD_WVAD_SHARED_OPTIONS_H_
#define WVAD_WVAD_SHARED_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <span>
#include <string>

#include "wvad/engine_options.h"
#include "wvad/file_list.h"
#include "wvad/input.h"
#include "wvad/named_rows.h"
#include "wvad/output_folder.h"
#include "wvad/plain_settings.h"
#include "wvad/sentence_run.h"

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

inline constexpr const char* kModelWords =
    "Model: the name of a bundled one, or a file. NAME_8k takes the place of a bundled NAME where all is of 8000 Hz";

// Which recordings there are.
void AddFileList(CLI::App* command, FileListOptions& list);
// Which audio of a recording is listened to, and how.
void AddAudio(CLI::App* command, InputOptions& input);
// What an engine is given beside its model.
void AddSettings(CLI::App* command, EngineOptions& engine);
// The plain names, each with the words and the range of its row.
void AddPlain(CLI::App* command, PlainSettings& plain);
void AddQuiet(CLI::App* command, bool& quiet, const std::string& words);
// What every command that listens to recordings takes. `words`: what --quiet leaves out beside the progress bar.
void AddInput(CLI::App* command, InputOptions& input, EngineOptions& engine, bool& quiet, const std::string& words);
// The same for a command that looks for sentences.
void AddSentences(CLI::App* command, SentenceOptions& options, const std::string& quiet_words);
void AddForce(CLI::App* command, bool& force);
CLI::Option* AddOutput(CLI::App* command, std::string& output);
void AddFolder(CLI::App* command, FolderOptions& folder);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SHARED_OPTIONS_H_
