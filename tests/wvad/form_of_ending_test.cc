// SPDX-License-Identifier: Apache-2.0
#include "wvad/form_of_ending.h"

#include "wvad/program_fixture.h"
#include "wvad/report_formats.h"
#include "wvad/score_output.h"

namespace TSEG::tool {
namespace {

std::string FormOf(const std::string& path) {
  const ReportFormat* format = FormatOfEnding(ReportFormats(), path);
  return format == nullptr ? "" : format->name;
}

TEST(FormOfEnding, EveryFormOfARecordingHasItsEnding) {
  struct Row {
    const char* path;
    const char* form;
  };
  const Row rows[] = {{"a.json", "json"}, {"a.jsonl", "jsonl"},       {"a.csv", "csv"},           {"a.tsv", "tsv"},
                      {"a.rttm", "rttm"}, {"a.ctm", "ctm"},           {"a.stm", "stm"},           {"a.uem", "uem"},
                      {"a.txt", "table"}, {"a.labels.txt", "labels"}, {"a.TextGrid", "textgrid"}, {"a.eaf", "eaf"},
                      {"a.srt", "srt"},   {"a.vtt", "vtt"},           {"a.edl", "edl"},           {"a.ffconcat", "ffconcat"}};
  for (const Row& row : rows) EXPECT_EQ(FormOf(row.path), row.form) << row.path;
}

TEST(FormOfEnding, LettersOfEitherCaseAreOneEnding) {
  EXPECT_EQ(FormOf("A.CSV"), "csv");
  EXPECT_EQ(FormOf("a.textgrid"), "textgrid");
}

TEST(FormOfEnding, AnyOtherNameAsksForNone) {
  for (const char* path : {"", "-", "a", "a.xyz", ".csv", "out.d/.json", "a.csv/b", "a.csv/", "csv", "segments"})
    EXPECT_EQ(FormOf(path), "") << path;
  // By its ending: the manifest of a whole run goes by its option.
  EXPECT_EQ(FormOf("recordings.jsonl"), "jsonl");
}

TEST_F(Program, TheOutputsEndingChoosesTheForm) {
  const std::string wav = Wav("a.wav", 5, kTwoBursts);
  const auto written = [&](const std::string& command, const std::string& name, std::vector<std::string> more) {
    more.insert(more.end(), {"-o", folder_.file(name), wav});
    EXPECT_EQ(Run(command, more).code, 0);
    return folder_.read(name);
  };
  EXPECT_EQ(written("segment", "a.csv", {}), Segment({"-f", "csv", wav}).out);
  EXPECT_EQ(written("segment", "a.rttm", {}), Segment({"-f", "rttm", wav}).out);
  EXPECT_EQ(written("segment", "a.xyz", {}), Segment({wav}).out);
  EXPECT_EQ(written("quality", "q.jsonl", {}), Run("quality", {"-f", "jsonl", wav}).out);
  EXPECT_EQ(written("quality", "q.log", {}), Run("quality", {wav}).out);
  EXPECT_EQ(written("scores", "s.csv", {}), Run("scores", {"-f", "csv", wav}).out);
  EXPECT_THAT(written("scores", "s.npy", {}), StartsWith("\x93NUMPY"));
}

TEST_F(Program, AFormThatIsNamedGoesBeforeTheEnding) {
  const std::string wav = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Segment({"-f", "table", "-o", folder_.file("a.csv"), wav}).code, 0);
  EXPECT_EQ(folder_.read("a.csv"), Segment({wav}).out);
  EXPECT_EQ(Segment({"--printf", "{begin:1} ", "-o", folder_.file("a.json"), wav}).code, 0);
  EXPECT_EQ(folder_.read("a.json"), "0.7 2.7 ");
  EXPECT_EQ(Run("scores", {"-f", "text", "-o", folder_.file("s.npy"), wav}).code, 0);
  EXPECT_THAT(folder_.read("s.npy"), StartsWith("0.00 "));
}

TEST_F(Program, TextGoesIntoNoFileThatIsCalledLikeSoundUnlessItsFormIsNamed) {
  const std::string wav = Wav("a.wav", 5, kTwoBursts);
  for (const char* command : {"segment", "quality", "scores"}) {
    for (const char* name : {"b.wav", "B.FLAC", "b.mp3", "b.m4a"}) {
      ExpectFailure(Run(command, {"-o", folder_.file(name), wav}), 2, "wvad trim writes a recording without its silences, wvad split each");
      EXPECT_FALSE(std::filesystem::exists(folder_.file(name))) << name;
    }
    EXPECT_EQ(Run(command, {"-f", command == std::string("scores") ? "text" : "table", "-o", folder_.file("b.wav"), wav}).code, 0);
    std::filesystem::remove(folder_.file("b.wav"));
  }
  EXPECT_EQ(Segment({"--printf", "{begin}", "-o", folder_.file("c.wav"), wav}).code, 0);
  ExpectFailure(Call({"compare", wav, wav, "-o", folder_.file("b.ogg")}), 2, "the result is text");
}

TEST_F(Program, AComparisonIntoAJsonFileIsJson) {
  const std::string wav = Wav("a.wav", 5, kTwoBursts);
  const std::string csv = folder_.file("a.csv");
  EXPECT_EQ(Segment({"-o", csv, wav}).code, 0);
  EXPECT_EQ(Call({"compare", csv, csv, "-o", folder_.file("c.json")}).code, 0);
  EXPECT_EQ(nlohmann::json::parse(folder_.read("c.json")).is_object(), true);
}

}  // namespace
}  // namespace TSEG::tool
