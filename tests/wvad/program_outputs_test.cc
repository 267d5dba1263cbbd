// SPDX-License-Identifier: Apache-2.0
//
// What the program does to files that are there: none that it reads is lost, none is replaced unasked, none appears half-written.
#include <csignal>
#include <filesystem>

#include "support/eventually.h"
#include "wvad/live_program.h"
#include "wvad/new_file.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using testing::LiveProgram;
using testing_support::Eventually;

const char* const kWriters[] = {"segment", "quality", "scores"};  // the commands with --output

TEST_F(Program, OutputNeverFallsOnARecordingWhateverItsSpelling) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string bytes = folder_.read("a.wav");
  std::filesystem::create_hard_link(path, folder_.file("hard.wav"));
  std::filesystem::create_symlink("a.wav", folder_.file("link.wav"));
  std::filesystem::create_directory(folder_.file("deep"));
  current_ = folder_.path();
  for (const char* command : kWriters) {
    for (const char* name : {"a.wav", "./a.wav", "deep/../a.wav", "hard.wav", "link.wav"}) {
      SCOPED_TRACE(std::string(command) + " " + name);
      const char* form = command == std::string("quality") ? "json" : "csv";
      ExpectFailure(Run(command, {"--force", "-f", form, "-o", name, path}), 8, "in the same run; choose another output");
    }
  }
  EXPECT_EQ(folder_.read("a.wav"), bytes);
  EXPECT_EQ(folder_.read("hard.wav"), bytes);
}

TEST_F(Program, OutputNeverFallsOnTheListOfRecordings) {
  const std::string list = folder_.write("list.txt", Wav("a.wav", 3, {{1.0, 2.0}}) + "\n");
  const std::string names = folder_.read("list.txt");
  for (const char* command : kWriters) {
    ExpectFailure(Run(command, {"--force", "-o", list, "--files-from", list}), 8, "is read in the same run; choose another output");
  }
  EXPECT_EQ(folder_.read("list.txt"), names);
}

TEST_F(Program, OutputNeverFallsOnAPieceThatAListLeadsTo) {
  Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string bytes = folder_.read("a.wav");
  const std::string list = folder_.write("list.ffconcat", "ffconcat version 1.0\nfile a.wav\n");
  for (const char* command : kWriters) {
    ExpectFailure(Run(command, {"--force", "-f", command == std::string("quality") ? "json" : "csv", "-o", folder_.file("a.wav"), list}), 8,
                  "a.wav: this file is read as " + list + " in the same run; choose another output");
  }
  ExpectFailure(Run("trim", {"--force", "-o", folder_.file("a.wav"), list}), 8, "in the same run; choose another output");
  EXPECT_EQ(folder_.read("a.wav"), bytes);
}

TEST_F(Program, StandardOutputNeverFallsOnARecording) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string bytes = folder_.read("a.wav");
  const std::string call = std::string(WVAD_PROGRAM) + " segment -m " + WVAD_TEST_MODEL + " " + path + " >>" + path + " 2>/dev/null";
  EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 8);
  EXPECT_EQ(folder_.read("a.wav"), bytes);
}

TEST_F(Program, NoFileComesToLieUnderAStandardDescriptorThatIsClosed) {
  Wav("a.wav", 5, kTwoBursts);
  folder_.write("cut.wav", folder_.read("a.wav").substr(0, 44 + 2 * 40000));  // brings a message
  current_ = folder_.path();
  const auto run = [&](const std::string& call) {
    const std::string there = "cd " + folder_.path() + " && " + WVAD_PROGRAM + " segment -m " + WVAD_TEST_MODEL + " " + call;
    return WEXITSTATUS(std::system(there.c_str()));
  };
  // The model's file would be heard, the messages written into the result, the result into another file.
  EXPECT_EQ(run("-q - <&- >out 2>err"), 3);
  EXPECT_EQ(folder_.read("err"), "wvad: -: standard input cannot be read: Bad file descriptor\n");
  EXPECT_EQ(run("-f jsonl -o with.jsonl cut.wav 2>/dev/null"), 4);
  EXPECT_EQ(run("-f jsonl -o without.jsonl cut.wav 2>&-"), 4);
  EXPECT_EQ(folder_.read("without.jsonl"), folder_.read("with.jsonl"));
  EXPECT_EQ(run("a.wav >&- 2>err"), 8);
}

