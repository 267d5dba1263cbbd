// SPDX-License-Identifier: Apache-2.0
#include "wvad/playlist.h"

#include <algorithm>

#include "wvad/failure.h"
#include "wvad/form_of_ending.h"
#include "wvad/media_source.h"
#include "wvad/shown.h"

namespace TSEG::tool {
namespace {

constexpr size_t kLookedAt = 1 << 16;

// Calls `take` with each line until it says that this is enough.
template <typename Take>
void ForLines(const std::string& text, const Take& take) {
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    std::string line = text.substr(begin, end - begin);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (take(line)) return;
    begin = end + 1;
  }
}

std::string FirstOfM3u(const std::string& text) {
  std::string first;
  ForLines(text, [&first](const std::string& line) {
    if (line.empty() || line[0] == '#') return false;
    first = line;
    return true;
  });
  return first;
}

std::string FirstOfPls(const std::string& text) {
  std::string first;
  ForLines(text, [&first](const std::string& line) {
    if (!line.starts_with("File1=")) return false;
    first = line.substr(line.find('=') + 1);
    return true;
  });
  return first;
}

}  // namespace

std::optional<std::string> FirstOfPlaylist(ByteSource& bytes, const std::string& name) {
  std::string text(kLookedAt, '\0');
  text.resize(bytes.ReadAt(0, text.data(), 16));
  const bool marked = text.starts_with("#EXTM3U") || text.starts_with("[playlist]");
  if (!marked && !HasEnding(name, ".m3u") && !HasEnding(name, ".m3u8")) return std::nullopt;
  text.resize(kLookedAt);
  text.resize(bytes.ReadAt(0, text.data(), kLookedAt));
  if (text.find('\0') != std::string::npos || text.find("#EXT-X-") != std::string::npos) return std::nullopt;
  return text.starts_with("[playlist]") ? FirstOfPls(text) : FirstOfM3u(text);
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
