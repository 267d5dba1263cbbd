// SPDX-License-Identifier: Apache-2.0
#include "wvad/file_list.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "wvad/byte_source.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/form_of_ending.h"
#include "wvad/media_source.h"
#include "wvad/new_file.h"
#include "wvad/playlist.h"

namespace TSEG::tool {
namespace {

bool EndsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool MatchesOne(const std::vector<std::string>& patterns, const std::string& below, const std::string& name) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
    return MatchesPattern(pattern, pattern.find_first_of(kSeparators) != std::string::npos ? below : name);
  });
}

// A walk through one folder that was named.
class Walk {
 public:
  Walk(const FileListOptions& options, FileList* list) : options_(options), list_(list) {}

  // `folder` as it is named, ending with a slash; `below`: its path below the first one.
  void Into(const std::string& folder, const std::string& below) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entries(PathOf(folder), error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
      names.push_back(NameOf(entries->path().filename()));
    }
    if (error) throw Failure(ExitCode::kNoFile, folder + ": cannot be read: " + error.message());
    for (const std::string& name : names) Entry(folder + name, below + name, name);
  }

 private:
  void Entry(const std::string& path, const std::string& below, const std::string& name) {
    if (MatchesOne(options_.exclude, below, name)) return;
    const bool hidden = name[0] == '.';
    const FileKind kind = LookAt(path).kind;
    if (kind == FileKind::kFolder) {
      std::error_code ignored;
      if (options_.recursive && !hidden && !std::filesystem::is_symlink(PathOf(path), ignored)) Into(path + "/", below + "/");
    } else if (kind == FileKind::kFile && !EndsWith(name, kPartEnding)) {
      // A pattern takes what is hidden only if it says so itself.
      if (options_.include.empty() ? hidden : !MatchesOne(options_.include, below, name)) return;
      list_->files.push_back(path);
      list_->walked.emplace(path, below.substr(0, below.size() - name.size()));
    }
  }

  const FileListOptions& options_;
  FileList* list_;
};

void Add(const FileListOptions& options, const std::string& name, FileList* list) {
  if (name == "-" || LookAt(name).kind != FileKind::kFolder) {
    list->files.push_back(name);
    return;
  }
  const auto before = static_cast<std::ptrdiff_t>(list->files.size());
  Walk(options, list).Into(IsSeparator(name.back()) ? name : name + "/", "");
  std::sort(list->files.begin() + before, list->files.end());
}

// Takes out what stands in the list already, however it is spelt: the same name in the same folder. Other names of a file, by links, are
// recordings of their own; pipes give something else each time.
void TakeOutRepeated(FileList* list) {
  std::unordered_map<std::string, FileLook> places;
  std::vector<std::string> once;
  for (std::string& name : list->files) {
    const FileLook look = name == "-" ? FileLook() : LookAt(name);
    std::error_code error;
    const std::string place = FoldedName(NameOf(std::filesystem::absolute(PathOf(name), error).lexically_normal()));
    // ".." behind a link leads elsewhere than its spelling says.
    const bool repeated = look.kind == FileKind::kFile && !places.emplace(place, look).second && places[place].Same(look);
    (repeated ? list->again : once).push_back(std::move(name));
  }
  list->files = std::move(once);
}

// The names in `text`, each ended by `end`; empty ones are none.
std::vector<std::string> Names(const std::string& text, char end) {
  std::vector<std::string> names;
  for (size_t at = 0; at < text.size();) {
    const size_t behind = std::min(text.find(end, at), text.size());
    if (behind > at) names.push_back(text.substr(at, behind - at));
    at = behind + 1;
  }
  return names;
}

// Where every line but perhaps the last ends so, another system has written the list.
void TakeReturnsOff(std::vector<std::string>* lines) {
  const auto others = std::count_if(lines->begin(), lines->end(), [](const std::string& line) { return line.back() != '\r'; });
  const bool some = others > 1 || (others == 1 && (lines->size() == 1 || lines->back().back() == '\r'));
  if (some && kNamesMayHoldReturns) return;
  for (std::string& line : *lines) {
    if (line.back() == '\r') line.pop_back();
  }
  std::erase(*lines, "");
}

// What a playlist (M3U, PLS) names is relative to where it lies.
std::vector<std::string> BesideList(std::vector<std::string> names, const std::string& list) {
  const std::filesystem::path folder = list == "-" ? std::filesystem::path() : PathOf(list).parent_path();
  for (std::string& name : names) {
    if (!IsAddress(name)) name = NameOf(folder / PathOf(name));
  }
  return names;
}

std::vector<std::string> NamesOfList(const FileListOptions& options) {
  std::string text = ReadWhole(options.list);
  if (options.zero_ends) return Names(text, '\0');
  if (text.find('\0') != std::string::npos)
    throw Failure(ExitCode::kUsage, "--files-from: " + options.list + " holds zero bytes; -0 reads names that end so");
  if (std::optional<std::vector<std::string>> pls = EntriesOfPls(text, options.list)) return BesideList(std::move(*pls), options.list);
  if (text.starts_with("\xef\xbb\xbf")) text.erase(0, 3);  // a mark of the byte order
  std::vector<std::string> lines = Names(text, '\n');
  TakeReturnsOff(&lines);
  const bool called_so = HasEnding(options.list, ".m3u") || HasEnding(options.list, ".m3u8");
  if (lines.empty() || !(called_so || lines[0].starts_with("#EXTM3U"))) return lines;
  std::erase_if(lines, [](const std::string& line) { return line[0] == '#'; });
  return BesideList(std::move(lines), options.list);
}

void AddList(const FileListOptions& options, FileList* list) {
  const bool taken = std::find(options.names.begin(), options.names.end(), "-") != options.names.end();
  if (taken && options.list == "-")
    throw Failure(ExitCode::kUsage, "standard input cannot be both a recording and the list of --files-from");
  for (const std::string& name : NamesOfList(options)) {
    if (name == "-" && options.list == "-")
      throw Failure(ExitCode::kUsage, "the list on standard input names standard input as a recording");
    Add(options, name, list);
  }
}

}  // namespace

FileList ListFiles(const FileListOptions& options) {
  if (options.names.empty() && options.list.empty()) throw Failure(ExitCode::kUsage, "FILE is required, or --files-from (see --help)");
  FileList list;
  for (const std::string& argument : options.names) {
    for (const std::string& name : NamesOf(argument)) Add(options, name, &list);
  }
  if (!options.list.empty()) AddList(options, &list);
  TakeOutRepeated(&list);
  return list;
}

}  // namespace TSEG::tool
