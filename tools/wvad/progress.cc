// SPDX-License-Identifier: Apache-2.0
#include "wvad/progress.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "wvad/file_system.h"
#include "wvad/system.h"
#include "wvad/wrapped.h"

namespace TSEG::tool {
namespace {

std::string ClockText(double seconds) {
  const int64_t whole = static_cast<int64_t>(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%d:%02d:%02d", static_cast<int>(whole / 3600), static_cast<int>(whole / 60 % 60),
                static_cast<int>(whole % 60));
  return text;
}

std::string Printable(std::string name) {
  for (char& c : name) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return name;
}

std::string Bar(double share) {
  constexpr int kCells = 24;
  const int full = static_cast<int>(share * kCells);
  return "[" + std::string(static_cast<size_t>(full), '#') + std::string(static_cast<size_t>(kCells - full), '.') + "] ";
}

}  // namespace

std::string ProgressLine(const ProgressState& state, size_t width) {
  std::string bar;
  std::string share;
  if (state.share >= 0) {
    const double known = std::clamp(state.share, 0.0, 1.0);
    bar = Bar(known);
    share = std::to_string(static_cast<int>(known * 100)) + " %  ";
  }
  std::string place = ClockText(state.seconds_done) + "  ";
  if (state.files > 1) {
    place = std::to_string(state.files_done) + " of " + std::to_string(state.files) + "  ";
  } else if (state.seconds_total > 0) {
    place = ClockText(state.seconds_done) + " / " + ClockText(state.seconds_total) + "  ";
  }
  const std::string left = state.seconds_left >= 0 ? ClockText(state.seconds_left) + " left  " : "";
  if (Columns(bar + share + place + left) > width) bar.clear();
  if (Columns(share + place + left) > width && !left.empty()) place.clear();
  return std::string(Cut(bar + share + place + left + Printable(state.name), width));
}

Progress::Progress(bool enabled, std::vector<std::string> files, std::function<Clock::time_point()> now)
    : enabled_(enabled), files_(std::move(files)), now_(std::move(now)) {
  if (!enabled_) return;
  for (const std::string& name : files_) {
    // What has no size counts like something small.
    weights_.push_back(static_cast<double>(std::max<uint64_t>(name == "-" ? 0 : SizeOf(name), 1)));
    weight_ += weights_.back();
  }
  shares_.resize(files_.size());
}

Progress::~Progress() { Hide(); }

void Progress::Show(size_t index, double seconds_done, double seconds_total) {
  using namespace std::chrono_literals;
  if (!enabled_) return;
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (seconds_total > 0) {
    const double share = std::clamp(seconds_done / seconds_total, 0.0, 1.0);
    done_ += (share - shares_[index]) * weights_[index];
    shares_[index] = share;
  }
  const Clock::time_point now = now_();
  if (now - start_ < 500ms || now - last_ < 100ms) return;
  last_ = now;
  Draw(index, seconds_done, seconds_total, now);
}

void Progress::Done(size_t index) {
  if (!enabled_) return;
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  done_ += (1 - shares_[index]) * weights_[index];
  shares_[index] = 1;
  ++files_done_;
}

void Progress::Draw(size_t index, double seconds_done, double seconds_total, Clock::time_point now) {
  ProgressState state;
  state.seconds_done = seconds_done;
  state.seconds_total = seconds_total;
  state.files_done = files_done_;
  state.files = files_.size();
  state.name = files_[index];
  if (files_.size() > 1 || seconds_total > 0) {
    state.share = done_ / weight_;
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    if (state.share > 0) state.seconds_left = elapsed * (1 - state.share) / state.share;
  }
  const size_t width = static_cast<size_t>(std::max(20, TerminalWidth())) - 1;
  std::fprintf(stderr, "\r%s\x1b[K", ProgressLine(state, width).c_str());
  std::fflush(stderr);
  shown_ = true;
}

void Progress::Hide() {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!shown_) return;
  std::fputs("\r\x1b[K", stderr);
  std::fflush(stderr);
  shown_ = false;
}

Progress::Pause::Pause(Progress& progress) : lock_(progress.mutex_) { progress.Hide(); }

}  // namespace TSEG::tool
