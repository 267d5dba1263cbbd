// SPDX-License-Identifier: Apache-2.0
//
// The built program, as a user or a script meets it: arguments and files in; exit code, standard output and standard error out.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "wvad/signals.h"

namespace TSEG::tool {
namespace {

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
  // Runs `wvad segment --model <energy model>` with `arguments`.
  Outcome Segment(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"segment", "--model", WVAD_TEST_MODEL});
    return Call(arguments);
  }

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
};

const Spans kTwoBursts = {{1.0, 2.0}, {3.0, 3.5}};
const Spans kTwoSentences = {{0.7, 2.2}, {2.7, 3.7}};

TEST_F(Program, TableForPeople) {
  const Outcome run = Segment({Wav("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, StartsWith("     begin       end  duration     vol      eg\n      0.70      2.20      1.50"));
  EXPECT_THAT(run.out, HasSubstr("\n      2.70      3.70      1.00"));
  EXPECT_THAT(run.out, HasSubstr("\n2 sentences, 2.50 s of speech in 5.00 s\n"));
}

TEST_F(Program, LevelIsThatOfTheSentence) {
  // 100 of the 150 frames of the sentence hold the square wave of 8000: its root mean square is 8000 * sqrt(2 / 3) = 6532, 76.30 dB.
  const Outcome run = Segment({"--format", "json", Wav("a.wav", 5, kTwoBursts)});
  const nlohmann::json sentence = nlohmann::json::parse(run.out)["files"][0]["sentences"][0];
  EXPECT_EQ(sentence["eg"], 76.3);
  EXPECT_EQ(sentence["trig"], false);
}

TEST_F(Program, FormatsOfFilesDoNotMatter) {
  const std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  for (const auto& [name, format] :
       {std::pair("a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16), std::pair("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT),
        std::pair("b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24), std::pair("a.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16),
        std::pair("a.au", SF_FORMAT_AU | SF_FORMAT_PCM_16)}) {
    const std::string path = folder_.file(name);
    WriteAudio(path, signal, 16000, 1, format);
    const Outcome run = Segment({"--format", "json", path});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(Found(run.out), kTwoSentences) << name;
  }
}

TEST_F(Program, AnyRateIsResampled) {
  for (const int rate : {8000, 11025, 22050, 44100, 48000, 96000}) {
    const Outcome run = Segment({"--format", "json", Wav("a.wav", 5, kTwoBursts, rate)});
    const Spans found = Found(run.out);
    ASSERT_EQ(found.size(), 2U) << rate;
    for (size_t i = 0; i < 2; ++i) {
      EXPECT_NEAR(found[i].first, kTwoSentences[i].first, 0.02) << rate;  // the filter's ringing reaches a frame further
      EXPECT_NEAR(found[i].second, kTwoSentences[i].second, 0.02) << rate;
    }
  }
}

TEST_F(Program, ChannelsAreMixedOrChosen) {
  const std::vector<int16_t> left = Bursts(5, {{1.0, 2.0}});
  const std::vector<int16_t> right = Bursts(5, {{3.0, 3.5}});
  std::vector<int16_t> stereo;
  for (size_t i = 0; i < left.size(); ++i) {
    stereo.push_back(left[i]);
    stereo.push_back(right[i]);
  }
  const std::string path = folder_.file("stereo.wav");
  WriteAudio(path, stereo, 16000, 2);
  EXPECT_EQ(Found(Segment({"--format", "json", path}).out), kTwoSentences);
  EXPECT_EQ(Found(Segment({"--format", "json", "--channel", "1", path}).out), Spans{kTwoSentences[0]});
  EXPECT_EQ(Found(Segment({"--format", "json", "--channel", "2", path}).out), Spans{kTwoSentences[1]});
  ExpectFailure(Segment({"--quiet", "-f", "csv", "-o", folder_.file("x"), "--channel", "3", path}), 5, "no channel 3");
}

TEST_F(Program, ChunkLengthChangesNothing) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  for (const char* ms : {"1", "10", "25", "333", "10000"}) {
    EXPECT_EQ(Found(Segment({"--format", "json", "--chunk-ms", ms, path}).out), kTwoSentences) << ms;
  }
}

TEST_F(Program, StandardInputGivesWhatTheFileGives) {
  input_ = Bytes(Bursts(5, kTwoBursts)) + "x";  // an odd byte at the end is dropped
  EXPECT_EQ(Found(Segment({"--format", "json", "-"}).out), kTwoSentences);
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Segment({"-"}).out, Segment({path}).out);
}

TEST_F(Program, StandardInputHasRateAndChannels) {
  std::vector<int16_t> stereo;
  for (const int16_t sample : Bursts(5, kTwoBursts, 32000)) stereo.insert(stereo.end(), {sample, sample});
  input_ = Bytes(stereo);
  const Spans found = Found(Segment({"--format", "json", "--rate", "32000", "--channels", "2", "-"}).out);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_NEAR(found[1].second, 3.7, 0.02);
}

TEST_F(Program, SentencesOfALiveSourceComeAtOnce) {
  int to_child[2];
  int from_child[2];
  ASSERT_EQ(pipe(to_child), 0);
  ASSERT_EQ(pipe(from_child), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(to_child[0], 0);
    dup2(from_child[1], 1);
    close(to_child[1]);
    close(from_child[0]);
    execl(WVAD_PROGRAM, "wvad", "segment", "--model", WVAD_TEST_MODEL, "-f", "jsonl", "-", static_cast<char*>(nullptr));
    _exit(99);
  }
  close(to_child[0]);
  close(from_child[1]);
  // 3.5 s of audio hold the end of the first sentence and its gap of 0.4 s. The source then stays open.
  const std::string bytes = Bytes(Bursts(3.5, {{1.0, 2.0}}));
  ASSERT_EQ(write(to_child[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  std::string line;
  for (char c = 0; c != '\n' && read(from_child[0], &c, 1) == 1;) line += c;
  EXPECT_EQ(nlohmann::json::parse(line)["end"], 2.2);
  close(to_child[1]);
  close(from_child[0]);
  int status = 0;
  waitpid(child, &status, 0);
}

TEST_F(Program, SeveralFilesAreNamedAndOneBadFileSpoilsOnlyItself) {
  const std::string a = Wav("a.wav", 5, kTwoBursts);
  const std::string b = Wav("b.wav", 3, {{1.0, 2.0}});
  const Outcome run = Segment({a, folder_.file("missing.wav"), b});
  EXPECT_EQ(run.code, 3);
  EXPECT_EQ(Lines(run.err), 1) << run.err;
  EXPECT_THAT(run.out, StartsWith(a + "\n"));
  EXPECT_THAT(run.out, HasSubstr("\n" + b + "\n"));
  EXPECT_THAT(run.out, HasSubstr("1 sentence, 1.50 s of speech in 3.00 s"));
}

TEST_F(Program, RelativePathsAndOutputFile) {
  Wav("a.wav", 5, kTwoBursts);
  current_ = folder_.path();
  const Outcome run = Segment({"-f", "csv", "-o", "out.csv", "a.wav"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(folder_.read("out.csv"), StartsWith("file,begin,end,duration,vol,trig,eg\na.wav,0.70,2.20,1.50,"));
}

TEST_F(Program, CurrentFolderMayBeGone) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  current_ = folder_.file("gone");
  std::filesystem::create_directory(current_);
  remove_current_ = true;
  EXPECT_EQ(Found(Segment({"--format", "json", path}).out), kTwoSentences);
  std::filesystem::create_directory(current_);
  ExpectFailure(Segment({"--quiet", "-f", "csv", "-o", folder_.file("x"), "a.wav"}), 3, "a.wav: no such file");
}

TEST_F(Program, NothingIsLeftBehind) {
  const std::string temporary = folder_.file("tmp");
  std::filesystem::create_directory(temporary);
  current_ = folder_.file("work");
  std::filesystem::create_directory(current_);
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  setenv("TMPDIR", temporary.c_str(), 1);
  EXPECT_EQ(Segment({path}).code, 0);
  ExpectFailure(Call({"segment", "-m", "/dev/null", path}), 7, "not a model file");
  unsetenv("TMPDIR");
  // The lock that loggers of one user share stays, as locks do.
  for (const auto& entry : std::filesystem::directory_iterator(temporary)) EXPECT_EQ(entry.path().extension(), ".lock") << entry.path();
  EXPECT_TRUE(std::filesystem::is_empty(current_));
}

TEST_F(Program, EndpointStopsAtTheTail) {
  // The sentence is over at 2.0 s; its tail of 1.8 s is used up 1.81 s later, when 3.81 s and the engine's look-ahead have been heard.
  const Outcome run = Segment({"--endpoint", "--format", "json", Wav("a.wav", 10, {{1.0, 2.0}, {7.0, 8.0}})});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(Found(run.out), Spans{kTwoSentences[0]});
  const nlohmann::json file = nlohmann::json::parse(run.out)["files"][0];
  EXPECT_EQ(file["stopped_by"], "tail silence");
  EXPECT_GE(file["heard"].get<double>(), 3.8);
  EXPECT_LE(file["heard"].get<double>(), 4.2);
}

TEST_F(Program, EndpointStopsWithoutSpeech) {
  const Outcome run = Segment({"--endpoint", "--set", "wvad_param_nResponseTimeOut=2000", Wav("a.wav", 10, {{7.0, 8.0}})});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.out, HasSubstr(" s: no speech\n"));
  EXPECT_THAT(run.out, HasSubstr("0 sentences"));
}

TEST_F(Program, EndpointAtTheEndOfTheAudio) {
  const Outcome run = Segment({"--endpoint", Wav("a.wav", 3, {{1.0, 2.0}})});
  EXPECT_THAT(run.out, HasSubstr("stopped at 3.00 s: end of audio\n"));
}

TEST_F(Program, LongPauseDoesNotEndTheRecording) {
  EXPECT_EQ(Found(Segment({"--format", "json", Wav("a.wav", 40, {{15.0, 16.0}, {38.0, 39.0}})}).out), (Spans{{14.7, 16.2}, {37.7, 39.2}}));
}

TEST_F(Program, SetReachesTheEngine) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Found(Segment({"--format", "json", "--set", "wvad_param_nFrameGap=150", path}).out), (Spans{{0.7, 3.7}}));
  EXPECT_EQ(Found(Segment({"--format", "json", "-s", "wvad_param_nFrameStartMargin=0", "-s", "wvad_param_nFrameEndMargin=0", path}).out),
            (Spans{{1.0, 2.0}, {3.0, 3.5}}));
  EXPECT_EQ(Found(Segment({"--format", "json", "--set", "VAD_PARAM_SAMPLERATE=8000", path}).out).size(), 2U);
}

TEST_F(Program, QualityResultsComeWithTheComponentOn) {
  const Outcome run = Segment({"--format", "json", "--set", "wvad_param_bKelOn=1", Wav("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(Found(run.out), kTwoSentences);
  std::vector<std::string> keys;
  const nlohmann::json document = nlohmann::json::parse(run.out);
  for (const nlohmann::json& row : document["files"][0].at("results")) keys.push_back(row["key"]);
  EXPECT_THAT(keys, ::testing::Contains("snr"));
  EXPECT_THAT(keys, ::testing::Contains("cur"));
}

TEST_F(Program, QuietRecordingIsAdvisedAndGainHelps) {
  std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  for (int16_t& sample : signal) sample = static_cast<int16_t>(sample / 100);  // -52 dB
  const std::string path = folder_.file("quiet.wav");
  WriteAudio(path, signal);
  const Outcome run = Segment({path});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.err, HasSubstr("note: the recording is very quiet (loudest 10 ms at -52 dB"));
  EXPECT_EQ(Segment({"--quiet", path}).err, "");
  EXPECT_EQ(Found(Segment({"--format", "json", "--gain", "auto", path}).out).size(), 2U);
  EXPECT_EQ(Found(Segment({"--format", "json", "--gain", "30", path}).out).size(), 2U);
}

TEST_F(Program, EachFailureHasItsCodeAndOneLine) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string text = folder_.write("notes.txt", "this is no audio\n");
  const std::string empty = folder_.write("empty.wav", "");
  const std::string out = folder_.file("out");
  const auto fails = [&](std::vector<std::string> arguments, int code, const std::string& words) {
    SCOPED_TRACE(words);
    arguments.insert(arguments.begin(), {"-f", "csv", "-o", out});
    ExpectFailure(Segment(arguments), code, words);
  };
  fails({folder_.file("no.wav")}, 3, "no.wav: no such file");
  fails({folder_.path()}, 3, "is a folder");
  fails({text}, 4, "notes.txt: not an audio file");
  fails({empty}, 4, "empty.wav: not an audio file");
  fails({"--rate", "20", "-"}, 5, "unsupported sample rate 20 Hz");
  fails({"--set", "VAD_PARAM_SAMPLERATE=11025", good}, 5, "does not support a sample rate of 11025");
  fails({"--set", "wvad_param_nothing=1", good}, 6, "wvad_param_nothing: there is no such parameter");
  fails({"--set", "wvad_param_nFrameGap=12a", good}, 6, "\"12a\" is not a value");
  fails({"--set", "wvad_param_nFrameGap=" + std::string(300, '1'), good}, 6, "too long");
  fails({"--set", std::string(300, 'x') + "=1", good}, 6, "WVAD_ERROR_PARAM_TOO_LONG (14020)");
  fails({"--set", "VAD_PARAM_MARGIN=1", good}, 6, "cannot be set");
  fails({"--set", "wvad_param_nFrameEndMargin=-1", good}, 6, "margin below 0");
  fails({"--config", folder_.file("no.cfg"), good}, 6, "no.cfg: the configuration file cannot be opened");
  fails({"--gain", "auto", "-"}, 2, "needs a file");
  fails({"--gain", "loud", good}, 2, "--gain loud");
  fails({"--channel", "0", good}, 2, "--channel 0");
  fails({"--format", "xml", good}, 2, "xml");
  fails({"--chunk-ms", "0", good}, 2, "--chunk-ms");
  fails({"--no-such-option", good}, 2, "--no-such-option");
  fails({}, 2, "FILE");
}

TEST_F(Program, BadModelsHaveTheirWords) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  std::string model;
  {
    std::ifstream in(WVAD_TEST_MODEL, std::ios::binary);
    model.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  const auto fails = [&](const std::string& name, const std::string& words) {
    SCOPED_TRACE(name);
    ExpectFailure(Call({"segment", "--model", name, good}), 7, words);
  };
  fails("nowhere", "there is no such model (looked in ");
  fails("./nowhere.bin", "there is no such model file");
  fails(folder_.path() + "/", "there is no such model file");
  fails(folder_.write("foreign.bin", std::string(5000, 'x')), "not a model file of this engine");
  fails(folder_.write("empty.bin", ""), "not a model file of this engine");
  fails(folder_.write("short.bin", model.substr(0, 20000)), "RES_MGR_ERROR_RESOURCE_UNREADABLE (30002)");
  std::string unknown = model;
  unknown.replace(unknown.find("MLP_RES_DNN"), 11, "MLP_RES_XYZ");
  fails(folder_.write("unknown.bin", unknown), "RES_MGR_ERROR_RESOURCE_TYPE (30011)");
}

TEST_F(Program, ModelIsFoundByNameInTheFolderOfModels) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  std::filesystem::create_directory(folder_.file("models"));
  std::filesystem::copy_file(WVAD_TEST_MODEL, folder_.file("models/mine.bin"));
  for (const char* name : {"mine", "mine.bin"}) {
    EXPECT_EQ(Call({"segment", "--models-dir", folder_.file("models"), "-m", name, good}).code, 0) << name;
  }
  setenv("WVAD_MODELS_DIR", folder_.file("models").c_str(), 1);
  EXPECT_EQ(Call({"segment", "-m", "mine", good}).code, 0);
  unsetenv("WVAD_MODELS_DIR");
  // A path with characters that mean something in a configuration file.
  std::filesystem::create_directory(folder_.file("o'dd \"na\\me\" ="));
  std::filesystem::copy_file(WVAD_TEST_MODEL, folder_.file("o'dd \"na\\me\" =/m.bin"));
  EXPECT_EQ(Call({"segment", "-m", folder_.file("o'dd \"na\\me\" =/m.bin"), good}).code, 0);
  current_ = folder_.file("models");
  EXPECT_EQ(Call({"segment", "-m", "./mine.bin", good}).code, 0);
}

TEST_F(Program, OutputThatCannotBeWritten) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  ExpectFailure(Segment({"-o", folder_.file("no/such/folder"), good}), 8, "No such file or directory");
  ExpectFailure(Segment({"-o", folder_.path(), good}), 8, "Is a directory");
  ExpectFailure(Segment({"-o", "/dev/full", good}), 8, "No space left on device");
  output_ = "/dev/full";
  ExpectFailure(Segment({good}), 8, "standard output: cannot be written: No space left on device");
}

TEST_F(Program, BrokenPipeIsAFailureNotASignal) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  output_ = "/dev/fd/" + std::to_string(ends[1]);
  ExpectFailure(Segment({good}), 8, "Broken pipe");
  close(ends[1]);
}

