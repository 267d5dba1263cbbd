// SPDX-License-Identifier: Apache-2.0
//
// The program and its surroundings: failures and their words, models, folders, outputs, the model command.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/environment.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {
TEST_F(Program, CurrentFolderMayBeGone) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  current_ = folder_.file("gone");
  std::filesystem::create_directory(current_);
  remove_current_ = true;
  EXPECT_EQ(Found(Segment({"--format", "json", path}).out), kTwoSentences);
  std::filesystem::create_directory(current_);
  ExpectFailure(Segment({"--quiet", "-f", "csv", "-o", folder_.file("x"), "a.wav"}), 3, "a.wav: no such file");
}

// A copy of the program in a folder of its own: the engine's log would lie in the folder "log" beside it.
TEST_F(Program, NothingIsLeftBehind) {
  const std::string temporary = folder_.file("tmp"), here = folder_.file("work"), beside = folder_.file("installed/bin");
  for (const std::string& folder : {temporary, here, beside}) std::filesystem::create_directories(folder);
  std::filesystem::copy_file(WVAD_PROGRAM, beside + "/wvad");
  const std::string path = Wav("a.wav", 5, kTwoBursts),
                    call = "cd " + here + " && TMPDIR=" + temporary + " " + beside + "/wvad segment -q ";
  const auto result = [&](const std::string& rest) {
    return WEXITSTATUS(std::system((call + rest + " >" + folder_.file("out") + " 2>&1").c_str()));
  };
  EXPECT_EQ(result("-m " WVAD_TEST_MODEL " " + path), 0);
  EXPECT_EQ(result("-m /dev/null " + path), 7);
  // The lock that loggers of one user share stays, as locks do.
  for (const auto& entry : std::filesystem::directory_iterator(temporary)) EXPECT_EQ(entry.path().extension(), ".lock") << entry.path();
  EXPECT_TRUE(std::filesystem::is_empty(here));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("installed/log")));

  // Nor where the library's settings of its log lie beside it: they might name a recording as the log.
  const std::string before = folder_.read("a.wav");
  folder_.write("installed/bin/tseg.cfu", "[logger]\nfile = " + path + "\nmode = 2\nlevel = all\n");
  EXPECT_EQ(result("-m " WVAD_TEST_MODEL " " + path), 0);
  EXPECT_EQ(folder_.read("a.wav"), before);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("installed/log")));
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
  fails({"--exclude", "*", folder_.path()}, 3, "there is no recording");
  fails({text}, 4, "notes.txt: not an audio file");
  fails({empty}, 4, "empty.wav: not an audio file");
  for (const char* rate : {"20", "0", "-1", "abc", "", "0x3e80", " 16000", "16000 ", "1e4", "768001", "99999999999"}) {
    fails({"--rate", rate, "-"}, 2, std::string("--rate: \"") + rate + "\" is not a whole number from 1000 to 768000");
  }
  fails({"--chunk-ms", "0x10", good}, 2, "--chunk-ms: \"0x10\" is not a whole number from 1 to 10000");
  fails({"--channels", " 2", "-"}, 2, "--channels: \" 2\" is not a whole number from 1 to 64");
  fails({"--track", "0x1", good}, 2, "--track: \"0x1\" is not a whole number from 1 to 1000");
  fails({"-", "-"}, 2, "- is given twice");
  fails({"--set", "VAD_PARAM_SAMPLERATE=11025", good}, 5, "does not support a sample rate of 11025");
  fails({"--set", "wvad_param_nothing=1", good}, 6, "wvad_param_nothing: there is no such parameter");
  fails({"--set", "wvad_param_nFrameGap=12a", good}, 6, "wvad_param_nFrameGap: \"12a\" is not a whole number (0 to 6000 frames)");
  fails({"--set", "wvad_param_nFrameGap=" + std::string(300, '1'), good}, 6, "too long");
  fails({"--set", std::string(300, 'x') + "=1", good}, 6, "WVAD_ERROR_PARAM_TOO_LONG (14020)");
  fails({"--set", "VAD_PARAM_MARGIN=1", good}, 6, "cannot be set");
  fails({"--set", "wvad_param_nFrameEndMargin=-1", good}, 6, "wvad_param_nFrameEndMargin: \"-1\" is out of range (0 to 3000 frames)");
  fails({"--config", folder_.file("no.cfg"), good}, 6, "no.cfg: no such file");
  fails({"--gain", "auto", "-"}, 2, "--gain auto hears a recording twice");
  fails({"--gain", "loud", good}, 2, "--gain loud");
  fails({"--channel", "0", good}, 2, "--channel 0");
  fails({"--format", "xml", good}, 2, "xml");
  fails({"--chunk-ms", "0", good}, 2, "--chunk-ms");
  fails({"--no-such-option", good}, 2, "--no-such-option");
  fails({}, 2, "FILE");
}

