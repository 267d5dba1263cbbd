// SPDX-License-Identifier: Apache-2.0
//
// --resume keeps the results of the recordings that are there now, and rows that somebody has worked on.
#include <chrono>
#include <filesystem>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

class GoingOn : public Program {
 protected:
  void SetUp() override {
    current_ = folder_.path();
    for (const char* name : {"a", "b"}) fs::create_directory(folder_.file(name));
  }
  // As if it had last been written to an hour behind (before) `other`.
  void SetTime(const std::string& name, const std::string& other, int hours) {
    fs::last_write_time(folder_.file(name), fs::last_write_time(folder_.file(other)) + std::chrono::hours(hours));
  }
  Outcome Resume(const std::string& command, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-q", "--resume"});
    return Run(command, std::move(arguments));
  }
  void ExpectLeft(const Outcome& run, const std::string& words, const std::string& name, const std::string& text) {
    ExpectFailure(run, 8, words);
    EXPECT_EQ(folder_.read(name), text);
    EXPECT_FALSE(fs::exists(folder_.file(name + ".wvad-part")));
  }
  // `text` with the one place that reads `from` changed.
  static std::string With(std::string text, const std::string& from, const std::string& to) {
    EXPECT_NE(text.find(from), std::string::npos);
    return text.replace(text.find(from), from.size(), to);
  }
};

TEST_F(GoingOn, ScoresOfAnotherRecordingAreNotTakenForThisOnes) {
  Wav("a/talk.wav", 3, {{1.0, 2.0}});
  Wav("b/talk.wav", 3, {{0.5, 2.5}});
  ASSERT_EQ(Run("scores", {"-q", "-f", "csv", "-d", "out", "a/talk.wav"}).code, 0);
  const std::string first = folder_.read("out/talk-scores.csv");
  ExpectLeft(Resume("scores", {"-f", "csv", "-d", "out", "b/talk.wav"}), "talk-scores.csv: tells of another recording, a/talk.wav",
             "out/talk-scores.csv", first);
  EXPECT_EQ(Resume("scores", {"--force", "-f", "csv", "-d", "out", "b/talk.wav"}).code, 0);
  EXPECT_THAT(folder_.read("out/talk-scores.csv"), HasSubstr("\nb/talk.wav,0.00,"));
}

TEST_F(GoingOn, ScoresOfARecordingThatHasChangedAreMadeAnew) {
  Wav("a.wav", 3, {{1.0, 2.0}});
  for (const char* form : {"csv", "npy"}) ASSERT_EQ(Run("scores", {"-q", "-f", form, "-d", "out", "a.wav"}).code, 0);
  Wav("a.wav", 4, {{1.0, 2.0}});
  SetTime("a.wav", "out/a-scores.csv", 1);
  EXPECT_EQ(Resume("scores", {"-f", "csv", "-d", "out", "a.wav"}).code, 0);
  EXPECT_EQ(Lines(folder_.read("out/a-scores.csv")), 1 + 400);
  // An array does not say whose it is.
  ExpectLeft(Resume("scores", {"-f", "npy", "-d", "out", "a.wav"}), "a-scores.npy: is older than a.wav", "out/a-scores.npy",
             folder_.read("out/a-scores.npy"));
  EXPECT_EQ(Resume("scores", {"--force", "-f", "npy", "-d", "out", "a.wav"}).code, 0);
  EXPECT_EQ(fs::file_size(folder_.file("out/a-scores.npy")), 128U + 400 * 8);
}

TEST_F(GoingOn, PiecesOfARecordingThatHasChangedAreMadeAnew) {
  Wav("long.wav", 5, kTwoBursts);
  Wav("short.wav", 3, {{1.0, 2.0}});
  // Told by the time alone, and by the size alone.
  for (const auto& [bytes, hours] : {std::pair{folder_.read("long.wav"), 1}, std::pair{folder_.read("short.wav"), -1}}) {
    SCOPED_TRACE(hours);
    folder_.write("a.wav", folder_.read("long.wav"));
    fs::remove_all(folder_.file("out"));
    ASSERT_EQ(Run("split", {"-q", "-d", "out", "a.wav"}).code, 0);
    folder_.write("out/a-0002.wav", "stale");
    SetTime("out/a-0002.wav", "out/a-split.json", -1);
    folder_.write("a.wav", bytes);
    SetTime("a.wav", "out/a-split.json", hours);
    EXPECT_EQ(Resume("split", {"-d", "out", "a.wav"}).code, 0);
    EXPECT_EQ(nlohmann::json::parse(folder_.read("out/a-split.json"))["sentences"].size(), hours > 0 ? 2U : 1U);
    EXPECT_EQ(fs::exists(folder_.file("out/a-0002.wav")), hours > 0);
    EXPECT_NE(folder_.read("out/a-0002.wav"), "stale");
  }
}