TEST_F(Program, HelpAndVersion) {
  const Outcome version = Call({"--version"});
  EXPECT_EQ(version.code, 0);
  EXPECT_THAT(version.out, StartsWith("wvad 0."));
  const Outcome help = Call({"segment", "--help"});
  EXPECT_EQ(help.code, 0);
  for (const char* words : {"--chunk-ms", "--format", "--endpoint", "--set", "--model", "--channel", "--rate", "Exit codes:"}) {
    EXPECT_THAT(help.out, HasSubstr(words));
  }
  EXPECT_EQ(Call({"--help"}).code, 0);
  ExpectFailure(Call({}), 2, "subcommand");
  ExpectFailure(Call({"unknown"}), 2, "no such command: unknown");
}

TEST_F(Program, ModelInspect) {
  const Outcome text = Call({"model", "inspect", WVAD_TEST_MODEL});
  EXPECT_EQ(text.code, 0);
  EXPECT_THAT(text.out, HasSubstr("weights12"));
  const nlohmann::json json = nlohmann::json::parse(Call({"model", "inspect", "--json", WVAD_TEST_MODEL}).out);
  EXPECT_EQ(json["variables"].size(), 7U);
  ExpectFailure(Call({"model", "inspect", folder_.write("x", "nothing")}), 7, "x");
  ExpectFailure(Call({"model", "inspect", folder_.file("none")}), 7, "none");
}

