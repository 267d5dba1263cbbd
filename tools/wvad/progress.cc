// SPDX-License-Identifier: Apache-2.0
#include "wvad/progress.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "wvad/system.h"

namespace TSEG::tool {
namespace {

std::string ClockText(double seconds) {
  const int64_t whole = static_cast<int64_t>(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%d:%02d:%02d", static_cast<int>(whole / 3600), static_cast<int>(whole / 60 % 60),
                static_cast<int>(whole % 60));
  return text;
}

}  // namespace

Progress::Progress(bool enabled, std::string name, double seconds_total)
    : enabled_(enabled), name_(std::move(name)), seconds_total_(seconds_total) {}

Progress::~Progress() { Hide(); }

void Progress::Show(double seconds_done) {
  using namespace std::chrono_literals;
  if (!enabled_) return;
  const Clock::time_point now = Clock::now();
  if (now - start_ < 500ms || now - last_ < 100ms) return;
  last_ = now;
  std::string line;
  if (seconds_total_ > 0) {
    const double share = std::clamp(seconds_done / seconds_total_, 0.0, 1.0);
    constexpr int kCells = 24;
    const int full = static_cast<int>(share * kCells);
    line = "[" + std::string(static_cast<size_t>(full), '#') + std::string(static_cast<size_t>(kCells - full), '.') + "] " +
           std::to_string(static_cast<int>(share * 100)) + " %  " + ClockText(seconds_done) + " / " + ClockText(seconds_total_) + "  ";
  } else {
    line = ClockText(seconds_done) + "  ";
  }
  line += name_;
  const size_t width = static_cast<size_t>(std::max(20, TerminalWidth())) - 1;
  if (line.size() > width) line.resize(width);
  std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
  std::fflush(stderr);
  shown_ = true;
}

void Progress::Hide() {
  if (!shown_) return;
  std::fputs("\r\x1b[K", stderr);
  std::fflush(stderr);
  shown_ = false;
}

}  // namespace TSEG::tool