TEST_F(GoingOn, PieceThatSomebodyHasWorkedOnStays) {
  Wav("a.wav", 5, kTwoBursts);
  ASSERT_EQ(Run("split", {"-q", "-d", "out", "a.wav"}).code, 0);
  // A piece that is missing would have the others made anew.
  fs::remove(folder_.file("out/a-0002.wav"));
  folder_.write("out/a-0001.wav", "mine");
  SetTime("out/a-0001.wav", "out/a-split.json", 1);
  ExpectLeft(Resume("split", {"-d", "out", "a.wav"}), "a-0001.wav: has been written to since its index was", "out/a-0001.wav", "mine");
  EXPECT_FALSE(fs::exists(folder_.file("out/a-0002.wav")));
  EXPECT_EQ(Resume("split", {"--force", "-d", "out", "a.wav"}).code, 0);
  EXPECT_NE(folder_.read("out/a-0001.wav"), "mine");
}

TEST_F(GoingOn, PiecesOfAnotherKindAreNotTakenForThisOnes) {
  Wav("a.wav", 5, kTwoBursts);
  ASSERT_EQ(Run("split", {"-q", "-d", "out", "a.wav"}).code, 0);
  const std::string index = folder_.read("out/a-split.json");
  ExpectLeft(Resume("split", {"--audio", "flac", "-d", "out", "a.wav"}),
             "a-split.json: lists a-0001.wav; --resume goes on with files of the same kind", "out/a-split.json", index);
  EXPECT_EQ(Resume("split", {"-d", "out", "a.wav"}).code, 0);
}

TEST_F(GoingOn, RowsOfARecordingThatHasChangedAreNotKept) {
  for (const char* name : {"a.wav", "b.wav"}) Wav(name, 5, kTwoBursts);
  for (const char* form : {"csv", "jsonl"}) {
    SCOPED_TRACE(form);
    ASSERT_EQ(Segment({"-q", "--force", "-f", form, "-o", "out", "a.wav", "b.wav"}).code, 0);
    SetTime("a.wav", "out", 1);
    ExpectLeft(Resume("segment", {"-f", form, "-o", "out", "a.wav", "b.wav"}), "out: tells of a.wav, which has been written to since",
               "out", folder_.read("out"));
  }
}

TEST_F(GoingOn, WhatBrokeOffWithinItsFirstLineIsGoneOnWith) {
  for (const char* name : {"a.wav", "b.wav"}) Wav(name, 5, kTwoBursts);
  for (const auto& [command, form] : {std::pair("segment", "csv"), {"segment", "jsonl"}, {"scores", "csv"}}) {
    SCOPED_TRACE(std::string(command) + " " + form);
    const std::vector<std::string> arguments = {"-f", form, "-o", "out", "a.wav", "b.wav"};
    fs::remove(folder_.file("out"));
    ASSERT_EQ(Run(command, arguments).code, 0);
    const std::string whole = folder_.read("out");
    for (const size_t bytes : {size_t{0}, size_t{3}, size_t{10}, whole.find('\n')}) {
      folder_.write("out", whole.substr(0, bytes));
      const Outcome run = Resume(command, arguments);
      EXPECT_EQ(run.code, 0) << bytes << ": " << run.err;
      EXPECT_TRUE(folder_.read("out") == whole) << bytes;
    }
    // What is none of ours.
    for (const char* text : {"file;begin", "fi,", "file,mine", "notes", "{\"mine\":1"}) {
      folder_.write("out", text);
      ExpectLeft(Resume(command, arguments), "out: ", "out", text);
    }
  }
}

