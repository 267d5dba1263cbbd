// SPDX-License-Identifier: Apache-2.0
//
// The engine's debug text never falls on a file that is there, and no output falls on it.
#include <filesystem>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

class DebugTextOf : public Program {
 protected:
  // `command` with the debug text into `file`, by settings or by a configuration.
  Outcome Noting(const std::string& command, const std::string& file, bool by_configuration, std::vector<std::string> more) {
    if (by_configuration) {
      const std::string text = "[vad]\nwvad_param_isVadDegOn = true\nwvad_param_debug_log_filename = \"" + file + "\"\n";
      more.insert(more.end(), {"--config", folder_.write("my.cfg", text)});
    } else {
      more.insert(more.end(), {"-s", "wvad_param_isVadDegOn=1", "-s", "wvad_param_debug_log_filename=" + file});
    }
    return Run(command, more);
  }
};

TEST_F(DebugTextOf, ARunNeverGoesIntoAFileThatIsThere) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  const std::string recording = folder_.read("a.wav");
  const std::string mine = folder_.write("mine.txt", "mine");
  std::filesystem::create_symlink("nowhere", folder_.file("dangling"));
  for (const bool by_configuration : {false, true}) {
    for (const std::string& file : {path, mine, folder_.file("dangling"), std::string("/dev/full"), std::string("/dev/stdout")}) {
      ExpectFailure(Noting("segment", file, by_configuration, {"--force", path}), 8,
                    file + ": exists already, and the engine would append");
    }
    ExpectFailure(Noting("split", mine, by_configuration, {"--force", "-d", folder_.file("out"), path}), 8, "exists already");
  }
  EXPECT_EQ(folder_.read("a.wav"), recording);
  EXPECT_EQ(folder_.read("mine.txt"), "mine");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("nowhere")));
}

TEST_F(DebugTextOf, ARunNeverMeetsAnOutput) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  for (const char* name : {"o.txt", "./o.txt"}) {
    current_ = folder_.path();
    ExpectFailure(Noting("segment", "o.txt", false, {"--force", "-o", name, path}), 8, "the engine's debug text goes into this file");
    // Nothing was written, so nothing is left.
    EXPECT_FALSE(std::filesystem::exists(folder_.file("o.txt")));
  }
  const std::string first = folder_.file("out/a-0001.wav");
  std::filesystem::create_directory(folder_.file("out"));
  ExpectFailure(Noting("split", first, false, {"-q", "--force", "-d", folder_.file("out"), path}), 8,
                "a-0001.wav: the files of " + path + " would be called like this one");
  EXPECT_TRUE(std::filesystem::is_empty(folder_.file("out")));
}

TEST_F(DebugTextOf, ARunThatCannotBeWrittenIsSaid) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  ExpectFailure(Noting("segment", folder_.file("no/x"), false, {path}), 8, "no/x: cannot be written: No such file or directory");
}

TEST_F(DebugTextOf, ARunGoesIntoANewFile) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Noting("segment", folder_.file("text"), true, {"-q", path}).code, 0);
  EXPECT_THAT(folder_.read("text"), HasSubstr("|mScore:"));
  // Scores are given out without a session, which alone has such a text.
  EXPECT_EQ(Noting("scores", folder_.file("none"), false, {"-q", path}).code, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("none")));
  // Where no debug text is asked for, its file has no part in the run.
  EXPECT_EQ(Segment({"-q", "-s", "wvad_param_debug_log_filename=" + path, path}).code, 0);
}

}  // namespace
}  // namespace TSEG::tool
