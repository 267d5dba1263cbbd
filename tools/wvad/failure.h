// SPDX-License-Identifier: Apache-2.0
//
// How the program fails: one kind of failure, one exit code, one line on standard error. Whatever goes wrong below leaves as a `Failure`
// and is printed in one place, so that no failure prints two lines or none.
#ifndef WVAD_WVAD_FAILURE_H_
#define WVAD_WVAD_FAILURE_H_

#include <stdexcept>
#include <string>

namespace TSEG::tool {

// The program's exit codes. They are documented in --help and in the manual page; scripts depend on the numbers.
enum class ExitCode : int {
  kSuccess = 0,
  kInternal = 1,      // something that should not happen, memory exhausted
  kUsage = 2,         // the command line makes no sense
  kNoFile = 3,        // an input that is missing or cannot be opened
  kNotAudio = 4,      // an input that is no audio file, or whose audio is damaged
  kBadRate = 5,       // a sample rate or channel that cannot be served
  kBadParameter = 6,  // --set: unknown name, or a value that is not one
  kBadModel = 7,      // the model is missing or unusable
  kOutput = 8,        // the output cannot be written
  kEngine = 9,        // the engine refused to go on
  kInterrupted = 10   // stopped by the user; what was found until then has been printed
};

class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FAILURE_H_
