// SPDX-License-Identifier: Apache-2.0
//
// wvad split: each sentence as a sound file, with an index beside them.
#include <csignal>

#include "wvad/arrays.h"
#include "wvad/live_program.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using ::testing::ElementsAre;
using testing::ReadSound;
using testing::Sound;

class Split : public Program {
 protected:
  // A ramp inside the bursts, so that each sample tells its place.
  std::string Ramp(const std::string& name, double length_s, const Spans& spans) {
    signal_ = Bursts(length_s, spans);
    for (size_t i = 0; i < signal_.size(); ++i) {
      if (signal_[i] != 0) signal_[i] = static_cast<int16_t>(signal_[i] + static_cast<int>(i % 1999));
    }
    const std::string path = folder_.file(name);
    WriteAudio(path, signal_);
    return path;
  }
  std::vector<int16_t> Slice(size_t begin, size_t end) const {
    return std::vector<int16_t>(signal_.begin() + static_cast<std::ptrdiff_t>(begin), signal_.begin() + static_cast<std::ptrdiff_t>(end));
  }
  nlohmann::json Index(const std::string& name) const { return nlohmann::json::parse(folder_.read(name)); }

  std::vector<int16_t> signal_;
};

TEST_F(Split, FilesHoldTheSamplesOfTheirSentences) {
  const Outcome run = Run("split", {"-d", folder_.file("out"), Ramp("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-0001.wav", "a-0002.wav", "a-split.json"));
  // Sentences from 0.7 to 2.2 and from 2.7 to 3.7 s.
  const Sound first = ReadSound(folder_.file("out/a-0001.wav"));
  EXPECT_EQ(first.info.samplerate, 16000);
  EXPECT_EQ(first.info.channels, 1);
  EXPECT_EQ(first.info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
  EXPECT_EQ(first.samples, Slice(11200, 35200));
  EXPECT_EQ(ReadSound(folder_.file("out/a-0002.wav")).samples, Slice(43200, 59200));
}

TEST_F(Split, FlacHoldsTheSameSamples) {
  const Outcome run = Run("split", {"--audio", "flac", "-q", "-d", folder_.file("out"), Ramp("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "");
  const Sound second = ReadSound(folder_.file("out/a-0002.flac"));
  EXPECT_EQ(second.info.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
  EXPECT_EQ(second.samples, Slice(43200, 59200));
}

TEST_F(Split, IndexTellsWhereEachFileLies) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Run("split", {"-q", "-d", folder_.file("out"), path}).code, 0);
  const nlohmann::json index = Index("out/a-split.json");
  EXPECT_EQ(index["source"], path);
  EXPECT_EQ(index["model"], WVAD_TEST_MODEL);
  EXPECT_EQ(index["sample_rate"], 16000);
  EXPECT_EQ(index["heard"], 5.0);
  EXPECT_EQ(index["stopped_by"], "end of audio");
  ASSERT_EQ(index["sentences"].size(), 2U);
  const nlohmann::json& second = index["sentences"][1];
  EXPECT_EQ(second["file"], "a-0002.wav");
  EXPECT_EQ(second["begin"], 2.7);
  EXPECT_EQ(second["end"], 3.7);
  EXPECT_EQ(second["duration"], 1.0);
  EXPECT_EQ(second["samples"], 16000);
  EXPECT_TRUE(second["vol"].is_number());
  EXPECT_TRUE(second["eg"].is_number());
}

TEST_F(Split, SamplesAddUpToTheLengthsThatSegmentReports) {
  // The last burst runs into the end of the audio, whose last frame is not whole.
  const std::string path = Ramp("a.wav", 20.005, {{1.0, 2.0}, {2.5, 3.0}, {3.5, 4.0}, {6.0, 12.0}, {13.0, 13.5}, {19.0, 20.005}});
  for (const std::vector<std::string>& more : {std::vector<std::string>{}, {"--set", "wvad_param_nSpeechTimeOut=2000"}}) {
    std::vector<std::string> arguments = {"-f", "json", path};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Spans found = Found(Segment(arguments).out);
    ASSERT_GE(found.size(), 5U);
    arguments.insert(arguments.end(), {"--force", "-d", folder_.file("out")});
    const Outcome run = Run("split", arguments);
    EXPECT_EQ(Found(run.out), found);
    for (size_t i = 0; i < found.size(); ++i) {
      const size_t begin = static_cast<size_t>(found[i].first * 100 + 0.5) * 160;
      const size_t end = std::min(signal_.size(), static_cast<size_t>(found[i].second * 100 + 0.5) * 160);
      const std::string name = "out/a-000" + std::to_string(i + 1) + ".wav";
      EXPECT_EQ(ReadSound(folder_.file(name)).samples, Slice(begin, end)) << name;
    }
  }
}

TEST_F(Split, WhatIsToldNamesTheFiles) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  const std::string out = folder_.file("out");
  const Outcome table = Run("split", {"-d", out, path});
  EXPECT_THAT(table.out, StartsWith("     begin       end  duration     vol      eg  saved as\n      0.70      2.20      1.50"));
  EXPECT_THAT(table.out, HasSubstr("  " + out + "/a-0001.wav\n"));
  EXPECT_THAT(table.out, HasSubstr("\n2 sentences, 2.50 s of speech in 5.00 s\n"));
  const nlohmann::json json = nlohmann::json::parse(Run("split", {"--force", "-f", "json", "-d", out, path}).out);
  EXPECT_EQ(json["files"][0]["sentences"][1]["saved"], out + "/a-0002.wav");
  const Outcome csv = Run("split", {"--force", "-f", "csv", "-d", out, path});
  EXPECT_THAT(csv.out, StartsWith("file,begin,end,duration,vol,trig,eg,saved,error,code\n"));
  EXPECT_THAT(csv.out, HasSubstr("," + out + "/a-0001.wav,,\n"));
}

TEST_F(Split, NothingIsReplacedWithoutForce) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  folder_.write("out/a-0001.wav", "mine");
  ExpectFailure(Run("split", {"-d", folder_.file("out"), path}), 8, "a-0001.wav: exists already; --force replaces it");
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-0001.wav"));
  EXPECT_EQ(folder_.read("out/a-0001.wav"), "mine");
  // At a later number too.
  folder_.write("late/a-0002.wav", "mine");
  ExpectFailure(Run("split", {"-f", "json", "-d", folder_.file("late"), path}), 8, "a-0002.wav: exists already; --force replaces it");
  EXPECT_THAT(Names(folder_.file("late")), ElementsAre("a-0002.wav"));
  EXPECT_EQ(folder_.read("late/a-0002.wav"), "mine");
  EXPECT_EQ(Run("split", {"-q", "--force", "-d", folder_.file("late"), path}).code, 0);
  EXPECT_EQ(ReadSound(folder_.file("late/a-0002.wav")).samples.size(), 16000U);
}

TEST_F(Split, ForceRemovesWhatAnEarlierRunLeftAndNothingElse) {
  const std::string out = folder_.file("out");
  EXPECT_EQ(Run("split", {"-q", "-d", out, Ramp("a.wav", 8, {{1.0, 2.0}, {3.0, 3.5}, {5.0, 6.0}})}).code, 0);
  folder_.write("out/a-2019.wav", "mine");
  EXPECT_EQ(Run("split", {"-q", "--force", "--audio", "flac", "-d", out, Ramp("a.wav", 5, kTwoBursts)}).code, 0);
  EXPECT_THAT(Names(out), ElementsAre("a-0001.flac", "a-0002.flac", "a-2019.wav", "a-split.json"));
  // An index that names files elsewhere removes nothing there.
  folder_.write("a-0009.wav", "mine");
  folder_.write("out/a-split.json", R"({"sentences":[{"file":"../a-0009.wav"},{"file":"a-2019.wav"},{"file":7},{"file":"a-0001.flac"}]})");
  EXPECT_EQ(Run("split", {"-q", "--force", "-d", out, Ramp("a.wav", 5, kTwoBursts)}).code, 0);
  EXPECT_EQ(folder_.read("a-0009.wav"), "mine");
  EXPECT_THAT(Names(out), ElementsAre("a-0001.wav", "a-0002.flac", "a-0002.wav", "a-split.json"));
}

TEST_F(Split, WhatAnInterruptedRunDidNotGetToIsRememberedAndRemovedByTheNext) {
  const std::string out = folder_.file("out");
  input_ = Bytes(Bursts(8, {{1.0, 2.0}, {3.0, 3.5}, {5.0, 6.0}}));
  EXPECT_EQ(Run("split", {"-q", "-d", out, "-"}).code, 0);
  folder_.write("out/stdin-0009.wav", "mine");
  testing::LiveProgram program({"split", "--force", "--model", WVAD_TEST_MODEL, "-d", out, "-"});
  program.Write(Bytes(Bursts(4, {{1.0, 2.0}})));
  program.Signal(SIGINT);
  EXPECT_EQ(program.Wait(), 10);
  EXPECT_THAT(Names(out), ElementsAre("stdin-0001.wav", "stdin-0002.wav", "stdin-0003.wav", "stdin-0009.wav", "stdin-split.json"));
  EXPECT_EQ(Index("out/stdin-split.json")["left_over"], nlohmann::json({"stdin-0002.wav", "stdin-0003.wav"}));
  // The next one makes the second anew, and knows of the third although the index has no sentence of that name any more.
  input_ = Bytes(Bursts(5, kTwoBursts));
  EXPECT_EQ(Run("split", {"-q", "--force", "-d", out, "-"}).code, 0);
  EXPECT_THAT(Names(out), ElementsAre("stdin-0001.wav", "stdin-0002.wav", "stdin-0009.wav", "stdin-split.json"));
  EXPECT_FALSE(Index("out/stdin-split.json").contains("left_over"));
  EXPECT_EQ(folder_.read("out/stdin-0009.wav"), "mine");
}

TEST_F(Split, FailedRunTellsWhatIsOfAnEarlierOne) {
  const std::string out = folder_.file("out");
  EXPECT_EQ(Run("split", {"-q", "-d", out, Ramp("a.wav", 8, {{1.0, 1.5}, {3.0, 4.0}, {5.0, 6.0}})}).code, 0);
  // Room for the first sentence alone.
  const Outcome run = WithFileSizeLimit(40000, [&] { return Run("split", {"--force", "-d", out, folder_.file("a.wav")}); });
  EXPECT_EQ(run.code, 8);
  EXPECT_THAT(run.err,
              HasSubstr("a.wav: note: " + out + "/a-0002.wav and 1 more are of an earlier run; one with --force that comes to its"));
  EXPECT_EQ(Index("out/a-split.json")["left_over"], nlohmann::json({"a-0002.wav", "a-0003.wav"}));
}

TEST_F(Split, FilesOfAKilledRunAreRemovedByTheNext) {
  const std::string out = folder_.file("out");
  EXPECT_EQ(Run("split", {"-q", "-d", out, Ramp("a.wav", 8, {{1.0, 2.0}, {3.0, 3.5}, {5.0, 6.0}})}).code, 0);
  folder_.write("out/a-0004.wav", "mine");
  // As SIGKILL leaves it: the index has begun rows, the last of them torn.
  const std::string index = folder_.read("out/a-split.json");
  folder_.write("out/a-split.json.wvad-part", index.substr(0, index.rfind("],")) + ",\n  {\"file\":\"a-0004.wav\",\"beg");
  std::filesystem::permissions(out + "/a-split.json.wvad-part", std::filesystem::perms::sticky_bit, std::filesystem::perm_options::add);
  std::filesystem::remove(out + "/a-split.json");
  EXPECT_EQ(Run("split", {"-q", "--force", "-d", out, Ramp("a.wav", 3, {{1.0, 2.0}})}).code, 0);
  EXPECT_THAT(Names(out), ElementsAre("a-0001.wav", "a-0004.wav", "a-split.json"));
}

TEST_F(Split, RecordingsThatWouldMeetAreRefusedBeforeAnyWork) {
  const std::string wav = Ramp("a.wav", 5, kTwoBursts);
  const std::string numbered = Ramp("a-0002.wav", 5, kTwoBursts);
  const std::string out = folder_.file("out");
  std::filesystem::create_directory(folder_.file("too"));
  const std::string same_name = Ramp("too/a.wav", 5, kTwoBursts);
  ExpectFailure(Run("split", {"-d", out, wav, same_name}), 2, "would be called as those of");
  ExpectFailure(Run("split", {"--force", "-d", folder_.path(), wav, numbered}), 8, "a-0002.wav: the files of " + wav);
  ExpectFailure(Run("split", {"--prefix", "x", "-d", out, wav, numbered}), 2, "--prefix is for a single recording");
  ExpectFailure(Run("split", {"--prefix", "x/y", "-d", out, wav}), 2, "without folders");
  EXPECT_FALSE(std::filesystem::exists(out));
  EXPECT_EQ(ReadSound(numbered).samples, signal_);
}

TEST_F(Split, SeveralRecordingsAndOneThatIsMissing) {
  const std::string a = Ramp("a.wav", 5, kTwoBursts);
  const std::string b = Ramp("b.wav", 3, {{1.0, 2.0}});
  const Outcome run = Run("split", {"-d", folder_.file("out"), a, folder_.file("no.wav"), b});
  EXPECT_EQ(run.code, 3);
  EXPECT_EQ(Lines(run.err), 1) << run.err;
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-0001.wav", "a-0002.wav", "a-split.json", "b-0001.wav", "b-split.json"));
}

TEST_F(Split, StandardInputHasAName) {
  Ramp("a.wav", 5, kTwoBursts);
  input_ = Bytes(signal_);
  const std::string out = folder_.file("out");
  EXPECT_EQ(Run("split", {"-q", "-d", out, "-"}).code, 0);
  EXPECT_EQ(Run("split", {"-q", "-d", out, "--prefix", "talk", "-"}).code, 0);
  EXPECT_THAT(Names(out),
              ElementsAre("stdin-0001.wav", "stdin-0002.wav", "stdin-split.json", "talk-0001.wav", "talk-0002.wav", "talk-split.json"));
  EXPECT_EQ(folder_.read("out/talk-0002.wav"), folder_.read("out/stdin-0002.wav"));
}

TEST_F(Split, WithoutSentencesThereIsAnIndexAndANote) {
  const Outcome run = Run("split", {"-d", folder_.file("out"), Wav("a.wav", 3, {})});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.err, HasSubstr("a.wav: note: no sentences found\n"));
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-split.json"));
  EXPECT_TRUE(Index("out/a-split.json")["sentences"].empty());
  EXPECT_EQ(Run("split", {"-q", "--force", "-d", folder_.file("out"), folder_.file("a.wav")}).err, "");
}

TEST_F(Split, FolderThatCannotBeMadeOrWritten) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  folder_.write("file", "");
  ExpectFailure(Run("split", {"-d", folder_.file("file"), path}), 8, "this folder cannot be made: Not a directory");
  ExpectFailure(Run("split", {"-d", folder_.file("file/below"), path}), 8, "this folder cannot be made");
  ExpectFailure(Run("split", {"-d", "/proc/self", path}), 8, "a-split.json: cannot be written");
  ExpectFailure(Run("split", {"-d", folder_.file("out"), "--set", "wvad_param_nothing=1", path}), 6, "no such parameter");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("out")));
}

