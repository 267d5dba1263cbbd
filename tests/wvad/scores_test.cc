// SPDX-License-Identifier: Apache-2.0
//
// wvad scores: one probability for each 10 ms.
#include <cmath>
#include <sstream>

#include "wvad/arrays.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using testing::Array;
using ::testing::ElementsAre;
using testing::ParseNpy;

const std::string kRoot = std::string(WVAD_TEST_DATA_DIR) + "/../..";
const std::string kSpeech = kRoot + "/examples/audio/jfk.flac";  // 11.0 s, 16 kHz

class Scores : public Program {
 protected:
  static std::string Model(const std::string& kind) { return kRoot + "/models/" + kind + ".bin"; }
  Array ArrayOf(const std::string& kind, const std::string& path, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"scores", "-m", Model(kind), "-f", "npy", "--force", "-o", folder_.file("s.npy"), path});
    const Outcome run = Call(more);
    EXPECT_EQ(run.code, 0) << run.err;
    return ParseNpy(folder_.read("s.npy"));
  }
  // What a session notes of its frames: the speech score times 1000, cut; -500 where the decision overrules it.
  std::vector<int> NotedBySession(const std::string& kind, const std::string& path, const std::vector<std::string>& more) {
    const std::string notes = folder_.file("notes.txt");
    std::filesystem::remove(notes);
    std::vector<std::string> arguments = {"segment",
                                          "-q",
                                          "-m",
                                          Model(kind),
                                          path,
                                          "-s",
                                          "wvad_param_isVadDegOn=1",
                                          "-s",
                                          "wvad_param_nEnergyThreshhood=-100",
                                          "-s",
                                          "wvad_param_debug_log_filename=" + notes};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome run = Call(arguments);
    EXPECT_EQ(run.code, 0) << run.err;
    const std::string text = folder_.read("notes.txt");
    std::istringstream words(text.substr(std::min(text.size(), text.find("|mScore:") + 8)));
    std::vector<int> noted;
    for (int speech = 0, other = 0; words >> speech >> other;) noted.push_back(speech);
    return noted;
  }
  // The session's notes are made frame by frame, so equality shows that each score stands at its frame.
  void ExpectScoresOfTheSession(const std::string& kind, const std::vector<std::string>& settings) {
    const Array scores = ArrayOf(kind, kSpeech, settings);
    const std::vector<int> noted = NotedBySession(kind, kSpeech, settings);
    // Frames of 50 ms every 10 ms, (176000 - 800) / 160 + 1, or of 25 where no pitch is looked for, (176000 - 400) / 160 + 1.
    ASSERT_EQ(noted.size(), kind == "lstm_fb40" ? 1098U : 1096U);
    int compared = 0;
    for (size_t frame = 0; frame < noted.size(); ++frame) {
      const bool held = scores.values[2 * frame + 1] == 1.0F;
      if (noted[frame] == -500 || held) continue;
      ASSERT_EQ(static_cast<int>(scores.values[2 * frame] * 1000.0F), noted[frame]) << "frame " << frame;
      ++compared;
    }
    EXPECT_GT(compared, 1000);
  }
};

TEST_F(Scores, CountsAreThoseOfWholeHops) {
  for (const char* kind : {"dnn_fb75", "lstm_fb75", "lstm_fb40"}) {
    for (const size_t samples : {0U, 159U, 160U, 800U, 1599U, 1600U, 16000U, 16159U, 16160U}) {
      const std::string path = folder_.file("a.wav");
      WriteAudio(path, std::vector<int16_t>(samples, 100));
      EXPECT_EQ(ArrayOf(kind, path).rows, samples / 160) << kind << " " << samples;
    }
    EXPECT_EQ(ArrayOf(kind, kSpeech).rows, 1100U) << kind;
  }
}

TEST_F(Scores, EachScoreStandsAtTheFrameThatASessionUsesItFor) {
  for (const char* kind : {"dnn_fb75", "lstm_fb75", "lstm_fb40"}) {
    SCOPED_TRACE(kind);
    ExpectScoresOfTheSession(kind, {});
  }
}

TEST_F(Scores, SettingsActAsInASession) {
  const std::pair<const char*, const char*> cases[] = {
      {"lstm_fb75", "wvad_param_isTsegDoCMN=0"}, {"lstm_fb75", "wvad_param_cmn_type=2"}, {"lstm_fb40", "wvad_param_vad_LstmPaddingNum=0"}};
  for (const auto& [kind, setting] : cases) {
    SCOPED_TRACE(setting);
    EXPECT_NE(ArrayOf(kind, kSpeech, {"-s", setting}).values, ArrayOf(kind, kSpeech).values);
    ExpectScoresOfTheSession(kind, {"-s", setting});
  }
  EXPECT_EQ(ArrayOf("lstm_fb40", kSpeech, {"-s", "VAD_PARAM_SAMPLERATE=8000"}).rows, 1100U);
  ExpectFailure(Call({"scores", "-m", Model("lstm_fb40"), "-s", "wvad_param_nothing=1", kSpeech}), 6, "no such parameter");
}

