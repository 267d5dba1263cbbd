// SPDX-License-Identifier: Apache-2.0
#include "wvad/output_options.h"

#include "wvad/failure.h"
#include "wvad/form_of_ending.h"
#include "wvad/recording_name.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {
void AddForce(CLI::App* command, bool& force) { command->add_flag("--force", force, "Replace files that are there"); }

CLI::Option* AddOutput(CLI::App* command, std::string& output) {
  return command->add_option("-o,--output", output, "Write to this file instead of standard output");
}

bool IsPageName(const std::string& output) { return HasEnding(output, ".html") || HasEnding(output, ".htm"); }

void RefuseSoundName(const std::string& output, bool has_format) {
  if (!IsSoundName(output)) return;
  throw Failure(ExitCode::kUsage, "--output " + output +
                                      ": the result is text, and this name is one of sound; wvad trim writes a recording without its "
                                      "silences, wvad split each sentence" +
                                      (has_format ? "; with --format FORM it is written here all the same" : ""));
}

void RefuseOtherForm(const std::string& output, bool has_format) {
  const ReportFormat* form = FormatOfEnding(ReportFormats(), output);
  const char* name = HasEnding(output, ".npy") ? "npy" : IsPageName(output) ? "html" : form != nullptr ? form->name : nullptr;
  if (name == nullptr || form == ReportFormats().data()) return;
  throw Failure(ExitCode::kUsage, "--output " + output + ": this name is one of the form " + name + ", which this command does not write" +
                                      (has_format ? "; with --format FORM another is written here all the same" : ""));
}

void AddFolder(CLI::App* command, FolderOptions& folder) {
  command->add_option("-d,--directory", folder.folder, "Folder for the files, made if it is missing")->capture_default_str();
  command->add_option("--prefix", folder.prefix, "Begin of the files' names, instead of the recording's name");
  AddForce(command, folder.force);
}

}  // namespace TSEG::tool
