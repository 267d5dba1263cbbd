// SPDX-License-Identifier: Apache-2.0
//
// The command line as somebody meets it who does not know it: help, guesses, completions, colours.
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "support/environment.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

class CommandLineHelp : public Program {
 protected:
  // What a shell says to a script, by lines; fails the test where it does not end well.
  std::string Says(const std::string& shell, const std::string& script) {
    const std::string path = folder_.write("script", script);
    const std::string call = "cd " + folder_.path() + " && " + shell + " script >said 2>&1";
    EXPECT_EQ(std::system(call.c_str()), 0) << folder_.read("said");
    return folder_.read("said");
  }
  bool Has(const std::string& shell) { return std::system(("command -v " + shell + " >/dev/null").c_str()) == 0; }
  void Write(const std::string& shell, const std::string& name) {
    const Outcome run = Call({"completions", shell});
    EXPECT_EQ(run.code, 0) << run.err;
    folder_.write(name, run.out);
  }
};

TEST_F(CommandLineHelp, VersionHasAShortName) {
  const Outcome run = Call({"-V"});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.out, StartsWith("wvad "));
  EXPECT_EQ(run.out, Call({"--version"}).out);
}

TEST_F(CommandLineHelp, HelpIsACommandToo) {
  EXPECT_EQ(Call({"help"}).out, Call({"--help"}).out);
  for (const char* command : {"segment", "scores", "completions"}) {
    const Outcome run = Call({"help", command});
    EXPECT_EQ(run.code, 0) << command;
    EXPECT_EQ(run.out, Call({command, "--help"}).out) << command;
  }
  EXPECT_EQ(Call({"help", "model", "pack"}).out, Call({"model", "pack", "--help"}).out);
  ExpectFailure(Call({"help", "segmnet"}), 2, "no such command: segmnet (did you mean segment?)");
}

TEST_F(CommandLineHelp, HelpOfANarrowTerminalBreaksWhereverThereIsABlank) {
  for (const size_t width : {20U, 30U, 40U}) {
    const testing_support::ScopedVariable columns("COLUMNS", std::to_string(width));
    const std::string help = Call({"--help-all"}).out;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) {
      if (line.size() <= width) continue;
      EXPECT_EQ(line.find(' ', line.find_first_not_of(' ')), std::string::npos) << width << ": " << line;
    }
  }
}

TEST_F(CommandLineHelp, HelpFitsTheTerminal) {
  for (const size_t width : {50U, 60U, 80U, 120U}) {
    const testing_support::ScopedVariable columns("COLUMNS", std::to_string(width));
    for (const std::vector<std::string>& call : {std::vector<std::string>{"--help"},
                                                 {"segment", "--help"},
                                                 {"compare", "--help"},
                                                 {"report", "--help"},
                                                 {"model", "inspect", "--help"},
                                                 {"--help-all"}}) {
      const std::string help = Call(call).out;
      size_t longest = 0;
      for (size_t begin = 0; begin < help.size();) {
        const size_t end = help.find('\n', begin);
        longest = std::max(longest, end - begin);
        begin = end + 1;
      }
      EXPECT_LE(longest, width) << call[0];
      EXPECT_GT(longest, width * 3 / 4) << call[0];
    }
  }
  // Words stand beside the options that they belong to.
  EXPECT_THAT(Call({"segment", "--help"}).out, HasSubstr("\n  --track N" + std::string(12, ' ') + "Sound track to listen to"));
}

TEST_F(CommandLineHelp, CommandsForOneRecordingOfferNoMoreThanTheyTake) {
  for (const char* command : {"trim", "mute", "report"}) {
    const std::string help = Call({command, "--help"}).out;
    EXPECT_THAT(help, HasSubstr("[FILE]\n")) << command;
    for (const char* refused : {"FILE ...", "--recursive", "--files-from", "N|mix|all"})
      EXPECT_THAT(help, ::testing::Not(HasSubstr(refused))) << command;
    ExpectFailure(Call({command, "-o", "o.wav", "a.wav", "b.wav"}), 2,
                  "b.wav: several recordings; call " + std::string(command) + " once for each");
  }
  for (const char* command : {"scores", "explain"}) {
    const std::string help = Call({command, "--help"}).out;
    EXPECT_THAT(help, HasSubstr("[FILE...]\n")) << command;
    EXPECT_THAT(help, ::testing::Not(HasSubstr("N|mix|all"))) << command;
  }
  EXPECT_THAT(Call({"segment", "--help"}).out, HasSubstr("N|mix|all"));
}