TEST_F(Scores, HeldFramesAreTheLastOnesAndRepeat) {
  // 1096 frames are 274 blocks of four, so the recurrent kinds owe the 8 frames of two blocks, and 4 hops follow the last frame. The owed
  // pairs of "lstm_fb40" come from packed weights and are no numbers on a processor that runs those.
  const std::pair<const char*, size_t> cases[] = {{"dnn_fb75", 4}, {"lstm_fb75", 12}};
  for (const auto& [kind, held] : cases) {
    const Array scores = ArrayOf(kind, kSpeech);
    for (size_t frame = 0; frame < 1100; ++frame) {
      EXPECT_EQ(scores.values[2 * frame + 1], frame < 1100 - held ? 0.0F : 1.0F) << kind << " " << frame;
      if (frame >= 1100 - held) {
        EXPECT_EQ(scores.values[2 * frame], scores.values[2 * (1099 - held)]) << kind << " " << frame;
      }
    }
  }
  const Array scores = ArrayOf("lstm_fb40", kSpeech);
  for (size_t frame = 0; frame < 1100; ++frame) {
    EXPECT_TRUE(std::isfinite(scores.values[2 * frame])) << frame;
    if (frame < 1088) {
      EXPECT_EQ(scores.values[2 * frame + 1], 0.0F) << frame;
    }
    if (scores.values[2 * frame + 1] != 0.0F) {
      EXPECT_EQ(scores.values[2 * frame], scores.values[2 * frame - 2]) << frame;
    }
  }
}

TEST_F(Scores, TextAndCsvSayWhatTheArraySays) {
  const Array scores = ArrayOf("dnn_fb75", kSpeech);
  std::istringstream csv(Call({"scores", "-m", Model("dnn_fb75"), "-f", "csv", kSpeech}).out);
  std::string line;
  std::getline(csv, line);
  EXPECT_EQ(line, "file,time,speech,held");
  std::istringstream text(Call({"scores", "-m", Model("dnn_fb75"), kSpeech}).out);
  for (size_t frame = 0; frame < 1100; ++frame) {
    const float speech = scores.values[2 * frame];
    const bool held = scores.values[2 * frame + 1] != 0.0F;
    char time[32];
    std::snprintf(time, sizeof time, "%.2f", static_cast<double>(frame) / 100);
    ASSERT_TRUE(std::getline(csv, line));
    const std::string start = kSpeech + "," + time + ",";
    ASSERT_THAT(line, StartsWith(start));
    EXPECT_EQ(std::strtof(line.c_str() + start.size(), nullptr), speech);
    EXPECT_EQ(line.substr(line.size() - 2), held ? ",1" : ",0");
    ASSERT_TRUE(std::getline(text, line));
    char row[64];
    std::snprintf(row, sizeof row, "%s %.4f%s", time, static_cast<double>(speech), held ? " held" : "");
    EXPECT_EQ(line, row);
  }
  EXPECT_FALSE(std::getline(csv, line));
  EXPECT_FALSE(std::getline(text, line));
}

TEST_F(Scores, ChunkLengthAndStandardInputChangeNothing) {
  const std::string path = Wav("a.wav", 3.333, kTwoBursts);
  input_ = Bytes(Bursts(3.333, kTwoBursts));
  const Outcome whole = Call({"scores", "-m", Model("lstm_fb75"), path});
  EXPECT_EQ(Lines(whole.out), 333);
  for (const char* ms : {"1", "25", "10000"}) {
    EXPECT_EQ(Call({"scores", "-m", Model("lstm_fb75"), "--chunk-ms", ms, path}).out, whole.out) << ms;
  }
  EXPECT_EQ(Call({"scores", "-m", Model("lstm_fb75"), "-"}).out, whole.out);
}

TEST_F(Scores, ArrayGoesToStandardOutputByItsNames) {
  const std::string path = Wav("a.wav", 3, kTwoBursts);
  EXPECT_EQ(Run("scores", {"-f", "npy", "-o", folder_.file("a.npy"), path}).code, 0);
  current_ = folder_.path();
  for (const char* name : {"-", "/dev/stdout", "/dev/fd/1"}) {
    const Outcome run = Run("scores", {"-f", "npy", "-o", name, path});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out, folder_.read("a.npy")) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(folder_.file("-")));
  EXPECT_EQ(Run("scores", {"-f", "npy", "-o", "/dev/null", path}).code, 0);
  ExpectFailure(Run("scores", {"-f", "npy", "-o", "/dev/full", path}), 8, "/dev/full: cannot be written: No space left on device");
}

