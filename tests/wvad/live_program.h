// SPDX-License-Identifier: Apache-2.0
//
// The built program while it runs: its standard input stays open until the test closes it, and signals reach it.
#ifndef WVAD_WVAD_LIVE_PROGRAM_H_
#define WVAD_WVAD_LIVE_PROGRAM_H_

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

namespace TSEG::tool::testing {

class LiveProgram {
 public:
  // Standard output and error go to nowhere.
  explicit LiveProgram(const std::vector<std::string>& arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    // So small that Write() comes back only when the program has taken all but the last eighth of a second.
    if (fcntl(ends[1], F_SETPIPE_SZ, 4096) < 0) throw std::runtime_error("no small pipe");
    child_ = fork();
    if (child_ == 0) {
      signal(SIGHUP, SIG_DFL);  // whoever runs the tests may ignore it
      const int nowhere = open("/dev/null", O_WRONLY);
      dup2(ends[0], 0);
      dup2(nowhere, 1);
      dup2(nowhere, 2);
      std::vector<char*> argv = {const_cast<char*>("wvad")};
      for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
      argv.push_back(nullptr);
      execv(WVAD_PROGRAM, argv.data());
      _exit(99);
    }
    close(ends[0]);
    input_ = ends[1];
  }
  ~LiveProgram() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      Wait();
    }
    CloseInput();
  }
  LiveProgram(const LiveProgram&) = delete;
  LiveProgram& operator=(const LiveProgram&) = delete;

  void Write(const std::string& bytes) {
    if (write(input_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      throw std::runtime_error("the program reads no more");
  }
  void CloseInput() {
    if (input_ >= 0) close(input_);
    input_ = -1;
  }
  void Signal(int number) { kill(child_, number); }
  // The exit code, 128 and the signal's number if one ended it.
  int Wait() {
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t child_ = -1;
  int input_ = -1;
};

}  // namespace TSEG::tool::testing

#endif  // WVAD_WVAD_LIVE_PROGRAM_H_
