// SPDX-License-Identifier: Apache-2.0
#include "wvad/output_rules.h"

#include "wvad/failure.h"
#include "wvad/piece_list.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

constexpr const char* kDebugText = "(debug text)";

[[noreturn]] void RefuseInput(const std::string& path, const std::string& input) {
  if (input == kDebugText) {
    throw Failure(ExitCode::kOutput, path + ": the engine's debug text goes into this file in the same run; choose another output");
  }
  const std::string words = input == "-" ? "is standard input" : input == path ? "is read" : "is read as " + input;
  throw Failure(ExitCode::kOutput, path + ": this file " + words + " in the same run; choose another output");
}

// What the shell has opened for this process would be replaced or torn apart.
void RefuseOwnStream(const std::string& path, const FileLook& look) {
  if (look.kind != FileKind::kFile) return;
  for (const auto& [descriptor, name] : {std::pair{kStandardOutput, "standard output"}, std::pair{kStandardError, "standard error"}}) {
    if (LookAtDescriptor(descriptor).Same(look)) {
      throw Failure(ExitCode::kOutput, path + ": this file is " + name + " of the same run; choose another output");
    }
  }
}

}  // namespace

OutputRules::OutputRules(bool replace, const std::vector<std::string>& inputs) : replace_(replace) {
  for (const std::string& input : inputs) {
    const FileLook look = input == "-" ? LookAtDescriptor(kStandardInput) : LookAt(input);
    if (look.kind != FileKind::kFile) continue;
    inputs_.emplace_back(look, input);
    // Without it nothing that is there can be lost.
    if (replace_ && input != "-") AddPiecesOf(input);
  }
}

void OutputRules::AddPiecesOf(const std::string& list) {
  for (const std::string& piece : PiecesOf(list)) {
    const FileLook look = LookAt(piece);
    if (look.kind == FileKind::kFile) inputs_.emplace_back(look, list);
  }
}

void OutputRules::KeepForDebugText(const std::string& path) { inputs_.emplace_back(LookAt(path), kDebugText); }

std::optional<std::string> OutputRules::InputAt(const FileLook& look) const {
  for (const auto& [input, name] : inputs_) {
    if (input.Same(look)) return name;
  }
  return std::nullopt;
}

void OutputRules::Check(const std::string& path) const {
  const FileLook look = LookAt(path);
  RefuseFolder(path);
  if (const std::optional<std::string> input = InputAt(look)) RefuseInput(path, *input);
  RefuseOwnStream(path, look);
  const bool there = look.kind == FileKind::kFile || look.kind == FileKind::kDanglingLink;
  if (there && !replace_) throw Failure(ExitCode::kOutput, ExistsAlready(path));
}

void OutputRules::CheckPart(const std::string& path) const {
  const FileLook look = LookAt(path);
  if (const std::optional<std::string> input = InputAt(look)) RefuseInput(path, *input);
  RefuseOwnStream(path, look);
}

void OutputRules::CheckDescriptor(int descriptor, const std::string& name) const {
  if (const std::optional<std::string> input = InputAt(LookAtDescriptor(descriptor))) RefuseInput(name, *input);
}

void RefuseFolder(const std::string& path, const std::string& instead) {
  if (path.empty() || (!IsSeparator(path.back()) && LookAt(path).kind != FileKind::kFolder)) return;
  throw Failure(ExitCode::kOutput, path + ": is a folder, and one file is to be written; name one in it" +
                                       (instead.empty() ? "" : ", or say " + instead + " for a file for each recording there"));
}

std::string ExistsAlready(const std::string& path) { return path + ": exists already; --force replaces it"; }

}  // namespace TSEG::tool