TEST_F(Scores, FilesOfEachRecordingInAFolder) {
  const std::string a = Wav("a.wav", 3, kTwoBursts);
  const std::string b = Wav("b.wav", 2, kTwoBursts);
  const std::string out = folder_.file("out");
  for (const char* format : {"text", "csv", "npy"}) EXPECT_EQ(Run("scores", {"-f", format, "-d", out, a, b}).code, 0) << format;
  EXPECT_THAT(Names(out), ElementsAre("a-scores.csv", "a-scores.npy", "a-scores.txt", "b-scores.csv", "b-scores.npy", "b-scores.txt"));
  EXPECT_EQ(ParseNpy(folder_.read("out/b-scores.npy")).rows, 200U);
  EXPECT_EQ(Lines(folder_.read("out/a-scores.txt")), 300);
  EXPECT_EQ(Lines(folder_.read("out/a-scores.csv")), 301);
  ExpectFailure(Run("scores", {"-f", "npy", "-d", out, a}), 8, "a-scores.npy: exists already; --force replaces it");
  EXPECT_EQ(Run("scores", {"-f", "npy", "--force", "-d", out, a}).code, 0);
}

TEST_F(Scores, SeveralRecordingsInOneOutput) {
  const std::string a = Wav("a.wav", 3, kTwoBursts);
  const std::string b = Wav("b.wav", 2, kTwoBursts);
  const Outcome text = Run("scores", {a, folder_.file("no.wav"), b});
  EXPECT_EQ(text.code, 3);
  EXPECT_EQ(Lines(text.err), 1) << text.err;
  EXPECT_THAT(text.out, StartsWith("# " + a + "\n0.00 "));
  EXPECT_THAT(text.out, HasSubstr("\n\n# " + b + "\n0.00 "));
  EXPECT_EQ(Lines(text.out), 300 + 200 + 3);
  const std::string out = folder_.file("all.csv");
  EXPECT_EQ(Run("scores", {"-f", "csv", "-o", out, a, b}).code, 0);
  EXPECT_EQ(Lines(folder_.read("all.csv")), 1 + 300 + 200);
  ExpectFailure(Run("scores", {"-f", "csv", "-o", out, a}), 8, "all.csv: exists already; --force replaces it");
}

TEST_F(Scores, ModelThatCallsEverythingSpeechSaysSo) {
  const Outcome run = Run("scores", {Wav("a.wav", 1, {})});
  // The softmax of 4 and -4 is 0.9997.
  EXPECT_THAT(run.out, StartsWith("0.00 0.9997\n0.01 0.9997\n"));
  EXPECT_THAT(run.out, HasSubstr("\n0.95 0.9997\n0.96 0.9997 held\n"));
}

TEST_F(Scores, TooShortForAScoreIsSaid) {
  const std::string path = folder_.file("a.wav");
  WriteAudio(path, std::vector<int16_t>(500, 100));
  const Outcome run = Run("scores", {path});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.out, "0.00 0.0000 held\n0.01 0.0000 held\n0.02 0.0000 held\n");
  EXPECT_THAT(run.err, HasSubstr("a.wav: note: too short for a score of its own\n"));
  EXPECT_EQ(Run("scores", {"-q", path}).err, "");
}

TEST_F(Scores, AStoppedRunIsGoneOnWith) {
  for (const char* name : {"a.wav", "b.wav", "c.wav"}) Wav(name, 3, {{1.0, 2.0}});
  current_ = folder_.path();
  const std::vector<std::string> arguments = {"-q", "-f", "csv", "-o", "out.csv", "a.wav", "b.wav", "c.wav", "--resume"};
  EXPECT_EQ(Run("scores", arguments).code, 0);  // nothing to go on with
  const std::string whole = folder_.read("out.csv");
  EXPECT_EQ(Lines(whole), 1 + 3 * 300);
  for (const size_t length : {size_t{0}, size_t{22}, whole.size() / 2, whole.size() - 3, whole.size()}) {
    for (const char* jobs : {"1", "2"}) {
      SCOPED_TRACE(length);
      folder_.write("out.csv", whole.substr(0, length));
      std::vector<std::string> again = arguments;
      again.insert(again.end(), {"-j", jobs});
      EXPECT_EQ(Run("scores", again).code, 0);
      EXPECT_EQ(folder_.read("out.csv"), whole);
    }
  }
  folder_.write("out.csv", "my notes\n");
  ExpectFailure(Run("scores", arguments), 8, "out.csv: is not what a run with these recordings has begun");
}