TEST_F(Split, WhatIsNoFileWhereAFileBelongsIsRefusedAtOnce) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  for (const char* name : {"a-split.json", "a-0001.wav"}) {
    const std::string place = folder_.file("out/") + name;
    std::filesystem::create_directories(place);
    for (const char* more : {"--quiet", "--force"}) {
      ExpectFailure(Run("split", {more, "-d", folder_.file("out"), path}), 8, std::string(name) + ": is not an ordinary file");
    }
    std::filesystem::remove(place);
    ASSERT_EQ(mkfifo(place.c_str(), 0600), 0);
    ExpectFailure(Run("split", {"--force", "-d", folder_.file("out"), path}), 8, std::string(name) + ": is not an ordinary file");
    std::filesystem::remove_all(folder_.file("out"));
  }
}

TEST_F(Split, FullStandardOutputLeavesAnIndexWithItsReason) {
  output_ = "/dev/full";
  const Outcome run = Run("split", {"-d", folder_.file("out"), Ramp("a.wav", 5, kTwoBursts)});
  ExpectFailure(run, 8, "standard output: cannot be written: No space left on device");
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-split.json"));
  EXPECT_THAT(Index("out/a-split.json")["error"].get<std::string>(), HasSubstr("No space left on device"));
  EXPECT_TRUE(Index("out/a-split.json")["sentences"].empty());
}

