// SPDX-License-Identifier: Apache-2.0
//
// TestLog: the one logger of the process on a file of the test, every level on, one message a line and nothing in front of it.
#ifndef WVAD_TESTS_RES_TEST_LOG_H_
#define WVAD_TESTS_RES_TEST_LOG_H_

#include <string>

#include "log/log.h"
#include "support/temp_folder.h"

namespace TSEG::testing_support {

class TestLog {
 public:
  TestLog() {
    folder_.write("test.cfu", "[logger]\nfile=" + folder_.file("test.log") + "\noutput=1\nlevel=all\nstyle=16\nflush=1\nhead=0\n");
    srlog_open(folder_.file("test.cfu").c_str(), "logger", {"test.log", "Test"});
  }
  ~TestLog() { srlog_close(); }
  TestLog(const TestLog&) = delete;
  TestLog& operator=(const TestLog&) = delete;

  std::string Text() const { return folder_.read("test.log"); }
  // How often `lines` stand in the log, one after another and whole.
  int Count(const std::string& lines) const {
    const std::string all = "\n" + Text();
    const std::string wanted = "\n" + lines + "\n";
    int n = 0;
    for (size_t at = all.find(wanted); at != std::string::npos; at = all.find(wanted, at + 1)) ++n;
    return n;
  }
  // How often a failure of two lines stands there.
  int Failures(const std::string& line, const std::string& name, int code) const {
    return Count(line + "\nError! The error string is -> " + name + " = " + std::to_string(code));
  }
  int CountPart(const std::string& part) const {
    const std::string all = Text();
    int n = 0;
    for (size_t at = all.find(part); at != std::string::npos; at = all.find(part, at + 1)) ++n;
    return n;
  }

 private:
  TempFolder folder_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_RES_TEST_LOG_H_
