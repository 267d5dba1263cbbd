// SPDX-License-Identifier: Apache-2.0
//
// Several recordings at once, of both kinds of rate, in every command that works so: for the thread sanitizer, whose reports go to standard
// error and change the exit code.
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

class Jobs : public Program {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder_.file("in"));
    for (int i = 0; i < 12; ++i) {
      Wav("in/" + std::string(1, static_cast<char>('a' + i)) + ".wav", i % 3 == 0 ? 9 : 4, {{1.0, 2.0}}, i % 2 == 0 ? 16000 : 8000);
    }
    current_ = folder_.path();
  }
  Outcome With(const std::string& command, const std::string& jobs, std::vector<std::string> more) {
    more.insert(more.begin(), {command, "--models-dir", WVAD_TEST_MODELS, "-m", "energy", "-q", "-j", jobs});
    more.emplace_back("in");
    return Call(more);
  }
  // As one job gives it, and without a word.
  void ExpectTheSame(const std::string& command, const std::vector<std::string>& more) {
    const Outcome one = With(command, "1", more);
    const Outcome several = With(command, "4", more);
    EXPECT_EQ(one.code, 0) << one.err;
    EXPECT_EQ(several.code, 0);
    EXPECT_EQ(several.err, "");
    EXPECT_EQ(several.out, one.out);
    EXPECT_FALSE(one.out.empty());
  }
};

TEST_F(Jobs, RowsOfSegment) { ExpectTheSame("segment", {"-f", "jsonl"}); }

TEST_F(Jobs, RowsOfQuality) { ExpectTheSame("quality", {"-f", "jsonl"}); }

TEST_F(Jobs, ScoresIntoOneOutput) {
  ExpectTheSame("scores", {"-f", "csv"});
  ExpectTheSame("scores", {"-f", "text"});
}

TEST_F(Jobs, SeveralFormsIntoAFolder) {
  for (const char* jobs : {"1", "4"}) {
    const Outcome run = With("segment", jobs, {"-f", "rttm,srt,json,lhotse", "-o", std::string("out") + jobs});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
  }
  const std::vector<std::string> names = Names(folder_.file("out1"));
  EXPECT_EQ(names.size(), 12U * 3 + 2);
  EXPECT_EQ(Names(folder_.file("out4")), names);
  for (const std::string& name : names) EXPECT_EQ(folder_.read("out4/" + name), folder_.read("out1/" + name)) << name;
}

TEST_F(Jobs, FilesOfEachRecording) {
  for (const std::string command : {"split", "features", "scores"}) {
    for (const char* jobs : {"1", "4"}) {
      const Outcome run = With(command, jobs, {"-d", command + jobs});
      EXPECT_EQ(run.code, 0);
      EXPECT_EQ(run.err, "");
    }
    const std::vector<std::string> names = Names(folder_.file(command + "1"));
    EXPECT_EQ(names.size(), command == "scores" ? 12U : 24U);
    EXPECT_EQ(Names(folder_.file(command + "4")), names);
    for (const std::string& name : names) EXPECT_EQ(folder_.read(command + "4/" + name), folder_.read(command + "1/" + name)) << name;
  }
}

}  // namespace
}  // namespace TSEG::tool