TEST_F(CommandLineHelp, MistypedNamesAreGuessed) {
  ExpectFailure(Call({"segmnet", "a.wav"}), 2, "no such command: segmnet (did you mean segment?) (see --help)");
  ExpectFailure(Call({"model", "inspct", "a"}), 2, "no such command: inspct (did you mean inspect?)");
  ExpectFailure(Segment({"--formt", "json", "a.wav"}), 2, "(did you mean --format?)");
  ExpectFailure(Segment({"--gian=3", "a.wav"}), 2, "(did you mean --gain?)");
  ExpectFailure(Segment({"--inc", "*.wav", "a.wav"}), 2, "(did you mean --include?)");
  const Outcome far = Segment({"--zzzzzzzz", "a.wav"});
  EXPECT_EQ(far.code, 2);
  EXPECT_THAT(far.err, ::testing::Not(HasSubstr("did you mean")));
  // A recording in the place of a command.
  const std::string path = Wav("a.wav", 1, {});
  ExpectFailure(Call({path}), 2, "a command is expected first: wvad segment " + path);
}

TEST_F(CommandLineHelp, CompletionsEndADescriptionBehindItsFirstClause) {
  const std::string fish = Call({"completions", "fish"}).out;
  const std::string zsh = Call({"completions", "zsh"}).out;
  for (const char* words : {"Probability of speech from which 10 ms are speech, 0.01 to 0.99",
                            "Make a model file from a folder of arrays and its model.json", "Longest sentence, 2 to 3600"}) {
    EXPECT_THAT(fish, HasSubstr(" -d '" + std::string(words) + "'\n"));
  }
  EXPECT_THAT(zsh, HasSubstr("--threshold'[Probability of speech from which 10 ms are speech, 0.01 to 0.99]"));
}

TEST_F(CommandLineHelp, BashCompletes) {
  if (!Has("bash")) GTEST_SKIP() << "no bash";
  Write("bash", "wvad");
  const auto completed = [&](const std::string& words, int at) {
    return Says("bash", "source ./wvad\nCOMP_WORDS=(" + words + ")\nCOMP_CWORD=" + std::to_string(at) + "\n_wvad\necho ${COMPREPLY[@]}\n");
  };
  EXPECT_EQ(completed("wvad se", 1), "segment\n");
  EXPECT_EQ(completed("wvad model ''", 2), "pack inspect --help --help-all\n");
  EXPECT_EQ(completed("wvad segment --form", 2), "--format\n");
  EXPECT_EQ(completed("wvad segment -f js", 3), "json jsonl\n");
  EXPECT_EQ(completed("wvad segment --channel ''", 3), "mix all\n");
  EXPECT_EQ(completed("wvad model pack --f", 3), "--force\n");
  EXPECT_EQ(completed("wvad completions f", 2), "fish\n");
  EXPECT_EQ(completed("wvad help scor", 2), "scores\n");
  EXPECT_EQ(completed("wvad help model ''", 3), "pack inspect\n");
  EXPECT_EQ(completed("wvad help segment ''", 3), "\n");
  EXPECT_EQ(completed("wvad segment --fps 2", 3), "24 25\n");
  EXPECT_EQ(completed("wvad segment -f csv,js", 3), "csv,json csv,jsonl\n");
  EXPECT_EQ(completed("wvad segment --format = js", 4), "json jsonl\n");
  EXPECT_EQ(completed("wvad segment --raw =", 3), "s16 s24 s32 f32 u8 mulaw alaw\n");
  EXPECT_EQ(completed("wvad segment -m lstm_fb40", 3), "lstm_fb40 lstm_fb40_8k\n");
  EXPECT_EQ(completed("wvad segment -m ./m", 3), "\n");  // left to the shell, as a file
  EXPECT_EQ(completed("wvad segment --set wvad_param_vad_thr", 3), "wvad_param_vad_threshold=\n");
  EXPECT_EQ(completed("wvad report --compare dnn_fb75,wvad_param_vad_thr", 3), "dnn_fb75,wvad_param_vad_threshold=\n");
  EXPECT_EQ(completed("wvad model inspect dnn", 3), "dnn_fb75\n");
  EXPECT_EQ(completed("wvad segment ta", 2), "\n");  // files
  EXPECT_EQ(Says("bash", "source ./wvad\ncomplete -p wvad\n"), "complete -o bashdefault -o default -F _wvad wvad\n");
}

