// SPDX-License-Identifier: Apache-2.0
#include "wvad/output_options.h"

namespace TSEG::tool {

void AddForce(CLI::App* command, bool& force) { command->add_flag("--force", force, "Replace files that are there"); }

CLI::Option* AddOutput(CLI::App* command, std::string& output) {
  return command->add_option("-o,--output", output, "Write to this file instead of standard output");
}

void AddFolder(CLI::App* command, FolderOptions& folder) {
  command->add_option("-d,--directory", folder.folder, "Folder for the files, made if it is missing")->capture_default_str();
  command->add_option("--prefix", folder.prefix, "Begin of the files' names, instead of the recording's name");
  AddForce(command, folder.force);
}

}  // namespace TSEG::tool