TEST_F(Split, FullDiskLosesNothingThatWasSaved) {
  // Room for the first sentence, 32044 bytes, but not for the second, 48044 bytes.
  const std::string path = Ramp("a.wav", 5, {{1.0, 1.5}, {3.0, 4.0}});
  const Outcome run = WithFileSizeLimit(40000, [&] { return Run("split", {"-f", "csv", "-d", folder_.file("out"), path}); });
  EXPECT_EQ(run.code, 8);
  EXPECT_EQ(Lines(run.err), 1) << run.err;
  EXPECT_THAT(run.err, HasSubstr("a-0002.wav: cannot be written: File too large"));
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-0001.wav", "a-split.json"));
  EXPECT_EQ(ReadSound(folder_.file("out/a-0001.wav")).samples, Slice(11200, 27200));
  EXPECT_EQ(Index("out/a-split.json")["sentences"].size(), 1U);
}

TEST_F(Split, RateOfTheEngineIsThatOfTheFiles) {
  EXPECT_EQ(Run("split", {"-q", "-d", folder_.file("out"), "--set", "VAD_PARAM_SAMPLERATE=8000", Ramp("a.wav", 5, kTwoBursts)}).code, 0);
  const Sound first = ReadSound(folder_.file("out/a-0001.wav"));
  EXPECT_EQ(first.info.samplerate, 8000);
  const nlohmann::json row = Index("out/a-split.json")["sentences"][0];
  EXPECT_EQ(first.samples.size(), row["samples"].get<size_t>());
  EXPECT_NEAR(row["duration"].get<double>(), static_cast<double>(first.samples.size()) / 8000, 1e-9);
}

