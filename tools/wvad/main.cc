// SPDX-License-Identifier: Apache-2.0
//
// The program `wvad`: command line in, one command run, exit code out. All failures end here, in one line each.
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "wvad/command_line.h"
#include "wvad/failure.h"
#include "wvad/messages.h"
#include "wvad/system.h"

int main(int argc, char** argv) {
  using TSEG::tool::ExitCode;
  TSEG::tool::HoldStandardDescriptors();
  TSEG::tool::IgnoreSignalsOfWriting();
  ExitCode code = ExitCode::kInternal;
  try {
    std::vector<std::string> arguments = TSEG::tool::Arguments(argc, argv);
    std::vector<char*> words;
    for (std::string& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    code = TSEG::tool::RunCommandLine(static_cast<int>(arguments.size()), words.data());
  } catch (const TSEG::tool::NobodyReads& failure) {
    code = failure.code();
  } catch (const TSEG::tool::Failure& failure) {
    TSEG::tool::SayFailure(failure.what());
    code = failure.code();
  } catch (const std::bad_alloc&) {
    std::fputs("wvad: out of memory\n", stderr);  // without any
  } catch (const std::exception& error) {
    TSEG::tool::SayFailure(std::string("internal error: ") + error.what());
  }
  return static_cast<int>(code);
}
