// SPDX-License-Identifier: Apache-2.0
#include "wvad/time_range.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>
#include <system_error>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

// As far as the program's clock is meant to run.
constexpr double kLongest = 1e9;

std::optional<double> ParseNumber(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (error != std::errc() || end != text.data() + text.size() || !(value >= 0 && value <= kLongest)) return std::nullopt;
  return value;
}

// Hours and minutes are whole; minutes and seconds behind them are below 60.
std::optional<double> ParseSeconds(std::string_view text) {
  double total = 0;
  for (int parts = 0; parts < 3; ++parts) {
    const size_t colon = text.find(':');
    const std::optional<double> part = ParseNumber(text.substr(0, colon));
    if (!part || (parts > 0 && *part >= 60)) return std::nullopt;
    total = total * 60 + *part;
    if (colon == std::string_view::npos) return total;
    if (*part != std::floor(*part)) return std::nullopt;
    text.remove_prefix(colon + 1);
  }
  return std::nullopt;
}

// What is written with few digits lies on a frame's begin, not a hair before it.
int64_t FrameAt(double seconds) { return static_cast<int64_t>(std::floor(seconds * 100 + 1e-6)); }

}  // namespace

FrameRange ParseFrameRange(const std::string& text) {
  const size_t dash = text.find('-');
  const std::string_view whole(text);
  const std::optional<double> first = ParseSeconds(whole.substr(0, dash));
  const std::optional<double> last = dash == std::string::npos ? first : ParseSeconds(whole.substr(dash + 1));
  if (!first || !last)
    throw Failure(ExitCode::kUsage, "--at " + text + ": expected seconds or h:m:s, or from-to, as 12.3, 1:02.5 or 12.3-14");
  if (*last < *first) throw Failure(ExitCode::kUsage, "--at " + text + ": ends before it begins");
  return {FrameAt(*first), FrameAt(*last)};
}

}  // namespace TSEG::tool