TEST_F(Split, EndpointSavesWhatALiveClientHears) {
  const Outcome run = Run("split", {"--endpoint", "-d", folder_.file("out"), Ramp("a.wav", 10, {{1.0, 2.0}, {7.0, 8.0}})});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr(": tail silence\n"));
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("a-0001.wav", "a-split.json"));
  EXPECT_EQ(ReadSound(folder_.file("out/a-0001.wav")).samples, Slice(11200, 35200));
}

TEST_F(Split, WhatIsReadIsSettledByTheCommand) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  for (const char* name : {"wvad_param_nReadType=0", "wvad_param_readtype=0"}) {
    ExpectFailure(Run("split", {"-d", folder_.file("out"), "--set", name, path}), 6, "settled by the command");
  }
}

TEST_F(Split, InterruptSavesTheOpenSentenceAndClosesTheIndex) {
  testing::LiveProgram program({"split", "-q", "--model", WVAD_TEST_MODEL, "-d", folder_.file("out"), "-"});
  // When all but the last eighth of a second has been taken, one sentence has ended and one is open.
  program.Write(Bytes(Bursts(4.5, {{1.0, 2.0}, {3.5, 4.5}})));
  program.Signal(SIGINT);
  EXPECT_EQ(program.Wait(), 10);
  EXPECT_THAT(Names(folder_.file("out")), ElementsAre("stdin-0001.wav", "stdin-0002.wav", "stdin-split.json"));
  EXPECT_EQ(Index("out/stdin-split.json")["stopped_by"], "interrupt");
}

