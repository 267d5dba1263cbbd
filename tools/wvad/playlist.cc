// SPDX-License-Identifier: Apache-2.0
#include "wvad/playlist.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "wvad/failure.h"
#include "wvad/form_of_ending.h"
#include "wvad/media_source.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

constexpr size_t kLookedAt = 1 << 16;
constexpr std::string_view kPls = "[playlist]", kByteOrder = "\xef\xbb\xbf";

// Calls `take` with each line until it says that this is enough.
template <typename Take>
void ForLines(std::string_view text, const Take& take) {
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    std::string_view line = text.substr(begin, end - begin);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (take(line)) return;
    begin = end + 1;
  }
}

std::string FirstOfM3u(const std::string& text) {
  std::string first;
  ForLines(text, [&first](std::string_view line) {
    if (line.empty() || line[0] == '#') return false;
    first = line;
    return true;
  });
  return first;
}

std::string_view Trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t\r");
  return begin == std::string_view::npos ? std::string_view() : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

// Without regard to case; `with` is in small letters.
bool Begins(std::string_view text, std::string_view with) {
  const auto same = [](char c, char small) { return (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) == small; };
  return text.size() >= with.size() &&
         std::equal(with.begin(), with.end(), text.begin(), [&](char small, char c) { return same(c, small); });
}

// An entry by its number; none for any other line.
std::optional<std::pair<unsigned, std::string>> EntryOfPls(std::string_view line) {
  constexpr std::string_view kKey = "file";
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos || !Begins(line, kKey)) return std::nullopt;
  const std::string_view digits = Trimmed(line.substr(kKey.size(), equals - kKey.size()));
  unsigned number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const std::string_view value = Trimmed(line.substr(equals + 1));
  if (error != std::errc() || end != digits.data() + digits.size() || value.empty()) return std::nullopt;
  return std::pair(number, std::string(value));
}

}  // namespace

std::optional<std::vector<std::string>> EntriesOfPls(std::string_view text, const std::string& name) {
  if (text.starts_with(kByteOrder)) text.remove_prefix(kByteOrder.size());
  const bool called_so = HasEnding(name, ".pls");
  bool headed = false;
  bool first = true;
  std::vector<std::pair<unsigned, std::string>> entries;
  ForLines(text, [&](std::string_view whole) {
    const std::string_view line = Trimmed(whole);
    if (line.empty() || line[0] == ';' || line[0] == '#') return false;
    if (std::exchange(first, false)) headed = Begins(line, kPls);
    if (auto entry = EntryOfPls(line)) entries.push_back(std::move(*entry));
    return !headed && !called_so;
  });
  if (!headed && (!called_so || entries.empty())) return std::nullopt;
  std::stable_sort(entries.begin(), entries.end(), [](const auto& one, const auto& other) { return one.first < other.first; });
  std::vector<std::string> names;
  for (auto& entry : entries) names.push_back(std::move(entry.second));
  return names;
}

std::optional<std::string> FirstOfPlaylist(ByteSource& bytes, const std::string& name) {
  std::string text(kLookedAt, '\0');
  text.resize(bytes.ReadAt(0, text.data(), 16));
  const bool m3u = text.starts_with("#EXTM3U") || HasEnding(name, ".m3u") || HasEnding(name, ".m3u8");
  if (!m3u && !Begins(text, kPls) && !HasEnding(name, ".pls")) return std::nullopt;
  text.resize(kLookedAt);
  text.resize(bytes.ReadAt(0, text.data(), kLookedAt));
  if (text.find('\0') != std::string::npos || text.find("#EXT-X-") != std::string::npos) return std::nullopt;
  const std::optional<std::vector<std::string>> pls = EntriesOfPls(text, name);
  if (pls) return pls->empty() ? "" : pls->front();
  return m3u ? std::optional<std::string>(FirstOfM3u(text)) : std::nullopt;
}

void RefusePlaylist(ByteSource& bytes, const std::string& name) {
  const std::optional<std::string> first = FirstOfPlaylist(bytes, name);
  if (!first) return;
  if (IsAddress(*first)) {
    throw NoSound(name + ": is a playlist, which leads to an address; give that itself: --allow-network " + Shown(*first));
  }
  throw NoSound(name + ": is a playlist, which is not heard itself; name its recordings, or give their list to --files-from");
}

}  // namespace TSEG::tool