TEST_F(GoingOn, ValuesOfAnotherKindAreNoneOfOurs) {
  for (const char* name : {"a.wav", "b.wav"}) Wav(name, 5, kTwoBursts);
  const std::string words = ": is not what a run with these recordings has begun";
  const std::vector<std::string> lines = {"-f", "jsonl", "-o", "out", "a.wav", "b.wav"};
  ASSERT_EQ(Run("segment", lines).code, 0);
  const std::string whole = folder_.read("out");
  for (const auto& [from, to] : {std::pair("\"file\":\"a.wav\"", "\"file\":3"), {"\"stopped_by\":\"end of audio\"", "\"stopped_by\":3"}}) {
    folder_.write("out", With(whole, from, to));
    ExpectLeft(Resume("segment", lines), "out" + words, "out", With(whole, from, to));
  }
  // The program has eleven exit codes, 0 to 10.
  for (const char* code : {"99999999999", "18446744073709551615", "4294967296", "11", "-1", "4.5", "\"4\"", "null"}) {
    SCOPED_TRACE(code);
    const std::string text = With(whole, "\"whole\":true", std::string("\"whole\":true,\"code\":") + code);
    folder_.write("out", text);
    ExpectLeft(Resume("segment", lines), "out" + words, "out", text);
  }
  const std::vector<std::string> table = {"-f", "csv", "-o", "out.csv", "none.wav", "a.wav"};
  ASSERT_EQ(Run("segment", table).code, 3);
  for (const char* code : {"99999999999", "4294967299", "11", "-1", "3x", "x"}) {
    SCOPED_TRACE(code);
    const std::string text = With(folder_.read("out.csv"), ",3\n", std::string(",") + code + "\n");
    folder_.write("table.csv", text);
    ExpectLeft(Resume("segment", {"-f", "csv", "-o", "table.csv", "none.wav", "a.wav"}), "table.csv" + words, "table.csv", text);
  }
  ASSERT_EQ(Run("split", {"-q", "-d", "cut", "a.wav"}).code, 0);
  const std::string index = With(folder_.read("cut/a-split.json"), "\"stopped_by\":\"end of audio\"", "\"stopped_by\":3");
  folder_.write("cut/a-split.json", index);
  ExpectLeft(Resume("split", {"-d", "cut", "a.wav"}), "a-split.json" + words, "cut/a-split.json", index);
  EXPECT_EQ(Resume("split", {"--force", "-d", "cut", "a.wav"}).code, 0);
  EXPECT_THAT(folder_.read("cut/a-split.json"), HasSubstr("\"stopped_by\":\"end of audio\""));
}

TEST_F(GoingOn, AFileWhereTheIndexGoesThatIsNoneIsSomebodyElses) {
  Wav("a.wav", 5, kTwoBursts);
  for (const std::string& mine : {std::string("my notes"), std::string("[1, 2]"), std::string("{\"notes\": \"mine\"}")}) {
    SCOPED_TRACE(mine);
    std::filesystem::remove_all(folder_.file("cut"));
    std::filesystem::create_directory(folder_.file("cut"));
    folder_.write("cut/a-split.json", mine);
    ExpectLeft(Resume("split", {"-d", "cut", "a.wav"}), "a-split.json: is not what a run with these recordings has begun",
               "cut/a-split.json", mine);
    EXPECT_EQ(Names(folder_.file("cut")), std::vector<std::string>{"a-split.json"});
  }
  EXPECT_EQ(Resume("split", {"--force", "-d", "cut", "a.wav"}).code, 0);
  EXPECT_EQ(Names(folder_.file("cut")), (std::vector<std::string>{"a-0001.wav", "a-0002.wav", "a-split.json"}));
}

