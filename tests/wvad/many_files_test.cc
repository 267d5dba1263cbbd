// SPDX-License-Identifier: Apache-2.0
//
// Many recordings in one run: folders and lists, several at once, a run that is gone on with.
#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "support/eventually.h"
#include "wvad/live_program.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

class ManyFiles : public Program {
 protected:
  void SetUp() override { std::filesystem::create_directories(folder_.file("in/sub")); }

  // Recordings of different lengths, so that later ones are done before earlier ones: two sentences each, the third none.
  void Fill(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string name = "in/" + std::string(1, static_cast<char>('a' + i)) + ".wav";
      Wav(name, i % 4 == 0 ? 60 : 5, i == 2 ? Spans() : kTwoBursts);
    }
  }
  // Every file below a folder, with its bytes.
  std::map<std::string, std::string> Tree(const std::string& folder) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.file(folder))) {
      const std::string below = entry.path().string().substr(folder_.path().size() + 1);
      if (entry.is_regular_file()) tree[below.substr(folder.size() + 1)] = folder_.read(below);
    }
    return tree;
  }
};

TEST_F(ManyFiles, FolderIsWalkedAndWhatIsNoAudioIsCounted) {
  Fill(2);
  folder_.write("in/notes.txt", "no sound");
  folder_.write("in/empty", "");
  Wav("in/sub/deep.wav", 5, kTwoBursts);
  current_ = folder_.path();
  const Outcome flat = Segment({"-f", "csv", "in"});
  EXPECT_EQ(flat.code, 0);
  EXPECT_EQ(Lines(flat.out), 1 + 4);
  EXPECT_EQ(flat.err, "wvad: note: 2 files in folders passed over, which are no audio\n");
  const Outcome deep = Segment({"-f", "csv", "-q", "-r", "--exclude", "a.*", "in"});
  EXPECT_EQ(deep.code, 0);
  EXPECT_EQ(Lines(deep.out), 1 + 4);
  EXPECT_THAT(deep.out, HasSubstr("\nin/sub/deep.wav,0.70,2.20,"));
  EXPECT_EQ(deep.err, "");
  // Beside a recording there may be notes that are called like it, and a film without sound.
  folder_.write("in/a.txt", "notes");
  EXPECT_EQ(Run("split", {"-q", "-d", "out", "in"}).code, 0);
  // What was named is no oversight.
  EXPECT_EQ(Segment({"-f", "csv", "in/notes.txt"}).code, 4);
  ExpectFailure(Segment({"-f", "csv", "-o", "no.csv", "--include", "*.txt", "in"}), 3, "there is no recording: 2 files in folders");
  ExpectFailure(Segment({"-f", "csv", "--include", "*.mp3", "in"}), 3, "there is no recording");
  ExpectFailure(Segment({"-f", "csv"}), 2, "FILE is required");
}

TEST_F(ManyFiles, WhatIsCalledLikeSoundInAFolderAndIsNoneIsAFailure) {
  Fill(1);
  folder_.write("in/broken.WAV", std::string(4000, 'x'));
  folder_.write("in/empty.mp3", "");
  folder_.write("in/readme", "no sound");
  current_ = folder_.path();
  const Outcome run = Segment({"-q", "-f", "csv", "in"});
  EXPECT_EQ(run.code, 4);
  EXPECT_EQ(Lines(run.err), 2) << run.err;
  EXPECT_THAT(run.err, HasSubstr("in/broken.WAV: "));
  EXPECT_THAT(run.err, HasSubstr("in/empty.mp3: not an audio file that can be read (it is empty)"));
  EXPECT_THAT(run.out, HasSubstr("\nin/broken.WAV,"));
  EXPECT_THAT(run.out, HasSubstr("\nin/a.wav,0.70,2.20,"));
}

