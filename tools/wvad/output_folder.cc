// SPDX-License-Identifier: Apache-2.0
#include "wvad/output_folder.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

constexpr size_t kDigits = 4;

std::vector<std::string> Joined(std::vector<std::string> first, const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace

OutputFolder::OutputFolder(const FolderOptions& options, const std::vector<std::string>& inputs, OutputSuffixes suffixes,
                           const std::vector<std::string>& also_read, WalkedFiles walked)
    : options_(options), suffixes_(std::move(suffixes)), rules_(options.force, Joined(inputs, also_read)), walked_(std::move(walked)) {
  if (options_.folder.empty()) options_.folder = ".";
  if (!options_.prefix.empty()) {
    if (inputs.size() > 1) throw Failure(ExitCode::kUsage, "--prefix is for a single recording");
    if (options_.prefix.find_first_of(kSeparators) != std::string::npos) {
      throw Failure(ExitCode::kUsage,
                    "--prefix " + options_.prefix + ": a name without folders is expected; choose the folder with --directory");
    }
  }
  CheckNames(inputs);
  CheckInputs(inputs);
  CheckPieces(inputs);
}

std::vector<std::string> OutputFolder::FilesOf(const std::string& input) const {
  std::vector<std::string> names;
  if (!suffixes_.name.empty()) names.push_back(File(input));
  if (!suffixes_.numbered.empty()) names.push_back(Numbered(input, 1));
  for (const std::string& ending : suffixes_.endings) names.push_back(WithEnding(input, ending));
  return names;
}

void OutputFolder::CheckFree(const std::string& path) const {
  const FileKind kind = LookAt(path).kind;
  if (kind == FileKind::kFolder || kind == FileKind::kSpecial) throw Failure(ExitCode::kOutput, path + ": is not an ordinary file");
  if (kind != FileKind::kNone && !options_.force) throw Failure(ExitCode::kOutput, ExistsAlready(path));
  constexpr size_t kLongestName = 255;  // that file systems take
  if (PathOf(path).filename().native().size() > kLongestName)
    throw Failure(ExitCode::kOutput, path + ": cannot be written: " + std::make_error_code(std::errc::filename_too_long).message());
}

void OutputFolder::CheckNames(const std::vector<std::string>& inputs) const {
  std::map<std::string, std::string> taken;  // by which recording
  for (const std::string& name : suffixes_.of_run) {
    taken.emplace(FoldedName(PathOfRun(name)), "the whole run");
    CheckFree(PathOfRun(name));
  }
  for (const std::string& input : inputs) {
    for (const std::string& name : FilesOf(input)) {
      const std::string path = Path(input, name);
      const auto [row, fresh] = taken.emplace(FoldedName(path), input);
      if (!fresh) {
        throw Failure(ExitCode::kUsage, input + ": its files would be called as those of " + row->second +
                                            "; work on them one at a time, into different folders" +
                                            (suffixes_.name.empty() ? "" : " or with --prefix"));
      }
      CheckFree(path);
    }
  }
}

OutputFolder::Pieces OutputFolder::PiecesThere(const std::vector<std::string>& inputs) const {
  Pieces pieces;
  if (suffixes_.numbered.empty()) return pieces;
  std::map<std::string, std::unordered_map<std::string, const std::string*>> by_stem;  // of each folder
  for (const std::string& input : inputs) by_stem[FolderOf(input)][Stem(input)] = &input;
  std::error_code ignored;
  for (const auto& [folder, stems] : by_stem) {
    for (const fs::directory_entry& entry : fs::directory_iterator(PathOf(folder), ignored)) {
      const std::string name = NameOf(entry.path().filename());
      const auto stem = stems.find(name.substr(0, name.rfind('-')));
      int64_t number = 0;
      std::string ending;
      if (stem == stems.end() || !IsNumbered(*stem->second, name, &number, &ending)) continue;
      if (name == Numbered(*stem->second, number)) pieces[*stem->second][number] = name;
    }
  }
  return pieces;
}

// How many a recording will have is known behind the work, so any of them may be written.
void OutputFolder::CheckPieces(const std::vector<std::string>& inputs) const {
  for (const auto& [input, pieces] : PiecesThere(inputs)) {
    for (const auto& [number, name] : pieces) CheckFree(Path(input, name));
  }
}

// With --force, a file that lies in the folder under a name that will be written would be lost, perhaps before it was read. It may be a
// link to one that lies elsewhere.
void OutputFolder::CheckInputs(const std::vector<std::string>& inputs) const {
  std::map<std::string, std::vector<std::string>> of_folder = {{options_.folder, {}}};
  for (const std::string& input : inputs) of_folder[FolderOf(input)].push_back(input);
  std::error_code ignored;
  for (const auto& [folder, recordings] : of_folder) {
    for (const fs::directory_entry& entry : fs::directory_iterator(PathOf(folder), ignored)) CheckInputAt(NameOf(entry.path()), recordings);
  }
}

void OutputFolder::CheckInputAt(const std::string& path, const std::vector<std::string>& of_folder) const {
  if (!rules_.InputAt(LookAt(path))) return;
  const std::string name = NameOf(PathOf(path).filename());
  for (const std::string& of_run : suffixes_.of_run) {
    if (path == PathOfRun(of_run)) {
      throw Failure(ExitCode::kOutput, path + ": the run writes a file of this name, and reads this one; choose another folder");
    }
  }
  for (const std::string& input : of_folder) {
    int64_t number = 0;
    std::string ending;
    const bool numbered = !suffixes_.numbered.empty() && IsNumbered(input, name, &number, &ending) && ending == suffixes_.numbered;
    const std::vector<std::string> files = FilesOf(input);
    if (std::find(files.begin(), files.end(), name) != files.end() || numbered) {
      throw Failure(ExitCode::kOutput,
                    path + ": the files of " + input + " would be called like this one, which this run needs; choose another folder");
    }
  }
}

void OutputFolder::KeepForDebugText(const std::string& path, const std::vector<std::string>& inputs) {
  rules_.KeepForDebugText(path);
  CheckInputs(inputs);
}

void OutputFolder::Make(const std::string& input) const {
  const std::string folder = FolderOf(input);
  std::error_code error;
  fs::create_directories(PathOf(folder), error);
  if (!error && !fs::is_directory(PathOf(folder), error)) error = std::make_error_code(std::errc::not_a_directory);
  if (error) throw Failure(ExitCode::kOutput, folder + ": this folder cannot be made: " + error.message());
}

std::string OutputFolder::Stem(const std::string& input) const { return options_.prefix.empty() ? RecordingId(input) : options_.prefix; }

std::string OutputFolder::File(const std::string& input) const { return Stem(input) + "-" + suffixes_.name; }

std::string OutputFolder::WithEnding(const std::string& input, const std::string& ending) const { return Stem(input) + ending; }

std::string OutputFolder::Numbered(const std::string& input, int64_t number) const {
  const std::string digits = std::to_string(number);
  return Stem(input) + "-" + std::string(digits.size() < kDigits ? kDigits - digits.size() : 0, '0') + digits + suffixes_.numbered;
}

std::string OutputFolder::FolderOf(const std::string& input) const {
  const auto walked = walked_.find(input);
  return walked == walked_.end() || walked->second.empty() ? options_.folder : NameOf(PathOf(options_.folder) / PathOf(walked->second));
}

std::string OutputFolder::Path(const std::string& input, const std::string& name) const {
  return NameOf(PathOf(FolderOf(input)) / PathOf(name));
}

std::string OutputFolder::PathOfRun(const std::string& name) const { return NameOf(PathOf(options_.folder) / PathOf(name)); }

bool OutputFolder::IsNumbered(const std::string& input, const std::string& name, int64_t* number, std::string* ending) const {
  const std::string start = Stem(input) + "-";
  if (name.compare(0, start.size(), start) != 0) return false;
  const size_t digits_end = std::min(name.find_first_not_of("0123456789", start.size()), name.size());
  if (digits_end - start.size() < kDigits) return false;
  const char* first = name.data() + start.size();
  const auto [end, error] = std::from_chars(first, name.data() + digits_end, *number);
  if (error != std::errc() || *number < 1) return false;
  *ending = name.substr(digits_end);
  return true;
}

}  // namespace TSEG::tool