TEST_F(Program, FileBesideAnOutputNeverFallsOnARecording) {
  // What is written lies under this name until it is whole.
  const std::string path = Wav("a.wvad-part", 3, {{1.0, 2.0}});
  const std::string bytes = folder_.read("a.wvad-part");
  for (const char* command : kWriters) {
    ExpectFailure(Run(command, {"--force", "-o", folder_.file("a"), path}), 8, "is read in the same run; choose another output");
  }
  input_ = bytes;
  ExpectFailure(Segment({"-o", folder_.file("a"), "-", "--raw", "s16"}), 8, "is in the way");
  EXPECT_EQ(folder_.read("a.wvad-part"), bytes);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("a")));
}

TEST_F(Program, FilesNeverFallOnStandardOutput) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  output_ = folder_.write("a-0002.wav", "");
  const Outcome run = Run("split", {"--force", "-d", folder_.path(), path});
  EXPECT_EQ(run.code, 8);
  EXPECT_THAT(run.err, HasSubstr("a-0002.wav: this file is standard output of the same run; choose another output"));
  output_.clear();
}

TEST_F(Program, OutputNeverFallsOnModelOrConfiguration) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string model = folder_.file("m.bin");
  std::filesystem::copy_file(WVAD_TEST_MODEL, model);
  const std::string config = folder_.write("my.cfg", "[vad]\n");
  for (const char* command : kWriters) {
    for (const std::string& output : {model, config}) {
      ExpectFailure(Call({command, "-m", model, "--config", config, "--force", "-o", output, path}), 8, "is read in the same run");
    }
  }
  ExpectFailure(Call({"model", "inspect", model, "--force", "-o", model}), 8, "is read in the same run");
  EXPECT_EQ(std::filesystem::file_size(model), std::filesystem::file_size(WVAD_TEST_MODEL));
  EXPECT_EQ(folder_.read("my.cfg"), "[vad]\n");
}

TEST_F(Program, NothingIsReplacedWithoutForce) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string out = folder_.write("out", "mine");
  for (const char* command : kWriters) {
    ExpectFailure(Run(command, {"-o", out, path}), 8, "out: exists already; --force replaces it");
  }
  ExpectFailure(Call({"model", "inspect", WVAD_TEST_MODEL, "-o", out}), 8, "exists already");
  EXPECT_EQ(folder_.read("out"), "mine");
  for (const char* command : kWriters) {
    folder_.write("out", "mine");
    EXPECT_EQ(Run(command, {"--force", "-o", out, path}).code, 0) << command;
    EXPECT_NE(folder_.read("out"), "mine") << command;
  }
  EXPECT_EQ(Call({"model", "inspect", WVAD_TEST_MODEL, "--force", "-o", out}).code, 0);
  EXPECT_THAT(folder_.read("out"), StartsWith("file size"));
}

TEST_F(Program, InputThatIsMissingEmptiesNoOutput) {
  const std::string out = folder_.write("out", "mine");
  const std::string noise = folder_.write("noise.wav", "no audio");
  for (const char* command : kWriters) {
    EXPECT_EQ(Run(command, {"--force", "-o", out, folder_.file("missing.wav")}).code, 3) << command;
    EXPECT_EQ(Run(command, {"--force", "-o", out, noise}).code, 4) << command;
    EXPECT_EQ(Run(command, {"-o", folder_.file("fresh"), folder_.file("missing.wav")}).code, 3) << command;
  }
  EXPECT_EQ(Call({"model", "pack", folder_.file("missing"), "--force", "-o", out}).code, 7);
  EXPECT_EQ(folder_.read("out"), "mine");
  EXPECT_THAT(Names(folder_.path()), ::testing::Not(::testing::Contains("fresh")));
  // One recording that can be heard is enough for a report, which tells of the others too.
  EXPECT_EQ(Segment({"-f", "json", "--force", "-o", out, folder_.file("missing.wav"), Wav("a.wav", 3, {{1.0, 2.0}})}).code, 3);
  EXPECT_EQ(nlohmann::json::parse(folder_.read("out"))["files"].size(), 2U);
}