TEST_F(ManyFiles, ListsThatLieAmongRecordingsAreNone) {
  Fill(1);
  folder_.write("in/a.ffconcat", "ffconcat version 1.0\nfile a.wav\n");
  folder_.write("in/all.m3u8", "#EXTM3U\na.wav\n");
  current_ = folder_.path();
  const Outcome run = Segment({"-f", "srt", "-o", "in/", "in"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.err, "wvad: note: 2 files in folders passed over, which are no audio\n");
  EXPECT_EQ(Names(folder_.file("in")), (std::vector<std::string>{"a.ffconcat", "a.srt", "a.wav", "all.m3u8", "sub"}));
}

TEST_F(ManyFiles, FilesLieAsFarBelowTheOutputsAsTheRecordingsBelowTheirFolder) {
  Wav("in/a.wav", 5, kTwoBursts);
  Wav("in/sub/a.wav", 3, {{1.0, 2.0}});
  Wav("in/sub/deep.wav", 3, {});
  current_ = folder_.path();
  EXPECT_EQ(Segment({"-q", "--bare", "-r", "-f", "csv,rttm", "-o", "out", "in"}).code, 0);
  EXPECT_EQ(Segment({"-q", "--bare", "-f", "csv", "-o", "one.csv", "in/sub/a.wav"}).code, 0);
  std::vector<std::string> names;
  for (const auto& [name, bytes] : Tree("out")) names.push_back(name);
  EXPECT_THAT(names, ::testing::ElementsAre("a.csv", "a.rttm", "sub/a.csv", "sub/a.rttm", "sub/deep.csv", "sub/deep.rttm"));
  EXPECT_EQ(Tree("out")["sub/a.csv"], folder_.read("one.csv"));
  // The index of each names its files as they lie beside it.
  EXPECT_EQ(Run("split", {"-q", "-r", "-j", "2", "-d", "saved", "in"}).code, 0);
  const std::map<std::string, std::string> saved = Tree("saved");
  EXPECT_EQ(saved.count("a-0002.wav") + saved.count("sub/a-0001.wav") + saved.count("sub/deep-split.json"), 3U);
  EXPECT_EQ(nlohmann::json::parse(saved.at("sub/a-split.json"))["sentences"][0]["file"], "a-0001.wav");
  EXPECT_EQ(Run("scores", {"-q", "-r", "-d", "scores", "in"}).code, 0);
  EXPECT_EQ(Tree("scores").count("sub/a-scores.txt"), 1U);
  // Taken up again, nothing is missing and nothing is heard again; with --force the same comes out.
  std::filesystem::remove(folder_.file("saved/sub/a-0001.wav"));
  EXPECT_EQ(Run("split", {"-q", "-r", "--resume", "-d", "saved", "in"}).code, 0);
  EXPECT_EQ(Tree("saved"), saved);
  EXPECT_EQ(Run("split", {"-q", "-r", "--force", "-d", "saved", "in"}).code, 0);
  EXPECT_EQ(Tree("saved"), saved);
  // Two folders with the same names in them would still meet.
  std::filesystem::create_directories(folder_.file("too/sub"));
  Wav("too/sub/a.wav", 3, {});
  ExpectFailure(Segment({"-q", "-r", "-f", "csv", "-o", "both/", "in", "too"}), 2,
                "too/sub/a.wav: its files would be called as those of in/sub");
}

TEST_F(ManyFiles, NamesThatComeToOneFileAreTold) {
  Fill(2);
  current_ = folder_.path();
  std::filesystem::create_hard_link(folder_.file("in/a.wav"), folder_.file("in/c.wav"));
  const Outcome run = Segment({"-f", "csv", "in/b.wav", "in", "./in/a.wav"});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(Lines(run.out), 1 + 6) << run.out;
  EXPECT_EQ(run.err,
            "wvad: note: in/b.wav is named twice and heard once, and 1 more\n"
            "wvad: note: in/c.wav is in/a.wav by another name, and heard as well\n");
  EXPECT_EQ(Segment({"-q", "-f", "csv", "in/b.wav", "in", "./in/a.wav"}).err, "");
}

TEST_F(ManyFiles, NamesComeFromAList) {
  Fill(3);
  current_ = folder_.path();
  input_ = "in/b.wav\nin/a.wav\n";
  const Outcome lines = Segment({"-f", "csv", "--files-from", "-"});
  EXPECT_EQ(lines.code, 0) << lines.err;
  EXPECT_THAT(lines.out, HasSubstr("code\nin/b.wav,0.70"));
  EXPECT_EQ(Lines(lines.out), 5);
  input_ = std::string("in/b.wav\0in/a.wav", 17);
  EXPECT_EQ(Segment({"-f", "csv", "-0", "--files-from", "-"}).out, lines.out);
  EXPECT_EQ(Segment({"-f", "csv", "--files-from", folder_.write("list", "in/a.wav\n"), "in/b.wav"}).out, lines.out);
}

TEST_F(ManyFiles, AnyNumberOfJobsGivesTheSameBytes) {
  Fill(9);
  folder_.write("in/notes.txt", "no sound");
  folder_.write("in/cut.wav", folder_.read("in/a.wav").substr(0, 100000));
  current_ = folder_.path();
  for (const char* format : {"table", "json", "jsonl", "csv"}) {
    SCOPED_TRACE(format);
    const Outcome one = Segment({"-f", format, "missing.wav", "in"});
    EXPECT_EQ(one.code, 3);
    EXPECT_EQ(Lines(one.err), 3) << one.err;
    for (const char* jobs : {"2", "5", "64"}) {
      const Outcome several = Segment({"-f", format, "-j", jobs, "missing.wav", "in"});
      EXPECT_EQ(several.code, one.code);
      EXPECT_EQ(several.out, one.out);
      EXPECT_EQ(several.err, one.err);
    }
  }
  for (const char* command : {"split", "features"}) {
    SCOPED_TRACE(command);
    EXPECT_EQ(Run(command, {"-d", "one", "in"}).code, 4);
    const Outcome several = Run(command, {"-j", "4", "-d", "four", "in"});
    EXPECT_EQ(several.code, 4);
    EXPECT_EQ(Tree("four"), Tree("one"));
    std::filesystem::remove_all(folder_.file("one"));
    std::filesystem::remove_all(folder_.file("four"));
  }
  EXPECT_EQ(Run("quality", {"-f", "json", "-j", "3", "in"}).out, Run("quality", {"-f", "json", "in"}).out);
}

TEST_F(ManyFiles, FailureOfTheOutputEndsAllJobs) {
  Fill(6);
  // A sentence of 1.5 s has 48 kB.
  const Outcome run = WithFileSizeLimit(40000, [&] {
    return Run("split", {"-q", "-j", "3", "-d", folder_.file("out"), folder_.file("in")});
  });
  EXPECT_EQ(run.code, 8);
  EXPECT_EQ(Lines(run.err), 1) << run.err;
  EXPECT_THAT(run.err, HasSubstr("a-0001.wav: cannot be written"));
}

TEST_F(ManyFiles, FewDescriptorsAreEnoughForManyFiles) {
  Wav("in/a.wav", 1, {});
  for (int i = 0; i < 400; ++i) {
    std::filesystem::create_hard_link(folder_.file("in/a.wav"), folder_.file("in/l" + std::to_string(i) + ".wav"));
  }
  const std::string call = "ulimit -n 32; " + std::string(WVAD_PROGRAM) + " segment -q -f jsonl -j 4 -m " + WVAD_TEST_MODEL + " " +
                           folder_.file("in") + " >" + folder_.file("out") + " 2>" + folder_.file("err");
  EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 0);
  EXPECT_EQ(folder_.read("err"), "");
  EXPECT_EQ(Lines(folder_.read("out")), 401);
}