TEST_F(Program, NamesAreShownInOneLineAndKeptInFormsForPrograms) {
  const std::string red = Wav("no\n\x1b[31mfile\xff.wav", 5, kTwoBursts);
  const std::string other = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string shown = folder_.file("no\\n\\x1b[31mfile\\xff.wav");
  EXPECT_THAT(Segment({red, other}).out, StartsWith(shown + "\n     begin"));
  EXPECT_THAT(Run("scores", {red, other}).out, StartsWith("# " + shown + "\n0.00 "));
  EXPECT_THAT(Run("split", {"-d", folder_.file("out"), "--prefix", "x\ny", red}).out, HasSubstr("/out/x\\ny-0001.wav\n"));
  EXPECT_TRUE(std::filesystem::exists(folder_.file("out/x\ny-0001.wav")));
  EXPECT_EQ(nlohmann::json::parse(Segment({"-f", "json", folder_.file("a.wav")}).out)["files"][0]["file"], other);
  EXPECT_THAT(Segment({"-f", "csv", red}).out, HasSubstr("no\n\x1b[31mfile\xff.wav"));
}

TEST_F(Program, EmptyValuesAreRefused) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  current_ = folder_.file("here");
  std::filesystem::create_directory(current_);
  ExpectFailure(Segment({"-o", "", good}), 2, "--output: its value is empty");
  ExpectFailure(Segment({"--output=", good, good}), 2, "--output: its value is empty");
  EXPECT_EQ(Segment({"-q", "--set=VAD_PARAM_SID=", good}).code, 0);
  ExpectFailure(Run("split", {"-d", "", good}), 2, "--directory: its value is empty");
  ExpectFailure(Run("split", {"--prefix", "", good}), 2, "--prefix: its value is empty");
  ExpectFailure(Segment({"--config", "", good}), 2, "--config: its value is empty");
  ExpectFailure(Segment({"--models-dir", "", good}), 2, "--models-dir: its value is empty");
  ExpectFailure(Call({"model", "pack", folder_.path(), "-o", ""}), 2, "--output: its value is empty");
  EXPECT_TRUE(std::filesystem::is_empty(current_));
}

TEST_F(Program, WhatHoldsOneValueIsGivenOnce) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  current_ = folder_.path();
  ExpectFailure(Segment({"-o", "x.txt", "--output", "y.txt", good}), 2, "--output: given twice, with \"x.txt\" and \"y.txt\"");
  ExpectFailure(Segment({"--raw", "s16", "--raw", "f32", good}), 2, "--raw: given twice");
  ExpectFailure(Segment({"-m", WVAD_TEST_MODEL, good}), 2, "--model: given twice");
  EXPECT_EQ(Segment({"-q", "-q", "-s", "wvad_param_nFrameGap=40", "-s", "wvad_param_nFrameGap=50", good}).code, 0);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("y.txt")));
}

TEST_F(Program, TooManyOpenFilesAreTheReasonThatIsNamed) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's runtime needs files of its own";
#endif
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string call = "exec >/dev/null 2>" + folder_.file("err") + " 3>&-; ulimit -n 4; exec " + WVAD_PROGRAM + " segment -q -m " +
                           WVAD_TEST_MODEL + " " + good;
  EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 7);
  EXPECT_THAT(folder_.read("err"), HasSubstr("cannot be opened: Too many open files"));
}

TEST_F(Program, ModelThatIsNotThereIsToldWhichAre) {
  std::filesystem::create_directory(folder_.file("models"));
  for (const char* name : {"models/beta.bin", "models/alpha.bin", "models/alpha.md"}) folder_.write(name, "");
  ExpectFailure(Call({"segment", "--models-dir", folder_.file("models"), "-m", "nix", Wav("a.wav", 3, {{1.0, 2.0}})}), 7,
                "nix: there is no such model (looked in " + folder_.file("models") + "; there: alpha, beta)");
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
  fails(folder_.path() + "/", folder_.path() + "/: is a folder, not a model file");
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
  {
    const testing_support::ScopedVariable models("WVAD_MODELS_DIR", folder_.file("models"));
    EXPECT_EQ(Call({"segment", "-m", "mine", good}).code, 0);
  }
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
  ExpectFailure(Segment({"-o", folder_.path(), good}), 8, "is a folder, and one file is to be written");
  ExpectFailure(Segment({"-o", "/dev/full", good}), 8, "No space left on device");
  output_ = "/dev/full";
  ExpectFailure(Segment({good}), 8, "standard output: cannot be written: No space left on device");
}

