// SPDX-License-Identifier: Apache-2.0
//
// For libraries that tell on standard error what they have tried, though nobody asked.
#ifndef WVAD_WVAD_QUIET_ERRORS_H_
#define WVAD_WVAD_QUIET_ERRORS_H_

namespace TSEG::tool {

// While it lives, what the process writes to standard error goes nowhere. (In system.cc, with the other system calls.)
class ErrorToNowhere {
 public:
  ErrorToNowhere();
  ~ErrorToNowhere();
  ErrorToNowhere(const ErrorToNowhere&) = delete;
  ErrorToNowhere& operator=(const ErrorToNowhere&) = delete;

 private:
  int saved_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_QUIET_ERRORS_H_