TEST_F(ManyFiles, InterruptEndsSeveralJobsInOrder) {
  Fill(2);
  const std::string out = folder_.file("out.jsonl");
  testing::LiveProgram program({"segment", "-q", "-f", "jsonl", "-j", "3", "-m", WVAD_TEST_MODEL, "-o", out, folder_.file("in/a.wav"), "-",
                                folder_.file("in/b.wav")});
  program.Write(Bytes(Bursts(5, kTwoBursts)));
  EXPECT_TRUE(
      testing_support::Eventually([&] { return folder_.read("out.jsonl.wvad-part").find("a.wav\",\"heard\"") != std::string::npos; }));
  program.Signal(SIGINT);
  EXPECT_EQ(program.Wait(), 10);
  const std::string text = folder_.read("out.jsonl");
  EXPECT_THAT(text, HasSubstr("\"file\":\"-\",\"heard\":"));
  EXPECT_THAT(text, HasSubstr("\"stopped_by\":\"interrupt\""));
  EXPECT_THAT(text, ::testing::Not(HasSubstr("b.wav")));
}

TEST_F(ManyFiles, InterruptPutsNoPartInThePlaceOfWhatIsThere) {
  const std::string whole = folder_.write("there", "a whole result");
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"segment", "-f", "jsonl"}, {"scores", "-f", "csv"}, {"quality"}}) {
    std::vector<std::string> arguments = command;
    for (const std::string& more :
         {std::string("-m"), std::string(WVAD_TEST_MODEL), std::string("--force"), std::string("-o"), whole, std::string("-")})
      arguments.push_back(more);
    testing::LiveProgram program(arguments);
    program.Write(Bytes(Bursts(5, kTwoBursts)));
    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 10) << command[0];
    EXPECT_EQ(folder_.read("there"), "a whole result") << command[0];
    EXPECT_FALSE(std::filesystem::exists(whole + ".wvad-part")) << command[0];
  }
}