TEST_F(Program, BrokenPipeIsQuietAndNoSignal) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  output_ = "/dev/fd/" + std::to_string(ends[1]);
  // As `head` leaves it: no line, and a code for scripts that look.
  const Outcome run = Segment({good});
  EXPECT_EQ(run.code, 8);
  EXPECT_EQ(run.err, "");
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

TEST_F(Program, HelpThatCannotBeWrittenIsAFailure) {
  output_ = "/dev/full";
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"}, {"segment", "--help"}, {"--version"}}) {
    ExpectFailure(Call(arguments), 8, "standard output: cannot be written: No space left on device");
  }
}

TEST_F(Program, FileThatBeginsWithADashIsExplained) {
  Wav("-a.wav", 5, kTwoBursts);
  current_ = folder_.path();
  ExpectFailure(Segment({"-q", "-a.wav"}), 2, "-a.wav: taken for an option; the file of that name is ./-a.wav");
  EXPECT_EQ(Segment({"-q", "./-a.wav"}).code, 0);
  EXPECT_EQ(Segment({"-q", "--", "-a.wav"}).code, 0);
}

TEST_F(Program, WhatIsNoFileIsNoModelAndNoConfiguration) {
  const std::string good = Wav("a.wav", 3, {{1.0, 2.0}});
  for (const std::string& name : {std::string("/dev/zero"), folder_.path()}) {
    EXPECT_EQ(Call({"model", "inspect", name}).code, 7) << name;
    EXPECT_EQ(Call({"segment", "-q", "-m", name, good}).code, 7) << name;
    ExpectFailure(Segment({"-q", "--config", name, good}), 6, name);
  }
  ExpectFailure(Segment({"-q", "--config", "/bin/ls", good}), 6, "/bin/ls: this is no text");
}

TEST_F(Program, AdviceThatWasTakenIsNotRepeated) {
  std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  for (int16_t& sample : signal) sample = static_cast<int16_t>(sample / 8000);  // one step: -90 dB, beyond what 40 dB bring back
  WriteAudio(folder_.file("faint.wav"), signal);
  EXPECT_THAT(Segment({folder_.file("faint.wav")}).err, HasSubstr("try --gain auto"));
  EXPECT_THAT(Segment({"--gain", "auto", folder_.file("faint.wav")}).err, ::testing::Not(HasSubstr("try --gain auto")));
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

TEST_F(Program, WhatAModelSaysOfItselfDoesNotReachTheTerminalAsItStands) {
  folder_.write("model/model.json", R"({"network_type": "MLP\u001b[31mX", "keys": {"key\u001b[32m": "value\n\u009b34m"},
    "variables": [{"name": "v\u001b[33m", "file": "v.npy"}]})");
  folder_.write("model/v.npy", Npy({1.0F}, "(1,)"));
  const std::string file = folder_.file("m\x1b[35m.bin");
  const Outcome pack = Call({"model", "pack", folder_.file("model"), "-o", file});
  EXPECT_EQ(pack.code, 0) << pack.err;
  EXPECT_EQ(pack.err, "wvad: " + folder_.path() + "/m\\x1b[35m.bin: " + std::to_string(folder_.read("m\x1b[35m.bin").size()) + " bytes\n");
  const Outcome plain = Call({"model", "inspect", file});
  EXPECT_EQ(plain.code, 0) << plain.err;
  EXPECT_THAT(plain.out, HasSubstr("network type  MLP\\x1b[31mX (code "));
  EXPECT_THAT(plain.out, HasSubstr("\n  key\\x1b[32m    = value\\n\\xc2\\x9b34m\n"));
  EXPECT_THAT(plain.out, HasSubstr("\n  v\\x1b[33m float     1     1 "));
  EXPECT_EQ(plain.out.find('\x1b'), std::string::npos);
  // For programs they are what they are.
  const nlohmann::json json = nlohmann::json::parse(Call({"model", "inspect", "--json", file}).out);
  EXPECT_EQ(json["variables"][0]["name"], "v\x1b[33m");
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