// A .npy file of little-endian floats.
std::string Npy(const std::vector<float>& values, const std::string& shape) {
  std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': " + shape + ", }";
  header.resize(117, ' ');
  header += '\n';
  std::string file = std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(header.size()) + '\0' + header;
  file.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
  return file;
}

TEST_F(Program, ModelPackMakesAModelThatRuns) {
  folder_.write("model/model.json", R"({"network_type": "MLP_RES_DNN",
    "keys": [["0","1"],["1","0"],["2","dnn_fb75"],["3","32"],["4","16000"],["5","0"],["6","0"]],
    "variables": [{"name":"mean"},{"name":"var"},{"name":"pri"},{"name":"weights12","shift":12},{"name":"bias2","shift":16},
                  {"name":"weights23","shift":4},{"name":"bias3","shift":11}]})");
  folder_.write("model/mean.npy", Npy(std::vector<float>(75, 0.0F), "(75,)"));
  folder_.write("model/var.npy", Npy(std::vector<float>(75, 1.0F), "(75,)"));
  folder_.write("model/pri.npy", Npy({0.5F, 0.5F}, "(2,)"));
  folder_.write("model/weights12.npy", Npy(std::vector<float>(32 * 825, 0.0F), "(32, 825)"));
  folder_.write("model/bias2.npy", Npy(std::vector<float>(32, 0.0F), "(32,)"));
  folder_.write("model/weights23.npy", Npy(std::vector<float>(64, 0.0F), "(2, 32)"));
  folder_.write("model/bias3.npy", Npy({4.0F, -4.0F}, "(2,)"));
  const Outcome pack = Call({"model", "pack", folder_.file("model"), "-o", folder_.file("mine.bin")});
  EXPECT_EQ(pack.code, 0) << pack.err;
  const Outcome run = Call({"segment", "-m", folder_.file("mine.bin"), "--format", "json", Wav("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(Found(run.out), kTwoSentences);
  ExpectFailure(Call({"model", "pack", folder_.file("nothing"), "-o", folder_.file("x.bin")}), 7, "nothing");
  ExpectFailure(Call({"model", "pack", folder_.file("model"), "-o", folder_.file("no/x.bin")}), 8, "x.bin");
}

}  // namespace
}  // namespace TSEG::tool