class Resume : public ManyFiles {
 protected:
  // As a killed run leaves a file that it had not finished.
  void MarkAsPart(const std::string& name) {
    std::filesystem::permissions(folder_.file(name), std::filesystem::perms::sticky_bit, std::filesystem::perm_options::add);
  }
  // Every fifth begin of `whole` is gone on with, from the file itself and from what a killed run leaves.
  void ExpectGoneOnWith(const std::string& format) {
    Fill(5);
    folder_.write("in/cut.wav", folder_.read("in/b.wav").substr(0, 100000));
    folder_.write("in/notes.txt", "no sound");
    current_ = folder_.path();
    const std::vector<std::string> arguments = {"-q", "-f", format, "-o", "out", "missing.wav", "in"};
    const auto with = [&](const char* more) {
      std::vector<std::string> all = arguments;
      all.insert(all.begin(), more);
      return Segment(all);
    };
    EXPECT_EQ(Segment(arguments).code, 3);
    const std::string whole = folder_.read("out");
    for (size_t length = 0; length <= whole.size(); length += whole.size() / 7) {
      SCOPED_TRACE(length);
      for (const char* name : {"out", "out.wvad-part"}) {
        std::filesystem::remove(folder_.file("out"));
        folder_.write(name, whole.substr(0, length));
        if (name != std::string("out")) MarkAsPart(name);
        const Outcome run = with("--resume");
        EXPECT_EQ(run.code, 3) << run.err;
        EXPECT_EQ(folder_.read("out"), whole);
        EXPECT_FALSE(std::filesystem::exists(folder_.file("out.wvad-part")));
      }
    }
    // Without anything to go on with it is a run as any other.
    std::filesystem::remove(folder_.file("out"));
    EXPECT_EQ(with("--resume").code, 3);
    EXPECT_EQ(folder_.read("out"), whole);
    // Something else is left alone.
    folder_.write("out", "my notes\n");
    ExpectFailure(with("--resume"), 8, "out: is not what a run with these recordings has begun");
    EXPECT_EQ(folder_.read("out"), "my notes\n");
  }
};

TEST_F(Resume, JsonLinesAreGoneOnWith) { ExpectGoneOnWith("jsonl"); }

TEST_F(Resume, CsvIsGoneOnWith) { ExpectGoneOnWith("csv"); }

TEST_F(Resume, WhatIsWholeIsNotHeardAgain) {
  Fill(3);
  current_ = folder_.path();
  EXPECT_EQ(Segment({"-f", "jsonl", "-o", "out", "in"}).code, 0);
  const std::string whole = folder_.read("out");
  // The first recording has changed since; its rows stay.
  Wav("in/a.wav", 5, {});
  folder_.write("out", whole.substr(0, whole.size() - 10));
  EXPECT_EQ(Segment({"-f", "jsonl", "-o", "out", "--resume", "in"}).code, 0);
  EXPECT_EQ(folder_.read("out"), whole);
}

TEST_F(Resume, InterruptedRecordingIsHeardAgain) {
  Fill(2);
  current_ = folder_.path();
  EXPECT_EQ(Segment({"-f", "jsonl", "-o", "out", "in"}).code, 0);
  const std::string whole = folder_.read("out");
  std::string interrupted = whole;
  interrupted.replace(interrupted.rfind("end of audio"), 12, "interrupt");
  folder_.write("out", interrupted);
  EXPECT_EQ(Segment({"-f", "jsonl", "-o", "out", "--resume", "in"}).code, 0);
  EXPECT_EQ(folder_.read("out"), whole);
}

TEST_F(Resume, NeedsAFormAndAFileThatCanBeGoneOnWith) {
  Fill(1);
  current_ = folder_.path();
  ExpectFailure(Segment({"--resume", "-o", "out", "in"}), 2, "--resume: goes with --format jsonl or csv");
  ExpectFailure(Segment({"--resume", "-f", "csv", "in"}), 2, "--resume: needs --output FILE");
}

