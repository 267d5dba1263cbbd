// SPDX-License-Identifier: Apache-2.0
//
// The options of every command that writes: where to, what may be replaced, and the form that the output's ending asks for.
#ifndef WVAD_WVAD_OUTPUT_OPTIONS_H_
#define WVAD_WVAD_OUTPUT_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>

#include "wvad/output_folder.h"

namespace TSEG::tool {

// What --output is told to be where its ending chooses the form.
constexpr const char* kFormOfOutput = "Write to this file instead of standard output; without --format its ending chooses the form";

// All that these fill in has to outlive the parsing.
CLI::Option* AddOutput(CLI::App* command, std::string& output);
void AddForce(CLI::App* command, bool& force);
void AddFolder(CLI::App* command, FolderOptions& folder);

// Throws Failure(kUsage) for an output that is called like sound or a film: text there is hardly meant. `has_format`: the command has
// --format, which would have it there all the same.
void RefuseSoundName(const std::string& output, bool has_format);

// What `of_ending` makes of the name `output` (null: nothing) is the form, unless the command line names one. Throws as RefuseSoundName
// where neither says what is to be written.
template <typename Row>
void TakeFormOfOutput(const CLI::App& command, const std::string& output, const Row* of_ending, const Row*& format) {
  if (command.count("--format") > 0) return;
  if (of_ending != nullptr) {
    format = of_ending;
  } else {
    RefuseSoundName(output, true);
  }
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_OUTPUT_OPTIONS_H_