// Every command that makes one file, called with an input that is missing: what is wrong with the output is found before.
std::vector<std::vector<std::string>> CallsWithOutput(const std::string& missing, const std::string& out) {
  std::vector<std::vector<std::string>> calls = {{"segment"}, {"quality"},           {"scores"},           {"explain", "--at", "1"},
                                                 {"report"},  {"trim", "-a", "wav"}, {"mute", "-a", "wav"}};
  for (std::vector<std::string>& call : calls) call.insert(call.end(), {"-m", WVAD_TEST_MODEL, "-o", out, missing});
  calls.push_back({"compare", "-o", out, missing, missing});
  return calls;
}

TEST_F(Program, PlaceThatCannotBeWrittenIsFoundBeforeAnythingIsRead) {
  const std::string out = folder_.file("no/out");
  for (const std::vector<std::string>& call : CallsWithOutput(folder_.file("missing.wav"), out)) {
    SCOPED_TRACE(call[0]);
    ExpectFailure(Call(call), 8, "no/out: cannot be written: No such file or directory");
  }
  ExpectFailure(Call({"model", "inspect", folder_.write("no model", "x"), "-o", out}), 8, "no/out: cannot be written");
  ExpectFailure(Call({"model", "pack", folder_.file("missing"), "-o", folder_.write("mine", "")}), 8, "mine: exists already");
}

TEST_F(Program, SecondRunOntoAnOutputIsRefusedBeforeItReadsAnything) {
  const NewFile first(folder_.file("out"), OutputRules(false, {}));
  const std::string missing = folder_.file("missing.wav");
  for (const std::vector<std::string>& call : CallsWithOutput(missing, folder_.file("out"))) {
    SCOPED_TRACE(call[0]);
    ExpectFailure(Call(call), 8, "out: is being written by another run");
  }
  const NewFile map(folder_.file("map.csv"), OutputRules(false, {}));
  ExpectFailure(Run("trim", {missing, "-o", folder_.file("b.wav"), "--map", folder_.file("map.csv")}), 8,
                "map.csv: is being written by another run");
}

TEST_F(Program, StandardOutputHasItsNames) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  const std::string expected = Segment({path}).out;
  current_ = folder_.path();
  // Standard output is an ordinary file here, which is there already.
  for (const char* name : {"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"})
    EXPECT_EQ(Segment({"-o", name, path}).out, expected) << name;
  EXPECT_FALSE(std::filesystem::exists(folder_.file("-")));
}

class LiveOutput : public Program {
 protected:
  // A sentence and a half, then the source stays open.
  std::string Half() { return Bytes(Bursts(4.5, {{1.0, 2.0}, {3.5, 4.5}})); }
  std::vector<std::string> Arguments() { return {"segment", "-m", WVAD_TEST_MODEL, "-f", "json", "-o", folder_.file("out"), "-"}; }
  bool PartHolds(const std::string& words) { return folder_.read("out.wvad-part").find(words) != std::string::npos; }
};

TEST_F(LiveOutput, FileAppearsWhenItIsWhole) {
  LiveProgram program(Arguments());
  program.Write(Half());
  ASSERT_TRUE(Eventually([&] { return PartHolds("\"end\":2.2"); }));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("out")));
  program.CloseInput();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(Found(folder_.read("out")).size(), 2U);
  EXPECT_EQ(Names(folder_.path()), std::vector<std::string>{"out"});
}

TEST_F(LiveOutput, FirstSignalClosesTheFileInOrder) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    std::filesystem::remove(folder_.file("out"));
    LiveProgram program(Arguments());
    program.Write(Half());
    ASSERT_TRUE(Eventually([&] { return PartHolds("\"end\":2.2"); }));
    program.Signal(number);
    EXPECT_EQ(program.Wait(), 10) << number;
    EXPECT_EQ(nlohmann::json::parse(folder_.read("out"))["files"][0]["stopped_by"], "interrupt");
    EXPECT_EQ(Names(folder_.path()), std::vector<std::string>{"out"});
  }
}