TEST_F(Split, GoingOnReplacesNothingThatNoEarlierRunHasListed) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Run("split", {"-q", "-d", folder_.file("out"), path}).code, 0);
  const std::string second = folder_.read("out/a-0002.wav");
  nlohmann::ordered_json index = nlohmann::ordered_json::parse(folder_.read("out/a-split.json"));
  index["stopped_by"] = "interrupt";
  index["sentences"].erase(1);
  folder_.write("out/a-split.json", index.dump());
  // As a run leaves it that was killed before it listed the second file, and with a file of somebody else in that place.
  EXPECT_EQ(Run("split", {"-q", "--resume", "-d", folder_.file("out"), path}).code, 0);
  EXPECT_EQ(folder_.read("out/a-0002.wav"), second);
  folder_.write("out/a-split.json", index.dump());
  folder_.write("out/a-0002.wav", "mine");
  ExpectFailure(Run("split", {"-q", "--resume", "-d", folder_.file("out"), path}), 8, "a-0002.wav: exists already");
  EXPECT_EQ(folder_.read("out/a-0002.wav"), "mine");
}

TEST_F(Split, GoingOnIsWithTheSameRecording) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  std::filesystem::create_directory(folder_.file("other"));
  const std::string other = Wav("other/a.wav", 3, {{1.0, 2.0}});
  EXPECT_EQ(Run("split", {"-q", "-d", folder_.file("out"), path}).code, 0);
  const std::string first = folder_.read("out/a-0001.wav");
  ExpectFailure(Run("split", {"-q", "--resume", "-d", folder_.file("out"), other}), 8, "a-split.json: tells of another recording, " + path);
  // Of a killed run there is the begin of an index.
  const std::string begun = folder_.file("out/a-split.json.wvad-part");
  std::filesystem::rename(folder_.file("out/a-split.json"), begun);
  const std::string index = folder_.read("out/a-split.json.wvad-part");
  folder_.write("out/a-split.json.wvad-part", index.substr(0, index.find("\n],")));
  ExpectFailure(Run("split", {"-q", "--resume", "-d", folder_.file("out"), other}), 8,
                "a-split.json.wvad-part: tells of another recording");
  EXPECT_EQ(folder_.read("out/a-0001.wav"), first);
}

TEST_F(Split, RunThatBrokeOffIsGoneOnWithInItsOwnWayAlone) {
  const std::string path = Ramp("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Run("split", {"-q", "-d", folder_.file("out"), path}).code, 0);
  // As an interrupt leaves it.
  nlohmann::ordered_json index = nlohmann::ordered_json::parse(folder_.read("out/a-split.json"));
  index["stopped_by"] = "interrupt";
  folder_.write("out/a-split.json", index.dump());
  const std::string first = folder_.read("out/a-0001.wav");
  ExpectFailure(Run("split", {"-q", "--resume", "--min-silence", "3", "-d", folder_.file("out"), path}), 8, "a-split.json: was ");
  EXPECT_EQ(folder_.read("out/a-0001.wav"), first);
  EXPECT_EQ(Run("split", {"-q", "--resume", "-d", folder_.file("out"), path}).code, 0);
  EXPECT_EQ(Index("out/a-split.json")["stopped_by"], "end of audio");
}

}  // namespace
}  // namespace TSEG::tool
