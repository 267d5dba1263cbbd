// SPDX-License-Identifier: Apache-2.0
//
// LogCapture: the engine's logger open on a file of its own for the life of the object, at every level and with nothing but the text in a
// line.
#ifndef WVAD_TESTS_FRONTEND_LOG_CAPTURE_H_
#define WVAD_TESTS_FRONTEND_LOG_CAPTURE_H_

#include <sstream>
#include <string>
#include <vector>

#include "log/log.h"
#include "support/temp_folder.h"

namespace TSEG::testing_support {

class LogCapture {
 public:
  // `level` is the mask of levels to keep.
  explicit LogCapture(unsigned level = 255) {
    const std::string cfg = folder_.write("test.cfu", "[logger]\nfile=" + folder_.file("test.log") +
                                                          "\noutput=1\nstyle=16\nhead=0\nflush=1\nlevel=" + std::to_string(level) + "\n");
    srlog_open(cfg.c_str(), "logger", LogDefaults{"test.log", "test"});
  }
  ~LogCapture() { srlog_close(); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines written so far, without empty ones.
  std::vector<std::string> lines() const {
    std::istringstream text(folder_.read("test.log"));
    std::vector<std::string> result;
    for (std::string line; std::getline(text, line);) {
      while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
      if (!line.empty()) result.push_back(line);
    }
    return result;
  }

 private:
  TempFolder folder_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_FRONTEND_LOG_CAPTURE_H_
