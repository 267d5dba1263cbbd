// SPDX-License-Identifier: Apache-2.0
#include "wvad/live/live_line.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

constexpr double kSilentDb = -100;

std::string Clock(double seconds) {
  const auto whole = static_cast<int64_t>(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%d:%02d:%02d", static_cast<int>(whole / 3600), static_cast<int>(whole / 60 % 60),
                static_cast<int>(whole % 60));
  return text;
}

std::string Bar(double level_db) {
  constexpr int kCells = 24;
  constexpr double kLowestDb = -60;
  const int full = static_cast<int>(std::lround(std::clamp(1 - level_db / kLowestDb, 0.0, 1.0) * kCells));
  return "[" + std::string(static_cast<size_t>(full), '#') + std::string(static_cast<size_t>(kCells - full), '.') + "]";
}

}  // namespace

std::string LiveLine(const LiveState& state, size_t width) {
  char level[16];
  std::snprintf(level, sizeof level, "%4ld dB", std::lround(state.level_db));
  const std::vector<std::string> parts = {Clock(state.seconds), Bar(state.level_db), level,
                                          "speech " + Fixed(std::clamp(state.probability, 0.0, 1.0), 2),
                                          state.begun ? "sentence since " + Fixed(*state.begun, 2) + " s" : ""};
  std::string line;
  for (const std::string& part : parts) {
    if (part.empty() || line.size() + part.size() + 2 > width + (line.empty() ? 2 : 0)) break;
    line += (line.empty() ? "" : "  ") + part;
  }
  return line;
}

double LevelDb(const float* samples, size_t count) {
  double power = 0;
  for (size_t i = 0; i < count; ++i) power += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
  return count == 0 || power <= 0 ? kSilentDb : std::max(kSilentDb, 10 * std::log10(power / static_cast<double>(count)));
}

}  // namespace TSEG::tool