TEST_F(GoingOn, WithForceWhatCannotBeGoneOnWithIsBegunAnew) {
  for (const char* name : {"a.wav", "b.wav"}) Wav(name, 5, kTwoBursts);
  for (const char* form : {"csv", "jsonl"}) {
    SCOPED_TRACE(form);
    const std::vector<std::string> arguments = {"-f", form, "-o", "out", "a.wav", "b.wav"};
    std::vector<std::string> forced = arguments;
    forced.insert(forced.begin(), "--force");
    ASSERT_EQ(Run("segment", forced).code, 0);
    const std::string whole = folder_.read("out");
    folder_.write("out", "somebody's\nown\n");
    ExpectLeft(Resume("segment", arguments), "out: is not what a run with these recordings has begun", "out", "somebody's\nown\n");
    EXPECT_EQ(Resume("segment", forced).code, 0);
    EXPECT_EQ(folder_.read("out"), whole);
    // What can be gone on with is: rows of a recording that is through stay as they are.
    const std::string corrected = With(whole, form == std::string("csv") ? "a.wav,0.70" : "\"begin\":0.7,",
                                       form == std::string("csv") ? "a.wav,0.60" : "\"begin\":0.6,");
    folder_.write("out", corrected);
    EXPECT_EQ(Resume("segment", forced).code, 0);
    EXPECT_EQ(folder_.read("out"), corrected);
    SetTime("a.wav", "out", 1);
    EXPECT_EQ(Resume("segment", forced).code, 0);
    EXPECT_EQ(folder_.read("out"), whole);
    SetTime("a.wav", "b.wav", 0);
  }
  ASSERT_EQ(Run("split", {"-q", "-d", "cut", "a.wav"}).code, 0);
  EXPECT_EQ(Resume("split", {"--force", "--audio", "flac", "-d", "cut", "a.wav"}).code, 0);
  EXPECT_EQ(Names(folder_.file("cut")), (std::vector<std::string>{"a-0001.flac", "a-0002.flac", "a-split.json"}));
  const std::vector<std::string> louder = {"--gain", "6", "--audio", "flac", "-d", "cut", "a.wav"};
  ExpectFailure(Resume("split", louder), 8, "a-split.json: was begun in another way");
  std::vector<std::string> forced = louder;
  forced.insert(forced.begin(), "--force");
  EXPECT_EQ(Resume("split", forced).code, 0);
  EXPECT_EQ(nlohmann::json::parse(folder_.read("cut/a-split.json"))["made_by"]["parameters"]["gain"], "6");
}

TEST_F(GoingOn, RowsThatSomebodyHasCorrectedStay) {
  for (const char* name : {"a.wav", "b.wav"}) Wav(name, 5, kTwoBursts);
  const std::vector<std::string> arguments = {"-f", "csv", "-o", "out.csv", "a.wav", "b.wav"};
  ASSERT_EQ(Run("segment", arguments).code, 0);
  const std::string whole = folder_.read("out.csv");
  // The begins of the first and last sentence, a row more, and a row less.
  const std::string last = whole.substr(whole.rfind("b.wav,"));
  for (const std::string& text : {With(whole, "b.wav,0.70,", "b.wav,0.65,"), With(whole, "b.wav,2.70,", "b.wav,2.65,"),
                                  whole + With(last, "b.wav,2.70", "b.wav,4.00"), With(whole, "b.wav,0.70,", "b.wav,2.70,")}) {
    SCOPED_TRACE(text);
    ExpectLeft(Resume("segment", arguments), "out.csv: line ", "out.csv", folder_.write("out.csv", text).empty() ? "" : text);
  }
  // Those of recordings that are through are kept, as every row of theirs.
  folder_.write("out.csv", With(whole, "a.wav,0.70,", "a.wav,0.65,"));
  EXPECT_EQ(Resume("segment", arguments).code, 0);
  EXPECT_EQ(folder_.read("out.csv"), With(whole, "a.wav,0.70,", "a.wav,0.65,"));
  // The last end is as an interrupt may leave it, and is told of.
  folder_.write("out.csv", With(whole, last, "b.wav,2.70,3.00,0.30,,,,,\n"));
  const Outcome run = Run("segment", {"--resume", "-f", "csv", "-o", "out.csv", "a.wav", "b.wav"});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.err, HasSubstr("out.csv: note: it had other rows from line 5 on"));
  EXPECT_EQ(folder_.read("out.csv"), whole);
  folder_.write("out.csv", With(whole, last, "b.wav,2.70,3.00,0.30,,,,,\n"));
  EXPECT_EQ(Resume("segment", arguments).err, "");
  EXPECT_EQ(folder_.read("out.csv"), whole);
}

TEST_F(GoingOn, TableOfSomebodyElseStays) {
  Wav("a.wav", 5, kTwoBursts);
  for (const char* text : {"file,begin\n", "file,begin,end,comment\na.wav,0.70,2.20,good\n"}) {
    folder_.write("out.csv", text);
    ExpectLeft(Resume("segment", {"-f", "csv", "-o", "out.csv", "a.wav"}), "out.csv: line 1 is not what this run finds", "out.csv", text);
    ExpectLeft(Resume("scores", {"-f", "csv", "-o", "out.csv", "a.wav"}), "out.csv: line 1 is not what this run finds", "out.csv", text);
  }
}

