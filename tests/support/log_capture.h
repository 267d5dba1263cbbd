// SPDX-License-Identifier: Apache-2.0
//
// LogCapture: the one logger of the process on a file of the test, one message a line and nothing in front of it, so that the lines that a
// call writes can be looked at.
#ifndef WVAD_SUPPORT_LOG_CAPTURE_H_
#define WVAD_SUPPORT_LOG_CAPTURE_H_

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "log/log.h"
#include "support/temp_folder.h"

namespace TSEG::testing_support {

class LogCapture {
 public:
  static constexpr uint32_t kAllLevels = 0x1FF;

  // `levels`: the level bits to keep.
  explicit LogCapture(uint32_t levels = kAllLevels) {
    folder_.write("capture.cfu", "[logger]\nfile=" + folder_.file("capture.log") + "\noutput=1\nlevel=" + std::to_string(levels) +
                                     "\nstyle=16\nflush=1\nhead=0\n");
    Open();
  }
  ~LogCapture() {
    if (srlog_exists()) srlog_close();
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Once more, on the same file, after what is tested has closed the logger. Nothing happens where there is one.
  void Open() { opened_ = srlog_open(folder_.file("capture.cfu").c_str(), "logger", {"capture.log", "Capture"}) == 0; }
  // Whether the last Open made a logger.
  bool opened() const { return opened_; }

  std::string Text() const { return folder_.read("capture.log"); }
  // The lines that are not empty.
  std::vector<std::string> Lines() const {
    std::istringstream text(Text());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      if (!line.empty()) lines.push_back(line);
    }
    return lines;
  }
  // How often `part` stands in the log, anywhere.
  int Count(const std::string& part) const { return CountIn(Text(), part); }
  // How often `lines` stand in the log, one after another and whole.
  int CountLines(const std::string& lines) const { return CountIn("\n" + Text(), "\n" + lines + "\n"); }
  // How often a failure of two lines stands there.
  int Failures(const std::string& line, const std::string& name, int code) const {
    return CountLines(line + "\nError! The error string is -> " + name + " = " + std::to_string(code));
  }

 private:
  // Finds that share a line break count both.
  static int CountIn(const std::string& all, const std::string& wanted) {
    int n = 0;
    for (size_t at = all.find(wanted); at != std::string::npos; at = all.find(wanted, at + 1)) ++n;
    return n;
  }

  TempFolder folder_;
  bool opened_ = false;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_LOG_CAPTURE_H_
