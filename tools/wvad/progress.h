// SPDX-License-Identifier: Apache-2.0
//
// A progress bar on standard error: only on a terminal, only when the work takes longer than a moment, gone without a trace at its end.
#ifndef WVAD_WVAD_PROGRESS_H_
#define WVAD_WVAD_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace TSEG::tool {

class Progress {
 public:
  // `enabled` false: nothing is ever shown. `seconds_total` of audio, 0 if unknown.
  Progress(bool enabled, std::string name, double seconds_total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(double seconds_done);
  // Takes the bar away, so that something else can be printed.
  void Hide();

 private:
  using Clock = std::chrono::steady_clock;

  bool enabled_;
  std::string name_;
  double seconds_total_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point last_ = start_;
  bool shown_ = false;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PROGRESS_H_
