// SPDX-License-Identifier: Apache-2.0
//
// LogCapture: the one logger of the process on a file of the test, every level on, so that the lines that a call writes can be looked at.
#ifndef WVAD_SUPPORT_LOG_CAPTURE_H_
#define WVAD_SUPPORT_LOG_CAPTURE_H_

#include <string>
#include <vector>

#include "log/log.h"
#include "support/temp_folder.h"

namespace TSEG::testing_support {

class LogCapture {
 public:
  LogCapture() {
    folder_.write("capture.cfu",
                  "[logger]\nfile=" + folder_.file("capture.log") + "\noutput=1\nlevel=all\nstyle=256\nflush=1\nhead=0\nmaxsize=0\n");
    opened_ = srlog_open(folder_.file("capture.cfu").c_str(), "logger", {"capture.log", "Capture"}) == 0;
  }
  ~LogCapture() {
    if (srlog_exists()) srlog_close();
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  bool opened() const { return opened_; }
  std::string Text() const { return folder_.read("capture.log"); }
  // How often `text` stands in the log.
  int Count(const std::string& text) const {
    const std::string all = Text();
    int n = 0;
    for (size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size())) ++n;
    return n;
  }

 private:
  TempFolder folder_;
  bool opened_ = false;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_LOG_CAPTURE_H_