TEST_F(Scores, AFolderIsCompleted) {
  for (const char* name : {"a.wav", "b.wav", "c.wav"}) Wav(name, 3, {{1.0, 2.0}});
  current_ = folder_.path();
  const std::vector<std::string> arguments = {"-q", "-f", "npy", "-d", "out", "a.wav", "b.wav", "c.wav"};
  EXPECT_EQ(Run("scores", arguments).code, 0);
  const std::string b = folder_.read("out/b-scores.npy");
  folder_.write("out/a-scores.npy", "as it was");
  std::filesystem::remove(folder_.file("out/b-scores.npy"));
  EXPECT_EQ(Run("scores", arguments).code, 8);
  std::vector<std::string> again = arguments;
  again.emplace_back("--resume");
  EXPECT_EQ(Run("scores", again).code, 0);
  EXPECT_EQ(folder_.read("out/a-scores.npy"), "as it was");
  EXPECT_EQ(folder_.read("out/b-scores.npy"), b);
  EXPECT_EQ(Run("scores", again).code, 0);
}

TEST_F(Scores, SeveralJobsTellOfEachRecordingInItsTurn) {
  Wav("long.wav", 20, {{1.0, 2.0}});
  Wav("short.wav", 0.04, {});
  folder_.write("none.wav", "no sound");
  current_ = folder_.path();
  const std::vector<std::string> arguments = {"-f", "csv", "long.wav", "missing.wav", "short.wav", "none.wav"};
  const Outcome one = Run("scores", arguments);
  EXPECT_EQ(one.code, 3);
  EXPECT_EQ(Lines(one.err), 3) << one.err;
  std::vector<std::string> several = arguments;
  several.insert(several.end(), {"-j", "3"});
  const Outcome run = Run("scores", several);
  EXPECT_EQ(run.code, one.code);
  EXPECT_EQ(run.out, one.out);
  EXPECT_EQ(run.err, one.err);
}

TEST_F(Scores, WhatCannotBeGoneOnWithIsSaid) {
  const std::string wav = Wav("a.wav", 1, {});
  ExpectFailure(Run("scores", {"--resume", wav}), 2, "--resume: goes with --directory DIR, or with --format csv and --output FILE");
  ExpectFailure(Run("scores", {"--resume", "-f", "text", "-o", folder_.file("o"), wav}), 2, "--resume");
}

TEST_F(Scores, CommandLinesThatMakeNoSense) {
  const std::string path = Wav("a.wav", 1, {});
  const std::string out = folder_.file("out");
  ExpectFailure(Run("scores", {"-f", "npy", path}), 2, "needs --output FILE");
  ExpectFailure(Run("scores", {"-f", "npy", "-o", out, path, Wav("b.wav", 1, {})}), 2, "need --directory DIR");
  ExpectFailure(Run("scores", {"-d", out, "-o", out, path}), 2, "exclude each other");
  ExpectFailure(Run("scores", {"--prefix", "x", path}), 2, "goes with --directory");
  ExpectFailure(Run("scores", {"-f", "xml", path}), 2, "xml");
  ExpectFailure(Call({"scores", "-m", "/dev/null", path}), 7, "not a model file");
}

TEST_F(Scores, FullDiskLeavesNoHalfFile) {
  const std::string path = Wav("a.wav", 20, kTwoBursts);
  // 2000 rows of 8 bytes behind a header of 128.
  const Outcome run = WithFileSizeLimit(8000, [&] { return Run("scores", {"-f", "npy", "-d", folder_.file("out"), path}); });
  ExpectFailure(run, 8, "a-scores.npy: cannot be written: File too large");
  EXPECT_TRUE(Names(folder_.file("out")).empty());
  output_ = "/dev/full";
  ExpectFailure(Run("scores", {path}), 8, "standard output: cannot be written: No space left on device");
}

TEST_F(Scores, DamagedRecordingIsScoredAsFarAsItGoes) {
  // A FLAC file of noise, cut off in the middle: what can be decoded has its scores.
  std::vector<int16_t> signal(32000);
  unsigned state = 1;
  for (int16_t& sample : signal) {
    state = state * 1664525U + 1013904223U;
    sample = static_cast<int16_t>(state >> 18);
  }
  WriteAudio(folder_.file("whole.flac"), signal, 16000, 1, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
  std::string bytes = folder_.read("whole.flac");
  bytes.replace(bytes.size() / 2, bytes.size() - bytes.size() / 2, std::string(bytes.size() - bytes.size() / 2, '\0'));
  const std::string path = folder_.write("broken.flac", bytes);
  const Outcome run = Run("scores", {"-d", folder_.file("out"), path});
  const int rows = Lines(folder_.read("out/broken-scores.txt"));
  EXPECT_GT(rows, 50);
  EXPECT_LE(rows, 200);
  EXPECT_TRUE(run.code == 0 || run.code == 4) << run.code << run.err;
  EXPECT_EQ(Segment({"-q", path}).code, run.code);
}

}  // namespace
}  // namespace TSEG::tool