TEST_F(CommandLineHelp, FishCompletes) {
  if (!Has("fish")) GTEST_SKIP() << "no fish";
  Write("fish", "wvad.fish");
  const auto completed = [&](const std::string& line) {
    return Says("env HOME=" + folder_.path() + " fish --no-config", "source ./wvad.fish\ncomplete -C '" + line + "' | cut -f 1\n");
  };
  EXPECT_EQ(completed("wvad seg"), "segment\n");
  EXPECT_EQ(completed("wvad model in"), "inspect\n");
  EXPECT_EQ(completed("wvad segment --form"), "--format\n");
  EXPECT_EQ(completed("wvad segment --format js"), "json\njsonl\n");
  EXPECT_EQ(completed("wvad model pack --fo"), "--force\n");
  EXPECT_EQ(completed("wvad help scor"), "scores\n");
  EXPECT_EQ(completed("wvad completions z"), "zsh\n");
  EXPECT_EQ(completed("wvad segment -f csv,js"), "csv,json\ncsv,jsonl\n");
  EXPECT_EQ(completed("wvad segment --fps 3"), "30\n");
  EXPECT_EQ(completed("wvad segment --model dnn"), "dnn_fb75\n");
  EXPECT_EQ(completed("wvad segment --set wvad_param_vad_thr"), "wvad_param_vad_threshold=\n");
}

TEST_F(CommandLineHelp, ZshCompletes) {
  if (!Has("zsh")) GTEST_SKIP() << "no zsh";
  Write("zsh", "_wvad");
  // Shells in terminals of their own, which are typed at when they edit a line (bracketed paste is on then, 2004h) and say what has become
  // of it at the key.
  const std::string script = R"(
zmodload zsh/zpty
show() {
  zpty shell zsh -f -i
  zpty -w shell 'PS1=; fpath=($PWD $fpath); autoload -U compinit; compinit -D -u'
  zpty -w shell 'tell() { zle complete-word; print -r -- "li''ne<$BUFFER>" }; zle -N tell; bindkey "^T" tell; echo rea''dy'
  zpty -r -m shell junk '*ready*2004h*'
  zpty -n -w shell "$1"$'\x14'
  zpty -r -m shell text '*line<*>*'
  zpty -d shell
  print -r -- "$text"
}
show 'wvad segm'
show 'wvad segment --recur'
show 'wvad model insp'
show 'wvad help scor'
show 'wvad completions fi'
show 'wvad segment -f csv,rt'
show 'wvad segment --model dnn'
show 'wvad segment --set wvad_param_vad_thr'
show 'wvad report --compare dnn_fb75,wvad_param_vad_thr'
)";
  const std::string said = Says("env HOME=" + folder_.path() + " TERM=xterm zsh -f", script);
  EXPECT_THAT(said, HasSubstr("line<wvad segment >"));
  EXPECT_THAT(said, HasSubstr("line<wvad segment --recursive >"));
  EXPECT_THAT(said, HasSubstr("line<wvad model inspect >"));
  EXPECT_THAT(said, HasSubstr("line<wvad help scores >"));
  EXPECT_THAT(said, HasSubstr("line<wvad completions fish >"));
  EXPECT_THAT(said, HasSubstr("line<wvad segment -f csv,rttm"));
  EXPECT_THAT(said, HasSubstr("line<wvad segment --model dnn_fb75 >"));
  EXPECT_THAT(said, HasSubstr("line<wvad segment --set wvad_param_vad_threshold=>"));
  EXPECT_THAT(said, HasSubstr("line<wvad report --compare dnn_fb75,wvad_param_vad_threshold=>"));
  EXPECT_EQ(Says("zsh -n", folder_.read("_wvad")), "");
}

TEST_F(CommandLineHelp, FailuresAreColouredOnDemandOnly) {
  const auto failure = [&](const std::string& environment) {
    const std::string call = environment + " " + WVAD_PROGRAM + " segment -m " + WVAD_TEST_MODEL + " " + folder_.file("no.wav") +
                             " >/dev/null 2>" + folder_.file("err");
    EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 3);
    return folder_.read("err");
  };
  const std::string plain = "wvad: " + folder_.file("no.wav") + ": no such file\n";
  EXPECT_EQ(failure("TERM=xterm"), plain);
  EXPECT_EQ(failure("TERM=xterm CLICOLOR_FORCE=1"), "\x1b[1;31mwvad:\x1b[0m " + folder_.file("no.wav") + ": no such file\n");
  EXPECT_EQ(failure("TERM=xterm CLICOLOR_FORCE=1 NO_COLOR=1"), plain);
  // A name colours nothing and makes no second line.
  ExpectFailure(Segment({"-o", folder_.file("no"), "red\x1b[31m\n.wav"}), 3, "wvad: red\\x1b[31m\\n.wav: no such file\n");
}

}  // namespace
}  // namespace TSEG::tool
