// SPDX-License-Identifier: Apache-2.0
#include "wvad/model_command.h"

#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>

#include "modelfile/describe.h"
#include "modelfile/pack.h"
#include "wvad/failure.h"
#include "wvad/report.h"

namespace TSEG::tool {

void RunModelPack(const std::string& folder, const std::string& output, bool quiet) {
  modelfile::Bytes bytes;
  try {
    bytes = modelfile::WriteModel(modelfile::ReadFolder(folder));
  } catch (const std::exception& error) {
    throw Failure(ExitCode::kBadModel, error.what());
  }
  try {
    modelfile::WriteFileBytes(output, bytes);
  } catch (const std::exception& error) {
    throw Failure(ExitCode::kOutput, error.what());
  }
  if (!quiet) std::fprintf(stderr, "wvad: %s: %zu bytes\n", output.c_str(), bytes.size());
}

void RunModelInspect(const std::string& file, bool json) {
  modelfile::ModelInfo info;
  try {
    info = modelfile::InspectFile(file);
  } catch (const std::exception& error) {
    throw Failure(ExitCode::kBadModel, error.what());
  }
  Output output("");
  if (json) {
    output.Write(modelfile::ToJson(info).dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
  } else {
    output.Write(modelfile::ToText(info));
  }
  output.Close();
}

}  // namespace TSEG::tool
