// SPDX-License-Identifier: Apache-2.0
//
// The built program as a user or a script meets it: arguments and files in; exit code, standard output and standard error out.
#ifndef WVAD_WVAD_PROGRAM_FIXTURE_H_
#define WVAD_WVAD_PROGRAM_FIXTURE_H_

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "support/temp_folder.h"
#include "wvad/signals.h"

namespace TSEG::tool {

using testing::Bursts;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using testing::WriteAudio;
using Spans = std::vector<std::pair<double, double>>;

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

class Program : public ::testing::Test {
 protected:
  // Colours that whoever runs the tests asks for or forbids are no part of them.
  Program() {
    for (const char* name : {"NO_COLOR", "CLICOLOR", "CLICOLOR_FORCE"}) unsetenv(name);
  }

  // Runs `wvad <command> --model <energy model>` with `arguments`.
  Outcome Run(const std::string& command, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {command, "--model", WVAD_TEST_MODEL});
    return Call(arguments);
  }
  Outcome Segment(std::vector<std::string> arguments) { return Run("segment", std::move(arguments)); }

  Outcome Call(const std::vector<std::string>& arguments) {
    const std::string in = input_.empty() ? "/dev/null" : folder_.write("stdin", input_);
    const pid_t child = fork();
    if (child == 0) {
      const int in_fd = open(in.c_str(), O_RDONLY);
      const int out_fd = open(output_.empty() ? folder_.file("stdout").c_str() : output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      const int err_fd = open(folder_.file("stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(in_fd, 0);
      dup2(out_fd, 1);
      dup2(err_fd, 2);
      if (!current_.empty() && chdir(current_.c_str()) != 0) _exit(98);
      if (remove_current_) rmdir(current_.c_str());
      if (file_size_limit_ > 0) {
        signal(SIGXFSZ, SIG_DFL);  // whoever runs the tests may ignore it
        const rlimit limit = {file_size_limit_, file_size_limit_};
        setrlimit(RLIMIT_FSIZE, &limit);
      }
      std::vector<char*> argv = {const_cast<char*>("wvad")};
      for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
      argv.push_back(nullptr);
      execv(WVAD_PROGRAM, argv.data());
      _exit(99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), folder_.read("stdout"), folder_.read("stderr")};
  }

  // A recording with bursts at the given places.
  std::string Wav(const std::string& name, double length_s, const Spans& spans, int rate_hz = 16000) {
    const std::string path = folder_.file(name);
    WriteAudio(path, Bursts(length_s, spans, rate_hz), rate_hz);
    return path;
  }

  // Runs `call` in a process in which no file may grow beyond `bytes`: a stand-in for a full disk.
  template <typename Function>
  Outcome WithFileSizeLimit(size_t bytes, const Function& call) {
    file_size_limit_ = bytes;
    const Outcome run = call();
    file_size_limit_ = 0;
    return run;
  }

  // The names in a folder, sorted.
  static std::vector<std::string> Names(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  static std::string Bytes(const std::vector<int16_t>& samples) {
    return std::string(reinterpret_cast<const char*>(samples.data()), samples.size() * 2);
  }

  // Begin and end of each sentence of the first file.
  static Spans Found(const std::string& json_text) {
    Spans found;
    const nlohmann::json document = nlohmann::json::parse(json_text);
    for (const nlohmann::json& sentence : document.at("files").at(0).at("sentences")) {
      found.emplace_back(sentence.at("begin").get<double>(), sentence.at("end").get<double>());
    }
    return found;
  }

  static int Lines(const std::string& text) { return static_cast<int>(std::count(text.begin(), text.end(), '\n')); }

  // One line of words, the code, and nothing on standard output.
  static void ExpectFailure(const Outcome& run, int code, const std::string& words) {
    EXPECT_EQ(run.code, code);
    EXPECT_EQ(Lines(run.err), 1) << run.err;
    EXPECT_THAT(run.err, StartsWith("wvad: "));
    EXPECT_THAT(run.err, HasSubstr(words));
    EXPECT_EQ(run.out, "");
  }

  testing_support::TempFolder folder_;
  std::string input_;
  std::string output_;
  std::string current_;
  bool remove_current_ = false;
  size_t file_size_limit_ = 0;
};

const Spans kTwoBursts = {{1.0, 2.0}, {3.0, 3.5}};
const Spans kTwoSentences = {{0.7, 2.2}, {2.7, 3.7}};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PROGRAM_FIXTURE_H_
