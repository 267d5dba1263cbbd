// SPDX-License-Identifier: Apache-2.0
//
// What the name of an output asks for: a form that the command has, or nothing that it could mean otherwise.
#include <filesystem>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

class OutputNames : public Program {
 protected:
  void SetUp() override {
    Wav("a.wav", 5, kTwoBursts);
    current_ = folder_.path();
  }
};

TEST_F(OutputNames, JsonIsChosenByItsEndingInEveryCommandThatHasIt) {
  EXPECT_EQ(Call({"model", "inspect", WVAD_TEST_MODEL, "-o", "m.json"}).code, 0);
  EXPECT_TRUE(nlohmann::json::accept(folder_.read("m.json")));
  EXPECT_EQ(Run("explain", {"--at", "1", "-o", "e.JSON", "a.wav"}).code, 0);
  EXPECT_TRUE(nlohmann::json::accept(folder_.read("e.JSON")));
  EXPECT_EQ(Call({"model", "inspect", WVAD_TEST_MODEL, "-o", "m.txt"}).code, 0);
  EXPECT_FALSE(nlohmann::json::accept(folder_.read("m.txt")));
}

TEST_F(OutputNames, FormThatACommandDoesNotWriteIsRefused) {
  ExpectFailure(Call({"model", "inspect", WVAD_TEST_MODEL, "-o", "m.wav"}), 2, "this name is one of sound");
  ExpectFailure(Call({"model", "inspect", WVAD_TEST_MODEL, "-o", "m.csv"}), 2, "one of the form csv, which this command does not write");
  ExpectFailure(Run("explain", {"--at", "1", "-o", "e.srt", "a.wav"}), 2, "one of the form srt, which this command does not write");
  for (const char* name : {"q.csv", "q.tsv", "q.srt", "q.npy"}) {
    ExpectFailure(Run("quality", {"-o", name, "a.wav"}), 2, "which this command does not write; with --format FORM");
  }
  ExpectFailure(Run("scores", {"-o", "s.json", "a.wav"}), 2, "one of the form json, which this command does not write");
  for (const char* name : {"r.csv", "r.JSON", "r.srt", "r.npy"}) {
    ExpectFailure(Run("report", {"-o", name, "a.wav"}), 2, "which this command does not write");
  }
  for (const char* command : {"segment", "quality", "scores"}) {
    ExpectFailure(Run(command, {"-o", "p.html", "a.wav"}), 2, "one of the form html, which this command does not write");
  }
  ExpectFailure(Run("report", {"-o", "r.wav", "a.wav"}), 2, "this name is one of sound");
  EXPECT_EQ(Names(folder_.path()), (std::vector<std::string>{"a.wav", "stderr", "stdout"}));
  for (const char* name : {"r.html", "r.HTM", "r.page"}) EXPECT_EQ(Run("report", {"-q", "-o", name, "a.wav"}).code, 0);
  EXPECT_EQ(Run("quality", {"-q", "-f", "table", "-o", "q.csv", "a.wav"}).code, 0);
  EXPECT_EQ(Run("quality", {"-q", "-o", "q.log", "a.wav"}).code, 0);
}

TEST_F(OutputNames, PlaceOfAModelIsLookedAtBeforeItsArraysAreRead) {
  ExpectFailure(Call({"model", "pack", "missing", "-o", "none/x.bin"}), 8, "none/x.bin: cannot be written: No such file or directory");
}

TEST_F(OutputNames, FolderIsNotCalledLikeAFileUnlessThatIsMeant) {
  for (const char* name : {"talk.wav", "talk.srt"}) {
    ExpectFailure(Segment({"-f", "srt,vtt", "-o", name, "a.wav"}), 2, "several forms go into a folder, and this is the name of a file");
    EXPECT_FALSE(fs::exists(folder_.file(name)));
    EXPECT_EQ(Segment({"-q", "-f", "srt,vtt", "-o", std::string(name) + "/", "a.wav"}).code, 0);
    EXPECT_EQ(Names(folder_.file(name)), (std::vector<std::string>{"a.srt", "a.vtt"}));
    // One that is there is meant.
    EXPECT_EQ(Segment({"-q", "--force", "-f", "srt,vtt", "-o", name, "a.wav"}).code, 0);
  }
  EXPECT_EQ(Segment({"-q", "-f", "srt,vtt", "-o", "talk.d", "a.wav"}).code, 0);
}

TEST_F(OutputNames, FolderWhereAFileIsMeantIsRefusedWithTheOptionForFolders) {
  fs::create_directory(folder_.file("there"));
  const std::string words = ": is a folder, and one file is to be written; name one in it";
  for (const std::string name : {"there", "there/", "new/"}) {
    SCOPED_TRACE(name);
    for (const char* command : {"quality", "explain", "report", "trim", "mute", "scores"}) {
      std::vector<std::string> arguments = {"-o", name, "missing.wav"};
      if (command == std::string("explain")) arguments.insert(arguments.begin(), {"--at", "1"});
      ExpectFailure(Run(command, arguments), 8, name + words + (command == std::string("scores") ? ", or say --directory " : "\n"));
    }
    ExpectFailure(Run("trim", {"-o", "o.wav", "--map", name, "a.wav"}), 8, name + words);
    ExpectFailure(Call({"compare", "a.csv", "b.csv", "-o", name}), 8, name + words);
    ExpectFailure(Call({"model", "inspect", WVAD_TEST_MODEL, "-o", name}), 8, name + words);
    ExpectFailure(Call({"model", "pack", "missing", "-o", name}), 8, name + words);
    ExpectFailure(Run("split", {"-o", name, "a.wav"}), 2, "(this command writes into a folder: -d DIR)");
  }
  ExpectFailure(Segment({"-o", "there", "a.wav"}), 8, "there" + words + ", or say -o there/ for a file for each recording there");
  EXPECT_EQ(Names(folder_.path()), (std::vector<std::string>{"a.wav", "stderr", "stdout", "there"}));
  EXPECT_EQ(Names(folder_.file("there")), std::vector<std::string>());
}

}  // namespace
}  // namespace TSEG::tool