TEST_F(LiveOutput, SecondSignalEndsItAtOnceAndLeavesNothing) {
  // A pipe that nobody reads from holds the program up, so that the first signal cannot end it.
  ASSERT_EQ(mkfifo(folder_.file("pipe").c_str(), 0600), 0);
  const int reader = open(folder_.file("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  const int filler = open(folder_.file("pipe").c_str(), O_WRONLY | O_NONBLOCK);
  while (write(filler, "x", 1) == 1) continue;
  std::filesystem::create_directory(folder_.file("out"));
  // `split` writes its index and tells of each sentence; what it tells goes into the full pipe.
  const std::string call = "exec " + std::string(WVAD_PROGRAM) + " split -m " + WVAD_TEST_MODEL + " -d " + folder_.file("out") + " " +
                           Wav("a.wav", 5, kTwoBursts) + " >" + folder_.file("pipe");
  const pid_t child = fork();
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", call.c_str(), static_cast<char*>(nullptr));
    _exit(99);
  }
  ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(folder_.file("out/a-split.json.wvad-part")); }));
  // Signals that come close together are one: more are sent until the second has been taken.
  int status = 0;
  const bool ended = Eventually([&] {
    kill(child, SIGTERM);
    usleep(100000);
    return waitpid(child, &status, WNOHANG) == child;
  });
  ASSERT_TRUE(ended);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
  EXPECT_TRUE(Names(folder_.file("out")).empty());
  close(reader);
  close(filler);
}

TEST_F(LiveOutput, LeftoverOfAKilledRunIsReplaced) {
  {
    LiveProgram program(Arguments());
    program.Write(Half());
    ASSERT_TRUE(Eventually([&] { return PartHolds("\"end\":2.2"); }));
    // While it runs, another run keeps away.
    EXPECT_EQ(Segment({"-q", "-o", folder_.file("out"), Wav("a.wav", 5, kTwoBursts)}).code, 8);
    program.Signal(SIGKILL);
    EXPECT_EQ(program.Wait(), 128 + SIGKILL);
  }
  EXPECT_TRUE(std::filesystem::exists(folder_.file("out.wvad-part")));
  EXPECT_EQ(Segment({"-f", "json", "-o", folder_.file("out"), folder_.file("a.wav")}).code, 0);
  EXPECT_EQ(Found(folder_.read("out")), kTwoSentences);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("out.wvad-part")));
}

TEST_F(Program, SplitLeavesRecordingsAloneThatLieAmongItsFiles) {
  const std::string talk = Wav("talk.wav", 5, kTwoBursts);
  const std::string other = Wav("other.wav", 5, kTwoBursts);
  std::filesystem::create_directory(folder_.file("out"));
  // A name that will be written leads to a recording that is read.
  std::filesystem::create_symlink("../other.wav", folder_.file("out/talk-0002.wav"));
  ExpectFailure(Run("split", {"-q", "--force", "-d", folder_.file("out"), talk, other}), 8, "talk-0002.wav: the files of");
  // A file of an earlier run that is read now does not go as a leftover.
  std::filesystem::remove(folder_.file("out/talk-0002.wav"));
  EXPECT_EQ(Run("split", {"-q", "--audio", "flac", "-d", folder_.file("out"), talk}).code, 0);
  const std::string earlier = folder_.file("out/talk-0002.flac");
  EXPECT_EQ(Run("split", {"-q", "--force", "-d", folder_.file("out"), talk, earlier}).code, 0);
  EXPECT_TRUE(std::filesystem::exists(earlier));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("out/talk-0001.flac")));
}

TEST_F(Program, UnknownFormatsAreToldTheKnownOnes) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  ExpectFailure(Segment({"-f", "xml", path}), 2, "--format: there is no xml; choose table, json, jsonl, csv, tsv, rttm, ctm");
  for (const std::string names : {"", "csv,", ",csv"})
    ExpectFailure(Segment({"-f", names, path}), 2, "--format " + names + ": a name is missing");
  ExpectFailure(Run("split", {"-f", "rttm", path}), 2, "choose table, json, jsonl, csv or tsv");
  ExpectFailure(Run("features", {"-f", "", path}), 2, "choose table, json, jsonl, csv or tsv");
  ExpectFailure(Run("quality", {"-f", "csv", path}), 2, "there is no csv; choose table, json or jsonl");
  ExpectFailure(Run("scores", {"-f", "json", path}), 2, "choose text, csv or npy");
  ExpectFailure(Run("split", {"--audio", "mp3", path}), 2, "--audio: there is no mp3; choose wav or flac");
}

}  // namespace
}  // namespace TSEG::tool
