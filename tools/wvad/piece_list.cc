// SPDX-License-Identifier: Apache-2.0
#include "wvad/piece_list.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string_view>

#include "wvad/failure.h"
#include "wvad/file_system.h"

namespace TSEG::tool {
namespace {

constexpr std::string_view kHls = "#EXTM3U", kConcat = "ffconcat version", kUri = "URI=\"", kFile = "file:";
constexpr size_t kLongestList = size_t{1} << 24;
constexpr size_t kDeepest = 4;  // lists within lists

std::string BeginOf(ByteSource& bytes) {
  std::string begin(kConcat.size(), '\0');
  begin.resize(bytes.ReadAt(0, begin.data(), begin.size()));
  return begin;
}

// The first word of `text` as ffconcat has it: up to a blank outside of single quotes; a backslash outside of them takes the next character
// as it is.
std::string WordOf(std::string_view text) {
  std::string word;
  bool quoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\'') {
      quoted = !quoted;
    } else if (!quoted && c == '\\' && i + 1 < text.size()) {
      word += text[++i];
    } else if (!quoted && (c == ' ' || c == '\t')) {
      break;
    } else {
      word += c;
    }
  }
  return word;
}

std::string_view Trimmed(std::string_view line) {
  const size_t begin = line.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin);
}

// What a line names; empty where it names nothing.
std::string NamedBy(std::string_view line, bool concat) {
  if (concat) return line.starts_with("file ") || line.starts_with("file\t") ? WordOf(Trimmed(line.substr(5))) : std::string();
  if (!line.starts_with('#')) return std::string(line);
  const size_t uri = line.find(kUri);
  return uri == std::string_view::npos ? std::string()
                                       : std::string(line.substr(uri + kUri.size(), line.find('"', uri + kUri.size()) - uri - kUri.size()));
}

// The files that the list `path` names itself; none where it is no list.
std::vector<std::string> NamedIn(const std::string& path) {
  const std::unique_ptr<ByteSource> bytes = OpenBytes(path);
  const std::string begin = BeginOf(*bytes);
  const bool concat = begin == kConcat;
  if (!concat && !begin.starts_with(kHls)) return {};
  std::vector<std::string> pieces;
  const std::string text = ReadWhole(path, kLongestList);
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    std::string name = NamedBy(Trimmed(std::string_view(text).substr(at, end - at)), concat);
    at = end + 1;
    if (name.starts_with(kFile)) name.erase(0, kFile.size());
    if (!name.empty()) pieces.push_back(NameOf(PathOf(path).parent_path() / PathOf(name)));
  }
  return pieces;
}

std::string Shortest(const std::string& path) { return NameOf(PathOf(path).lexically_normal()); }

// `seen`: what has been found, as it is spelt shortest.
void AddPieces(const std::string& path, size_t depth, std::set<std::string>* seen, std::vector<std::string>* found) {
  for (const std::string& piece : NamedIn(path)) {
    if (!seen->insert(Shortest(piece)).second) continue;
    found->push_back(piece);
    if (depth < kDeepest && LookAt(piece).kind == FileKind::kFile) AddPieces(piece, depth + 1, seen, found);
  }
}

// `way`: the lists that have led to `path`, and it.
bool LeadsBack(const std::string& path, std::vector<std::string>* way) {
  for (const std::string& piece : NamedIn(path)) {
    if (std::find(way->begin(), way->end(), Shortest(piece)) != way->end()) return true;
    if (way->size() >= kDeepest || LookAt(piece).kind != FileKind::kFile) continue;
    way->push_back(Shortest(piece));
    if (LeadsBack(piece, way)) return true;
    way->pop_back();
  }
  return false;
}

}  // namespace

bool IsList(ByteSource& bytes) {
  const std::string begin = BeginOf(bytes);
  return begin == kConcat || begin.starts_with(kHls);
}

bool IsHlsList(ByteSource& bytes) { return BeginOf(bytes).starts_with(kHls); }

bool LeadsToItself(const std::string& path) {
  std::vector<std::string> way = {Shortest(path)};
  try {
    return LeadsBack(path, &way);
  } catch (const Failure&) {
    return false;
  }
}

std::vector<std::string> PiecesOf(const std::string& path) {
  std::vector<std::string> found;
  std::set<std::string> seen;
  try {
    AddPieces(path, 1, &seen, &found);
  } catch (const Failure&) {
    // What cannot be read is told when its turn comes.
  }
  return found;
}

}  // namespace TSEG::tool
