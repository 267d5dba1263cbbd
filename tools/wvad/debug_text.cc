// SPDX-License-Identifier: Apache-2.0
#include "wvad/debug_text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "wvad/failure.h"
#include "wvad/file_system.h"

namespace TSEG::tool {

DebugText::~DebugText() {
  std::error_code error;
  if (!file_.empty() && std::filesystem::file_size(PathOf(file_), error) == 0 && !error) std::filesystem::remove(PathOf(file_), error);
}

void DebugText::Claim(Engine& engine, const ParameterList& parameters, const std::function<void(const std::string&)>& keep_away) {
  claimed_ = true;
  Detector detector(engine);
  for (const auto& [name, value] : parameters) detector.Set(name, value);
  if (detector.Get("wvad_param_isVadDegOn") != "1") return;
  std::string file = detector.Get("wvad_param_debug_log_filename");
  std::replace(file.begin(), file.end(), '\\', '/');  // as the engine takes it
  const int error = MakeEmptyFile(file);
  if (error == EEXIST) {
    throw Failure(ExitCode::kOutput, file +
                                         ": exists already, and the engine would append its debug text; choose a new file with "
                                         "wvad_param_debug_log_filename");
  }
  if (error != 0) {
    throw Failure(ExitCode::kOutput, file + ": cannot be written: " + std::strerror(error) + " (wvad_param_debug_log_filename)");
  }
  file_ = file;
  keep_away(file);
}

}  // namespace TSEG::tool
