// SPDX-License-Identifier: Apache-2.0
//
// A progress bar on standard error over all recordings of a run: only on a terminal, only when the work takes longer than a moment, gone
// without a trace at its end.
#ifndef WVAD_WVAD_PROGRESS_H_
#define WVAD_WVAD_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace TSEG::tool {

// What the bar tells.
struct ProgressState {
  double share = -1;         // of all the work that is done; below 0: not known
  double seconds_done = 0;   // of the recording, where there is one only
  double seconds_total = 0;  // 0: not known
  double seconds_left = -1;  // until everything is done; below 0: not known
  size_t files_done = 0;
  size_t files = 1;
  std::string name;  // of the recording that is being worked on
};
// In no more than `width` columns: the name is cut first, then the bar goes, then the place. What is no printable character of a name
// becomes "?".
std::string ProgressLine(const ProgressState& state, size_t width);

// Any thread may call.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  // `enabled` false: nothing is ever shown. A file's size says what share of the work it is. `now` tells the time.
  Progress(bool enabled, std::vector<std::string> files, std::function<Clock::time_point()> now = Clock::now);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // So much of the recording `index` has been heard; `seconds_total` 0 where its length is not known.
  void Show(size_t index, double seconds_done, double seconds_total);
  // Nothing is left to do of it.
  void Done(size_t index);
  // Takes the bar away, so that something else can be printed.
  void Hide();
  // While it lives, the bar is away and stays away, whatever other threads do.
  class Pause {
   public:
    explicit Pause(Progress& progress);

   private:
    std::unique_lock<std::recursive_mutex> lock_;
  };

 private:
  void Draw(size_t index, double seconds_done, double seconds_total, Clock::time_point now);

  bool enabled_;
  std::vector<std::string> files_;
  std::function<Clock::time_point()> now_;
  std::recursive_mutex mutex_;   // who pauses the bar may hide it
  std::vector<double> weights_;  // of each recording
  std::vector<double> shares_;   // of each that is done
  double weight_ = 0;            // of all
  double done_ = 0;              // of that
  size_t files_done_ = 0;
  Clock::time_point start_ = now_();
  Clock::time_point last_ = start_;
  bool shown_ = false;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PROGRESS_H_
