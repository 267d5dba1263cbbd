// SPDX-License-Identifier: Apache-2.0
//
// The model is chosen for each recording: what is found in one does not hang on its company, and results name the model that they are of.
#include <map>

#include "wvad/arrays.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using nlohmann::json;

// With the models "energy" and "energy_8k", which call every frame speech at 16000 and 8000 Hz.
class ModelOfEach : public Program {
 protected:
  void SetUp() override {
    Wav("narrow.wav", 5, kTwoBursts, 8000);
    Wav("wide.wav", 5, kTwoBursts, 16000);
    Wav("cd.wav", 5, {{2.0, 3.0}}, 44100);
    current_ = folder_.path();
  }
  Outcome With(const std::string& command, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {command, "--models-dir", WVAD_TEST_MODELS, "-m", "energy"});
    return Call(arguments);
  }
  static std::vector<json> Rows(const std::string& lines) {
    std::vector<json> rows;
    for (size_t begin = 0; begin < lines.size();) {
      const size_t end = lines.find('\n', begin);
      rows.push_back(json::parse(lines.substr(begin, end - begin)));
      begin = end + 1;
    }
    return rows;
  }
  std::map<std::string, std::string> Tree(const std::string& folder) {
    std::map<std::string, std::string> tree;
    for (const std::string& name : Names(folder_.file(folder))) tree[name] = folder_.read(folder + "/" + name);
    return tree;
  }
};

const std::vector<std::string> kAll = {"narrow.wav", "wide.wav", "cd.wav"};

TEST_F(ModelOfEach, RowsAreTheSameAloneAndInCompany) {
  for (const char* format : {"jsonl", "csv"}) {
    SCOPED_TRACE(format);
    std::string alone;
    for (const std::string& name : kAll) {
      const Outcome run = With("segment", {"-f", format, name});
      EXPECT_EQ(run.code, 0) << run.err;
      alone += alone.empty() || format == std::string("jsonl") ? run.out : run.out.substr(run.out.find('\n') + 1);
    }
    for (const char* jobs : {"1", "2", "3"}) EXPECT_EQ(With("segment", {"-f", format, "-j", jobs, kAll[0], kAll[1], kAll[2]}).out, alone);
  }
}

TEST_F(ModelOfEach, TheEngineOfEachRunsAtItsRate) {
  const std::vector<json> rows = Rows(With("segment", {"-f", "jsonl", "wide.wav", "narrow.wav"}).out);
  ASSERT_EQ(rows.size(), 6U);
  EXPECT_EQ(rows[2]["made_by"]["model"], "energy");
  EXPECT_EQ(rows[5]["made_by"]["model"], "energy_8k");
  EXPECT_NE(rows[2]["made_by"]["model_sha256"], rows[5]["made_by"]["model_sha256"]);
  // Nothing is resampled: both find the bursts where they lie, at either rate.
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(rows[i]["begin"], kTwoSentences[i].first);
    EXPECT_EQ(rows[3 + i]["begin"], kTwoSentences[i].first);
  }
}

TEST_F(ModelOfEach, OneDocumentNamesTheModelOfTheFirstAndOthersWhereTheyDiffer) {
  std::filesystem::copy_file(folder_.file("narrow.wav"), folder_.file("again.wav"));
  const json document = json::parse(With("segment", {"-f", "json", "narrow.wav", "wide.wav", "again.wav"}).out);
  ASSERT_EQ(document["files"].size(), 3U);
  EXPECT_EQ(document["made_by"]["model"], "energy_8k");
  EXPECT_FALSE(document["files"][0].contains("model"));
  EXPECT_EQ(document["files"][1]["model"], "energy");
  EXPECT_EQ(document["files"][1]["model_sha256"].get<std::string>().size(), 64U);
  EXPECT_FALSE(document["files"][2].contains("model"));
  const std::string rttm = With("segment", {"-f", "rttm", "narrow.wav", "wide.wav"}).out;
  EXPECT_THAT(rttm, StartsWith(";; {\"program\":\"wvad"));
  EXPECT_THAT(rttm.substr(0, rttm.find('\n')), HasSubstr("\"model\":\"energy_8k\""));
  EXPECT_THAT(rttm.substr(rttm.find(";; {\"file\":\"wide.wav\"")), HasSubstr("\"model\":\"energy\""));
  EXPECT_EQ(rttm.find("\"model\"", rttm.find(";; {\"file\":\"narrow.wav\"")),
            rttm.find("\"model\"", rttm.find(";; {\"file\":\"wide.wav\"")));
}

