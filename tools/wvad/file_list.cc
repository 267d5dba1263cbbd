// SPDX-License-Identifier: Apache-2.0
#include "wvad/file_list.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "wvad/byte_source.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"

namespace TSEG::tool {
namespace {

constexpr std::string_view kPart = ".wvad-part";  // new_file.h

bool EndsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool MatchesOne(const std::vector<std::string>& patterns, const std::string& below, const std::string& name) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
    return MatchesPattern(pattern, pattern.find('/') != std::string::npos ? below : name);
  });
}

// A walk through one folder that was named.
class Walk {
 public:
  Walk(const FileListOptions& options, std::vector<std::string>* found) : options_(options), found_(found) {}

  // `folder` as it is named, ending with a slash; `below`: its path below the first one.
  void Into(const std::string& folder, const std::string& below) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entries(folder, error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
      names.push_back(entries->path().filename().string());
    }
    if (error) throw Failure(ExitCode::kNoFile, folder + ": cannot be read: " + error.message());
    for (const std::string& name : names) Entry(folder + name, below + name, name);
  }

 private:
  void Entry(const std::string& path, const std::string& below, const std::string& name) {
    if (MatchesOne(options_.exclude, below, name)) return;
    const FileKind kind = LookAt(path).kind;
    if (kind == FileKind::kFolder) {
      std::error_code ignored;
      if (options_.recursive && !std::filesystem::is_symlink(path, ignored)) Into(path + "/", below + "/");
    } else if (kind == FileKind::kFile && !EndsWith(name, kPart)) {
      if (options_.include.empty() || MatchesOne(options_.include, below, name)) found_->push_back(path);
    }
  }

  const FileListOptions& options_;
  std::vector<std::string>* found_;
};

void Add(const FileListOptions& options, const std::string& name, FileList* list) {
  if (name == "-" || LookAt(name).kind != FileKind::kFolder) {
    list->files.push_back(name);
    return;
  }
  std::vector<std::string> found;
  Walk(options, &found).Into(EndsWith(name, "/") ? name : name + "/", "");
  std::sort(found.begin(), found.end());
  list->walked.insert(found.begin(), found.end());
  list->files.insert(list->files.end(), found.begin(), found.end());
}

std::vector<std::string> NamesOfList(const FileListOptions& options) {
  const char end = options.zero_ends ? '\0' : '\n';
  std::vector<std::string> names(1);
  for (const char c : ReadWhole(options.list)) {
    if (c != end) {
      names.back() += c;
    } else if (!names.back().empty()) {
      names.emplace_back();
    }
  }
  if (names.back().empty()) names.pop_back();
  return names;
}

}  // namespace

FileList ListFiles(const FileListOptions& options) {
  if (options.names.empty() && options.list.empty()) throw Failure(ExitCode::kUsage, "FILE is required, or --files-from (see --help)");
  FileList list;
  for (const std::string& name : options.names) Add(options, name, &list);
  if (options.list.empty()) return list;
  const bool taken = std::find(options.names.begin(), options.names.end(), "-") != options.names.end();
  if (taken && options.list == "-")
    throw Failure(ExitCode::kUsage, "standard input cannot be both a recording and the list of --files-from");
  for (const std::string& name : NamesOfList(options)) {
    if (name == "-" && options.list == "-")
      throw Failure(ExitCode::kUsage, "the list on standard input names standard input as a recording");
    Add(options, name, &list);
  }
  return list;
}

}  // namespace TSEG::tool
