// SPDX-License-Identifier: Apache-2.0
//
// The options of every command that writes: where to, what may be replaced, and the form that the output's ending asks for.
#ifndef WVAD_WVAD_OUTPUT_OPTIONS_H_
#define WVAD_WVAD_OUTPUT_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>

#include "wvad/form_of_ending.h"
#include "wvad/output_folder.h"

namespace TSEG::tool {

// What --output is told to be where its ending chooses the form.
constexpr const char* kFormOfOutput = "Write to this file instead of standard output; without --format its ending chooses the form";

// All that these fill in has to outlive the parsing.
CLI::Option* AddOutput(CLI::App* command, std::string& output);
void AddForce(CLI::App* command, bool& force);
void AddFolder(CLI::App* command, FolderOptions& folder);

// Whether a file that is called so is a page for a browser.
bool IsPageName(const std::string& output);

// Throws Failure(kUsage) for an output that is called like sound or a film: text there is hardly meant. `has_format`: the command has
// --format, which would have it there all the same.
void RefuseSoundName(const std::string& output, bool has_format);

// The same for an output that is called like a form that other commands write.
void RefuseOtherForm(const std::string& output, bool has_format);

// What `of_ending` makes of the name `output` (null: nothing) is the form, unless the command line names one. Throws as RefuseSoundName and
// RefuseOtherForm where neither says what is to be written.
template <typename Row>
void TakeFormOfOutput(const CLI::App& command, const std::string& output, const Row* of_ending, const Row*& format) {
  if (command.count("--format") > 0) return;
  if (of_ending != nullptr) {
    format = of_ending;
  } else {
    RefuseSoundName(output, true);
    RefuseOtherForm(output, true);
  }
}

// For a command that has --json in place of --format: an output that is called .json gets JSON.
inline void TakeJsonOfOutput(const std::string& output, bool& json) { json |= HasEnding(output, ".json"); }
// What such a command then refuses, likewise.
inline void RefuseOtherName(const std::string& output, bool json) {
  RefuseSoundName(output, false);
  if (!json) RefuseOtherForm(output, false);
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_OUTPUT_OPTIONS_H_