TEST_F(ModelOfEach, FilesIntoAFolderAreTheSameAloneAndInCompany) {
  for (const char* jobs : {"1", "3"}) {
    const std::string all = std::string("all") + jobs;
    EXPECT_EQ(With("segment", {"-f", "rttm,json,vtt", "-o", all, "-j", jobs, kAll[0], kAll[1], kAll[2]}).code, 0);
    std::filesystem::remove_all(folder_.file("each"));
    for (const std::string& name : kAll) EXPECT_EQ(With("segment", {"-f", "rttm,json,vtt", "-o", "each", name}).code, 0);
    EXPECT_EQ(Tree(all), Tree("each"));
  }
  EXPECT_EQ(json::parse(folder_.read("all3/narrow.json"))["made_by"]["model"], "energy_8k");
}

TEST_F(ModelOfEach, SavedSentencesAreTheSameAloneAndInCompany) {
  for (const std::string command : {"split", "features"}) {
    SCOPED_TRACE(command);
    EXPECT_EQ(With(command, {"-q", "-j", "2", "-d", command + "-all", kAll[0], kAll[1], kAll[2]}).code, 0);
    for (const std::string& name : kAll) EXPECT_EQ(With(command, {"-q", "-d", command + "-each", name}).code, 0);
    EXPECT_EQ(Tree(command + "-all"), Tree(command + "-each"));
    const json narrow = json::parse(folder_.read(command + "-all/narrow-" + command + ".json"));
    EXPECT_EQ(narrow["model"], "energy_8k");
    EXPECT_EQ(narrow["made_by"]["model"], "energy_8k");
    EXPECT_EQ(narrow["sample_rate"], 8000);
    EXPECT_EQ(json::parse(folder_.read(command + "-all/cd-" + command + ".json"))["sample_rate"], 16000);
  }
  // 1.5 s at 8000 Hz, two bytes a sample, behind the header of a WAV file.
  EXPECT_EQ(std::filesystem::file_size(folder_.file("split-all/narrow-0001.wav")), 24000U + 44U);
}

TEST_F(ModelOfEach, ScoresAndExplanationsAreTheSameAloneAndInCompany) {
  const std::string heading = "file,time,speech,held\n";
  std::string scores = heading;
  json explained = json::array();
  for (const std::string& name : kAll) {
    scores += With("scores", {"-f", "csv", name}).out.substr(heading.size());
    explained.push_back(json::parse(With("explain", {"--json", "--at", "0.5-2.5", name}).out)["files"][0]);
  }
  EXPECT_EQ(With("scores", {"-f", "csv", kAll[0], kAll[1], kAll[2]}).out, scores);
  EXPECT_EQ(json::parse(With("explain", {"--json", "--at", "0.5-2.5", kAll[0], kAll[1], kAll[2]}).out)["files"], explained);
  EXPECT_EQ(explained[0]["model"], "energy_8k");
  EXPECT_EQ(explained[1]["model"], "energy");
}

TEST_F(ModelOfEach, APipeIsHeardWithTheModelOfItsContainersRate) {
  input_ = folder_.read("narrow.wav");
  const std::vector<json> rows = Rows(With("segment", {"-f", "jsonl", "-"}).out);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[2]["made_by"]["model"], "energy_8k");
  EXPECT_EQ(With("report", {"-o", "page.html", "-"}).code, 0);
  EXPECT_THAT(folder_.read("page.html"), HasSubstr("\"model\":\"energy_8k\""));
}

TEST_F(ModelOfEach, NeitherFormIsReplacedByAnOutput) {
  for (const char* name : {"energy.bin", "energy_8k.bin"}) {
    std::filesystem::copy_file(std::string(WVAD_TEST_MODELS) + "/" + name, folder_.file(name));
  }
  ExpectFailure(Call({"segment", "--models-dir", ".", "-m", "energy", "--force", "-o", "energy_8k.bin", "wide.wav"}), 8, "is read");
}

}  // namespace
}  // namespace TSEG::tool
