// SPDX-License-Identifier: Apache-2.0
#include "wvad/hls_list.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

#include "base/number_text.h"

namespace TSEG::tool {
namespace {

constexpr std::string_view kMark = "#EXTM3U", kPiece = "#EXTINF:", kEnd = "#EXT-X-ENDLIST", kNewClock = "#EXT-X-DISCONTINUITY";
constexpr size_t kLongestList = size_t{1} << 24;

// What stands before the comma; 0 for what is no length.
double Length(std::string_view text) {
  const size_t begin = std::min(text.find_first_not_of(' '), text.size());
  const size_t end = std::min(text.find_first_of(", \r", begin), text.size());
  const double seconds = ReadNumber(text.substr(begin, end - begin)).value_or(0);
  return std::isfinite(seconds) && seconds > 0 ? seconds : 0;
}

}  // namespace

std::optional<HlsList> ReadHlsList(ByteSource& bytes) {
  std::string text(kMark.size(), '\0');
  text.resize(bytes.ReadAt(0, text.data(), text.size()));
  if (text != kMark) return std::nullopt;
  text.resize(kLongestList);
  text.resize(bytes.ReadAt(0, text.data(), text.size()));
  HlsList list;
  bool whole_seconds = true;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = std::string_view(text).substr(at, end - at);
    at = end + 1;
    if (line.starts_with(kEnd)) list.closed = true;
    if (line == kNewClock || line == std::string(kNewClock) + '\r') list.discontinuous = true;
    if (!line.starts_with(kPiece)) continue;
    const double length_s = Length(line.substr(kPiece.size()));
    ++list.pieces;
    list.length_s += length_s;
    whole_seconds &= length_s == std::floor(length_s);
  }
  if (list.pieces == 0) return std::nullopt;
  list.rounding_s = whole_seconds ? 0.5 * list.pieces : 0;
  return list;
}

}  // namespace TSEG::tool