TEST_F(GoingOn, LastScoresBeforeAnInterruptAreFoundAgainOtherwise) {
  Wav("a.wav", 8, {{1.0, 2.0}, {6.0, 7.0}});
  const std::vector<std::string> arguments = {"-f", "csv", "-o", "out.csv", "a.wav"};
  ASSERT_EQ(Run("scores", arguments).code, 0);
  const std::string whole = folder_.read("out.csv");
  // As an interrupt at 5 s leaves it: what was decided without its future, and scores that were held.
  const std::string begun = whole.substr(0, whole.find("a.wav,4.90,"));
  folder_.write("out.csv", begun + "a.wav,4.90,0.375,0\na.wav,4.91,0.125,1\na.wav,4.92,0.125,1\n");
  EXPECT_EQ(Resume("scores", arguments).code, 0);
  EXPECT_EQ(folder_.read("out.csv"), whole);
  // Long before that somebody has been at work.
  const std::string changed = With(begun, "a.wav,3.00,", "a.wav,3.00,7");
  folder_.write("out.csv", changed);
  ExpectLeft(Resume("scores", arguments), "out.csv: line 302 is not what this run finds", "out.csv", changed);
}

TEST_F(GoingOn, ScoresOfABeginThatWasInterruptedAreFoundAgainOtherwise) {
  Wav("a.wav", 8, {{1.0, 2.0}});
  const std::vector<std::string> arguments = {"-f", "csv", "-o", "out.csv", "a.wav"};
  ASSERT_EQ(Run("scores", arguments).code, 0);
  const std::string whole = folder_.read("out.csv");
  folder_.write("out.csv", whole.substr(0, whole.find("a.wav,0.00,")) + "a.wav,0.00,0.375,0\na.wav,0.01,0.375,0\n");
  EXPECT_EQ(Resume("scores", arguments).code, 0);
  EXPECT_EQ(folder_.read("out.csv"), whole);
}

TEST_F(GoingOn, WhatFailedBeforeIsToldOfSinceTheCodeIsItsOwn) {
  Wav("a.wav", 5, kTwoBursts);
  for (const char* name : {"b.wav", "c.wav"}) {
    Wav(name, 5, kTwoBursts);
    folder_.write(name, folder_.read(name).substr(0, 44 + 2 * 16000 * 4));
  }
  const std::string words = "failed or could be heard in part alone in the run before\n";
  const std::vector<std::string> rows = {"-q", "-f", "jsonl", "-o", "out.jsonl", "b.wav", "c.wav", "a.wav"};
  EXPECT_EQ(Run("segment", rows).code, 4);
  const Outcome again = Resume("segment", rows);
  EXPECT_EQ(again.code, 4);
  EXPECT_EQ(again.err, "wvad: out.jsonl: tells of b.wav and 1 more, which " + words);
  const std::vector<std::string> pieces = {"-q", "-d", "out", "a.wav", "c.wav"};
  EXPECT_EQ(Run("split", pieces).code, 4);
  const Outcome split_again = Resume("split", pieces);
  EXPECT_EQ(split_again.code, 4);
  EXPECT_EQ(split_again.err, "wvad: out: tells of c.wav, which " + words);
  // A table has its code for what could not be heard at all.
  const std::vector<std::string> table = {"-q", "-f", "csv", "-o", "out.csv", "none.wav", "a.wav"};
  EXPECT_EQ(Run("segment", table).code, 3);
  EXPECT_EQ(Resume("segment", table).err, "wvad: out.csv: tells of none.wav, which " + words);
}

TEST_F(GoingOn, RecordingThatFailedMayHaveBeenMended) {
  Wav("a.wav", 5, kTwoBursts);
  const std::vector<std::string> arguments = {"-f", "csv", "-o", "out.csv", "a.wav", "b.wav"};
  EXPECT_EQ(Run("segment", arguments).code, 3);
  EXPECT_THAT(folder_.read("out.csv"), HasSubstr("\nb.wav,,,"));
  Wav("b.wav", 3, {{1.0, 2.0}});
  EXPECT_EQ(Resume("segment", arguments).code, 0);
  EXPECT_THAT(folder_.read("out.csv"), HasSubstr("\nb.wav,0.70,2.20,"));
}

}  // namespace
}  // namespace TSEG::tool
