// SPDX-License-Identifier: Apache-2.0
#include "wvad/model_finder.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

bool IsFile(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(PathOf(path), ignored);
  return std::filesystem::exists(status) && !std::filesystem::is_directory(status);
}

// The names of the models in `folder`, sorted.
std::vector<std::string> ModelsIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(PathOf(folder), ignored)) {
    if (entry.path().extension() == ".bin") names.push_back(NameOf(entry.path().stem()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

std::vector<std::string> ModelFolders(const std::string& models_dir) {
  if (!models_dir.empty()) return {models_dir};
  if (const std::string wanted = Variable("WVAD_MODELS_DIR"); !wanted.empty()) return {wanted};
  const std::string program = ProgramFolder();
  if (program.empty()) return {};
  std::vector<std::string> folders;
  // Beside the library, as it is installed, and as it lies in a build folder.
  for (const std::string& folder : {program + "/" + WVAD_MODELS_FROM_PROGRAM, program + "/../lib/vad"}) {
    std::error_code ignored;
    const std::string clean = NameOf(std::filesystem::weakly_canonical(PathOf(folder), ignored));
    if (!clean.empty() && (folders.empty() || folders.back() != clean)) folders.push_back(clean);
  }
  return folders;
}

std::string FindModel(const std::string& model, const std::string& models_dir) {
  if (model.find_first_of(kSeparators) != std::string::npos) {
    if (IsFile(model)) return model;
    const bool folder = LookAt(model).kind == FileKind::kFolder;
    throw Failure(ExitCode::kBadModel, model + (folder ? ": is a folder, not a model file" : ": there is no such model file"));
  }
  const std::vector<std::string> folders = ModelFolders(models_dir);
  std::string looked, there;
  for (const std::string& folder : folders) {
    for (const std::string& name : {model, model + ".bin"}) {
      if (IsFile(folder + "/" + name)) return folder + "/" + name;
    }
    looked += (looked.empty() ? "" : ", ") + folder;
    for (const std::string& name : ModelsIn(folder)) there += (there.empty() ? "; there: " : ", ") + name;
  }
  if (IsFile(model)) return "./" + model;
  throw Failure(ExitCode::kBadModel,
                model + ": there is no such model (looked in " + (looked.empty() ? "no folder" : looked) + there + ")");
}

}  // namespace TSEG::tool
