// SPDX-License-Identifier: Apache-2.0
#include "wvad/model_command.h"

#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "modelfile/describe.h"
#include "modelfile/pack.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/messages.h"
#include "wvad/model_finder.h"
#include "wvad/output.h"
#include "wvad/output_options.h"
#include "wvad/shown.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// What lies in the current folder needs no "./" here.
std::string ModelToInspect(const std::string& model) { return LookAt(model).kind == FileKind::kNone ? FindModel(model, "") : model; }

// With all that the file says in words as a terminal may have it.
modelfile::ModelInfo ForPeople(modelfile::ModelInfo info) {
  info.network_type = Shown(info.network_type);
  for (auto& [key, value] : info.keys) {
    key = Shown(key);
    value = Shown(value);
  }
  for (modelfile::VariableInfo& variable : info.variables) {
    variable.name = Shown(variable.name);
    variable.dtype = Shown(variable.dtype);
  }
  for (modelfile::ModelInfo::SectionInfo& section : info.sections) {
    section.problem = Shown(section.problem);
    for (modelfile::ModelInfo& model : section.model) model = ForPeople(std::move(model));
  }
  return info;
}

}  // namespace

ExitCode RunModelPack(const ModelPackOptions& options) {
  RememberInterrupts();
  // Before anything is read; whether it would fall on something that is, is known behind that.
  Output output(options.output, OutputRules(options.force, {}));
  modelfile::Bytes bytes;
  std::vector<std::string> read;
  try {
    bytes = modelfile::WriteModel(modelfile::ReadFolder(options.folder, &read));
  } catch (const std::exception& error) {
    throw Failure(ExitCode::kBadModel, error.what());
  }
  CheckOutput(options.output, OutputRules(options.force, read));
  output.Write(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  output.Close();
  if (!options.quiet) SayNote(options.output + ": " + std::to_string(bytes.size()) + " bytes");
  return ExitCode::kSuccess;
}

ExitCode RunModelInspect(const ModelInspectOptions& options) {
  RefuseOtherName(options.output, options.json);
  const std::string file = ModelToInspect(options.model);
  Output output(options.output, OutputRules(options.force, {file}));
  std::string text;
  try {
    const modelfile::ModelInfo info = modelfile::InspectFile(file);
    text = options.json ? modelfile::ToJson(info).dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n"
                        : modelfile::ToText(ForPeople(info));
  } catch (const std::exception& error) {
    throw Failure(ExitCode::kBadModel, error.what());
  }
  output.Write(text);
  output.Close();
  return ExitCode::kSuccess;
}

}  // namespace TSEG::tool
