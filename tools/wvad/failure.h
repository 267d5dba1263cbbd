// SPDX-License-Identifier: Apache-2.0
//
// How the program fails: one kind of failure, one exit code, one line on standard error. Whatever goes wrong below leaves as a `Failure`
// and is printed in one place, so that no failure prints two lines or none.
#ifndef WVAD_WVAD_FAILURE_H_
#define WVAD_WVAD_FAILURE_H_

#include <stdexcept>
#include <string>

#include "wvad/exit_codes.h"

namespace TSEG::tool {

class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// A file that holds no sound: in a folder that is walked, nobody's mistake.
class NoSound : public Failure {
 public:
  explicit NoSound(const std::string& message) : Failure(ExitCode::kNotAudio, message) {}
};

// Whoever read what the program prints has gone, as `head` does when it has enough. That is no news to anybody: it has a code and no line.
class NobodyReads : public Failure {
 public:
  explicit NobodyReads(const std::string& name) : Failure(ExitCode::kOutput, name + ": nobody reads it any more") {}
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FAILURE_H_
