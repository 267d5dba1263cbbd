// SPDX-License-Identifier: Apache-2.0
//
// What lies where the numbered files of `wvad split` would come to lie is looked at before the first of them is written.
#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

class SplitPlaces : public Program {
 protected:
  void SetUp() override {
    Wav("a.wav", 5, kTwoBursts);
    current_ = folder_.path();
  }
  Outcome Split(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"-q", "-d", "out", "a.wav"});
    return Run("split", std::move(arguments));
  }
};

TEST_F(SplitPlaces, FileOfSomebodyElseAtAnyNumberIsRefusedBeforeTheFirst) {
  folder_.write("out/a-0099.wav", "mine");
  ExpectFailure(Split({}), 8, "a-0099.wav: exists already");
  EXPECT_EQ(Names(folder_.file("out")), std::vector<std::string>{"a-0099.wav"});
  EXPECT_EQ(Split({"--force"}).code, 0);
  EXPECT_EQ(folder_.read("out/a-0099.wav"), "mine");
}

TEST_F(SplitPlaces, WhatIsNoFileAtAnyNumberIsRefusedBeforeTheFirst) {
  for (const char* more : {"-q", "--force", "--resume"}) {
    SCOPED_TRACE(more);
    fs::remove_all(folder_.file("out"));
    fs::create_directories(folder_.file("out/a-0002.wav"));
    ExpectFailure(Split({more == std::string("-q") ? "--force" : more}), 8, "a-0002.wav: is not an ordinary file");
    EXPECT_EQ(Names(folder_.file("out")), std::vector<std::string>{"a-0002.wav"});
  }
}

TEST_F(SplitPlaces, NamesThatAreNeverWrittenAreInNobodysWay) {
  // Another ending, fewer digits, more than it takes, other recordings.
  const std::vector<std::string> names = {"a-0002.flac", "a-002.wav", "a-00002.wav", "a-0000.wav", "a-x-0002.wav", "b-0002.wav"};
  for (const std::string& name : names) folder_.write("out/" + name, "mine");
  const Outcome run = Split({});
  EXPECT_EQ(run.code, 0) << run.err;
  for (const std::string& name : names) EXPECT_EQ(folder_.read("out/" + name), "mine") << name;
}

TEST_F(SplitPlaces, NameThatIsTooLongIsRefusedBeforeAnyWork) {
  // 248 and "-0001.wav" would be 257 bytes, and so would an index be.
  const std::string name = std::string(248, 'n');
  fs::rename(folder_.file("a.wav"), folder_.file(name + ".wav"));
  ExpectFailure(Run("split", {"-q", "-d", "out", name + ".wav"}), 8, "File name too long");
  EXPECT_FALSE(fs::exists(folder_.file("out")));
}

TEST_F(SplitPlaces, GoingOnFindsFilesOfSomebodyElseBeforeItWrites) {
  ASSERT_EQ(Split({}).code, 0);
  nlohmann::ordered_json index = nlohmann::ordered_json::parse(folder_.read("out/a-split.json"));
  index["stopped_by"] = "interrupt";
  folder_.write("out/a-split.json", index.dump());
  const std::string first = folder_.write("out/a-0001.wav", "stale");
  fs::last_write_time(first, fs::last_write_time(folder_.file("out/a-split.json")) - std::chrono::hours(1));
  // Behind the one that a killed run may not have come to list.
  folder_.write("out/a-0004.wav", "mine");
  ExpectFailure(Split({"--resume"}), 8, "a-0004.wav: exists already");
  EXPECT_EQ(folder_.read("out/a-0001.wav"), "stale");
  fs::remove(folder_.file("out/a-0004.wav"));
  EXPECT_EQ(Split({"--resume"}).code, 0);
  EXPECT_NE(folder_.read("out/a-0001.wav"), "stale");
}

}  // namespace
}  // namespace TSEG::tool