TEST_F(Resume, ResultsOfOtherSettingsOrModelsAreNotMixed) {
  Fill(2);
  current_ = folder_.path();
  const std::vector<std::string> arguments = {"-q", "-f", "jsonl", "-o", "out", "in"};
  EXPECT_EQ(Segment(arguments).code, 0);
  const std::string whole = folder_.read("out");
  const std::string begun = whole.substr(0, whole.size() - 10);
  const auto with = [&](std::vector<std::string> more) {
    folder_.write("out", begun);
    more.insert(more.end(), arguments.begin(), arguments.end());
    more.emplace_back("--resume");
    return Segment(more);
  };
  EXPECT_EQ(with({}).code, 0);
  ExpectFailure(with({"--min-silence", "0.6"}), 8, "out: was begun in another way (parameters {");
  ExpectFailure(with({"--channel", "1"}), 8, "--resume does not mix results");
  EXPECT_EQ(folder_.read("out"), begun);
  std::vector<std::string> other = {"segment", "-m", "lstm_fb40"};
  other.insert(other.end(), arguments.begin(), arguments.end());
  other.emplace_back("--resume");
  ExpectFailure(Call(other), 8, "out: was begun in another way (model");
  EXPECT_EQ(folder_.read("out"), begun);
  // A model of the same name that has changed.
  std::filesystem::copy_file(std::string(WVAD_TEST_MODELS) + "/energy_8k.bin", folder_.file("m.bin"));
  EXPECT_EQ(Call({"segment", "-q", "-m", "./m.bin", "-o", "m.jsonl", "in"}).code, 0);
  std::filesystem::remove(folder_.file("m.bin"));
  std::filesystem::copy_file(WVAD_TEST_MODEL, folder_.file("m.bin"));
  ExpectFailure(Call({"segment", "-q", "-m", "./m.bin", "-o", "m.jsonl", "--resume", "in"}), 8, "(model_sha256");
  // So of a configuration.
  folder_.write("c.cfg", "[vad]\nwvad_param_nFrameEndMargin=20\n");
  EXPECT_EQ(Segment({"-q", "--config", "c.cfg", "-o", "c.jsonl", "in"}).code, 0);
  folder_.write("c.cfg", "[vad]\nwvad_param_nFrameEndMargin=2\n");
  ExpectFailure(Segment({"-q", "--config", "c.cfg", "-o", "c.jsonl", "--resume", "in"}), 8,
                "c.jsonl: was begun in another way (parameters {");
  // Of what can be read once nothing is said.
  const nlohmann::json made_by = nlohmann::json::parse(Segment({"-q", "--config", "/dev/null", "-f", "json", "in"}).out)["made_by"];
  EXPECT_EQ(made_by["parameters"]["config"], "/dev/null");
  EXPECT_FALSE(made_by["parameters"].contains("config_sha256"));
}

TEST_F(Resume, AFolderOfOtherSettingsIsNotMixed) {
  Fill(2);
  current_ = folder_.path();
  ASSERT_EQ(Run("split", {"-q", "-d", "out", "in"}).code, 0);
  std::filesystem::remove(folder_.file("out/b-split.json"));
  const std::map<std::string, std::string> begun = Tree("out");
  ExpectFailure(Run("split", {"-q", "--resume", "--pad-before", "0.1", "-d", "out", "in"}), 8, "a-split.json: was begun in another way");
  EXPECT_EQ(Tree("out"), begun);
}

TEST_F(Resume, FolderIsCompleted) {
  Fill(4);
  current_ = folder_.path();
  ASSERT_EQ(Run("split", {"-q", "-d", "out", "in"}).code, 0);
  const std::map<std::string, std::string> whole = Tree("out");
  // As a killed run leaves it: the second has lost a sentence, the third its index is begun, the fourth was not begun.
  std::filesystem::remove(folder_.file("out/b-0002.wav"));
  std::filesystem::rename(folder_.file("out/c-split.json"), folder_.file("out/c-split.json.wvad-part"));
  MarkAsPart("out/c-split.json.wvad-part");
  for (const char* name : {"d-0001.wav", "d-0002.wav", "d-split.json"}) std::filesystem::remove(folder_.file(std::string("out/") + name));
  const auto before = std::filesystem::last_write_time(folder_.file("out/a-split.json"));
  const Outcome run = Run("split", {"-q", "--resume", "-j", "2", "-d", "out", "in"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(Tree("out"), whole);
  EXPECT_EQ(std::filesystem::last_write_time(folder_.file("out/a-split.json")), before);
  // All is there.
  EXPECT_EQ(Run("split", {"-q", "--resume", "-d", "out", "in"}).code, 0);
  EXPECT_EQ(Tree("out"), whole);
}

TEST_F(Resume, FolderWithFilesOfSomebodyElseIsLeftAlone) {
  Fill(1);
  current_ = folder_.path();
  folder_.write("out/a-0001.wav", "mine");
  ExpectFailure(Run("split", {"-q", "--resume", "-d", "out", "in"}), 8, "a-0001.wav: exists already");
  EXPECT_EQ(folder_.read("out/a-0001.wav"), "mine");
}

}  // namespace
}  // namespace TSEG::tool
