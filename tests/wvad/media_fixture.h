// SPDX-License-Identifier: Apache-2.0
//
// The program with recordings that ffmpeg makes in the test's folder; skipped where there is no ffmpeg, or nothing to hear them with.
#ifndef WVAD_WVAD_MEDIA_FIXTURE_H_
#define WVAD_WVAD_MEDIA_FIXTURE_H_

#include <cstdlib>
#include <string>

#include "wvad/program_fixture.h"

namespace TSEG::tool {

class Media : public Program {
 protected:
  void SetUp() override {
#ifndef WVAD_HAVE_MEDIA
    GTEST_SKIP() << "built without FFmpeg's libraries";
#endif
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no ffmpeg to make the files with";
  }

  // Two bursts with noise in them, 10 s: something that no encoder makes nothing of.
  std::string Recording(const std::string& name = "a.wav", const Spans& spans = {{1.0, 3.0}, {5.0, 9.0}}) {
    std::vector<int16_t> signal = Bursts(10, spans);
    unsigned state = 1;
    for (int16_t& sample : signal) {
      state = state * 1664525U + 1013904223U;
      if (sample != 0) sample = static_cast<int16_t>(sample / 2 + static_cast<int>(state >> 22) - 512);
    }
    WriteAudio(folder_.file(name), signal);
    return folder_.file(name);
  }
  // Calls ffmpeg in the folder; gives the path of the last argument.
  std::string Make(const std::string& arguments) {
    const std::string call = "cd " + folder_.path() + " && ffmpeg -nostdin -loglevel error -y " + arguments;
    EXPECT_EQ(std::system(call.c_str()), 0) << call;
    return folder_.file(arguments.substr(arguments.rfind(' ') + 1));
  }
  Outcome Piped(const std::string& path) {
    const std::string call = "cat " + path + " | " + WVAD_PROGRAM + " segment -f json -m " + WVAD_TEST_MODEL + " - >" +
                             folder_.file("piped") + " 2>" + folder_.file("err");
    const int status = std::system(call.c_str());
    return {WEXITSTATUS(status), folder_.read("piped"), folder_.read("err")};
  }
  nlohmann::json First(const Outcome& run) { return nlohmann::json::parse(run.out).at("files").at(0); }
  static void ExpectNear(const Spans& found, const Spans& wanted, double off_s) {
    ASSERT_EQ(found.size(), wanted.size());
    for (size_t i = 0; i < found.size(); ++i) {
      EXPECT_NEAR(found[i].first, wanted[i].first, off_s + 0.001);
      EXPECT_NEAR(found[i].second, wanted[i].second, off_s + 0.001);
    }
  }
  static Spans Later(Spans spans, double by_s) {
    for (auto& [begin, end] : spans) {
      begin += by_s;
      end += by_s;
    }
    return spans;
  }
};

// The bursts of Recording(), with the engine's margins.
const Spans kWanted = {{0.7, 3.2}, {4.7, 9.2}};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_MEDIA_FIXTURE_H_
