// SPDX-License-Identifier: Apache-2.0
#include "wvad/earlier_files.h"

#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/new_file.h"
#include "wvad/report_json.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// Collects names that a run with this recording gives, each once.
class Names {
 public:
  Names(const OutputFolder& folder, const std::string& input) : folder_(folder), input_(input) {}

  void Add(const Json& name) {
    if (!name.is_string()) return;
    const std::string text = name.get<std::string>();
    int64_t number = 0;
    std::string ending;
    const bool ours = text.find_first_of(kSeparators) == std::string::npos && folder_.IsNumbered(input_, text, &number, &ending);
    if (ours && seen_.insert(text).second) names_.push_back(text);
  }
  void AddRow(const Json& row) {
    if (row.is_object() && row.contains("file")) Add(row["file"]);
  }
  void AddRowsOf(const Json& index) {
    if (!index.is_object() || !index.contains("sentences")) return;
    for (const Json& row : index["sentences"]) AddRow(row);
  }
  void AddLeftOverOf(const Json& index) {
    if (!index.is_object() || !index.contains("left_over")) return;
    for (const Json& name : index["left_over"]) Add(name);
  }
  const std::vector<std::string>& names() const { return names_; }

 private:
  const OutputFolder& folder_;
  const std::string& input_;
  std::vector<std::string> names_;
  std::unordered_set<std::string> seen_;
};

Json ReadIndex(const std::string& path) {
  if (LookAt(path).kind != FileKind::kFile) return nullptr;
  std::ifstream in(PathOf(path), std::ios::binary);
  return Json::parse(in, nullptr, false);
}

// An index that was begun has a row a line, and no end.
void AddRowsOfPart(const std::string& path, Names& names) {
  if (LookAt(path).kind != FileKind::kFile) return;
  std::ifstream in(PathOf(path), std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == ',') line.pop_back();
    names.AddRow(Json::parse(line, nullptr, false));
  }
}

// What an index says that it is of, empty where it does not say. Of one that was begun the first line is its head.
std::string SourceOf(const std::string& path) {
  if (LookAt(path).kind != FileKind::kFile) return {};
  std::ifstream in(PathOf(path), std::ios::binary);
  std::string head;
  std::getline(in, head);
  if (!head.empty() && head.back() == ',') head.back() = '}';
  Json index = Json::parse(head, nullptr, false);
  if (index.is_discarded()) index = ReadIndex(path);
  return index.is_object() && index.contains("source") && index["source"].is_string() ? index["source"].get<std::string>() : std::string();
}

}  // namespace

void CheckSameRecording(const std::string& input, const std::string& path) {
  const std::string ours = Json::parse(JsonText(input)).get<std::string>();
  for (const std::string& index : {path, NameOfPart(path)}) {
    const std::string source = SourceOf(index);
    if (source.empty() || source == ours) continue;
    throw Failure(ExitCode::kOutput, index + ": tells of another recording, " + Shown(source) + "; --resume goes on with the same ones");
  }
}

std::vector<std::string> SavedFiles(const OutputFolder& folder, const std::string& input, const Json& index) {
  Names names(folder, input);
  names.AddRowsOf(index);
  return names.names();
}

std::vector<std::string> FilesOfEarlierRuns(const OutputFolder& folder, const std::string& input, const std::string& path) {
  Names names(folder, input);
  const Json index = ReadIndex(path);
  names.AddRowsOf(index);
  names.AddLeftOverOf(index);
  AddRowsOfPart(NameOfPart(path), names);
  return names.names();
}

}  // namespace TSEG::tool
