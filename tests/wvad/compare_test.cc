// SPDX-License-Identifier: Apache-2.0
//
// `wvad compare` as a user meets it.
#include <tuple>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

class Compare : public Program {
 protected:
  nlohmann::json Json(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"compare", "-f", "json"});
    const Outcome run = Call(arguments);
    EXPECT_EQ(run.code, 0) << run.err;
    return nlohmann::json::parse(run.out);
  }
};

// Reference 1-2 and 3-3.5 of 5 s, found 0.7-2.2 and 2.7-3.7: all of the 1.5 s is found, and 1 s beside it.
TEST_F(Compare, EveryFormThatIsWrittenIsReadBack) {
  const std::string truth = folder_.write("truth.rttm", "SPEAKER a 1 1 1 <NA> <NA> x\nSPEAKER a 1 3 0.5 <NA> <NA> x\n");
  const std::string uem = folder_.write("a.uem", "a 1 0 5\n");
  const std::string out = folder_.file("out");
  const std::string forms = "json,jsonl,csv,tsv,rttm,ctm,stm,uem,labels,textgrid,srt,vtt,lhotse-supervisions";
  ASSERT_EQ(Segment({"-f", forms, "-o", out, Wav("a.wav", 5, kTwoBursts)}).code, 0);
  const std::vector<std::string> names = Names(out);
  ASSERT_EQ(names.size(), 13U);
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const nlohmann::json total = Json({"--uem", uem, truth, out + "/" + name})["total"];
    EXPECT_EQ(total["hit"], 1.5);
    EXPECT_EQ(total["miss"], 0.0);
    EXPECT_EQ(total["false"], 1.0);
    EXPECT_EQ(total["rest"], 2.5);
    EXPECT_EQ(total["recall"], 1.0);
    EXPECT_EQ(total["precision"], 0.6);
    EXPECT_EQ(total["f1"], 0.75);
    EXPECT_EQ(total["dcf"], Json({"--uem", uem, truth, out + "/a.rttm"})["total"]["dcf"]);
    EXPECT_EQ(total["onset"]["median"], -0.3);
    EXPECT_EQ(total["offset"]["95"], 0.2);
  }
}

TEST_F(Compare, TableHasALineARecordingAndTheirSum) {
  const std::string truth = folder_.write("truth.uem", "a 1 1 3\na 1 6 8\nb 1 0 1\n");
  const std::string found = folder_.write("found.uem", "a 1 1.5 3.5\na 1 9 9.5\nb 1 0 1\n");
  const std::string regions = folder_.write("all.uem", "a 1 0 10\nb 1 0 10\n");
  const Outcome run = Call({"compare", "--uem", regions, truth, found});
  EXPECT_EQ(run.code, 0) << run.err;
  // The first is worked out in comparison_test.cc. The sum: hit 2.5 of 5, false 1, rest 14; one false alarm in 20 s.
  EXPECT_EQ(run.out,
            "         scored    speech    prec  recall      f1    miss   false     dcf   segs missed  false false/h   onset     95%  "
            "offset     95%\n"
            "a         10.00      4.00  0.6000  0.3750  0.4615  0.6250  0.1667  0.5104      2      1      1  360.00   0.500   0.500   "
            "0.500   0.500\n"
            "b         10.00      1.00  1.0000  1.0000  1.0000  0.0000  0.0000  0.0000      1      0      0    0.00       -       -   "
            "0.000   0.000\n"
            "total     20.00      5.00  0.7143  0.5000  0.5882  0.5000  0.0667  0.3917      3      1      1  180.00   0.500   0.500   "
            "0.250   0.500\n");
}

TEST_F(Compare, WhatWasNotHeardIsTold) {
  const std::string truth = folder_.write("truth.rttm", "SPEAKER a 1 1 1 <NA> <NA> x\n");
  const std::string row = "SPEAKER a 1 0.7 1.5 <NA> <NA> x\n";
  const auto json = [](const std::string& members) {
    return "{\"files\":[{\"file\":\"far/a.wav\",\"sentences\":[{\"begin\":0.7,\"end\":2.2}]" + members + "}]}";
  };
  const std::string interrupted = ",\"heard\":2.5,\"stopped_by\":\"interrupt\",\"whole\":false";
  const std::string damaged = ",\"heard\":2.5,\"stopped_by\":\"end of audio\",\"whole\":false,\"damage\":\"it ends in the middle\"";
  const std::string heard_in_part = "a: it was heard for 2.5 s (interrupt); what was not heard counts as silence here";
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"a.json", json(interrupted), heard_in_part},
      {"b.json", json(damaged), "a: it was not heard whole (it ends in the middle); what was not heard counts as silence here"},
      {"c.json", json(",\"heard\":2.5,\"stopped_by\":\"end of audio\",\"whole\":true"), ""},
      {"d.json", json(""), ""},
      {"a.jsonl", "{\"event\":\"end\",\"file\":\"a.wav\"" + interrupted + "}\n", heard_in_part},
      {"a.rttm", row + ";; {\"file\":\"far/a.wav\"" + interrupted + "}\n", heard_in_part},
      {"b.rttm", row + ";; {\"file\":\"far/a.wav\",\"whole\":true}\n", ""},
      {"c.rttm", row + ";; {\"file\":\"far/b.wav\",\"whole\":false}\n;; {a.wav\n;; [false]\n", ""},
      {"a.vtt", "WEBVTT\n\nNOTE {\"file\":\"a.wav\"" + interrupted + "}\n\n00:00.700 --> 00:02.200\nx\n", heard_in_part},
  };
  for (const auto& [name, text, note] : rows) {
    SCOPED_TRACE(name);
    const std::string found = folder_.write(name, text);
    const std::string line = note.empty() ? "" : "wvad: " + found + ": note: " + note + "\n";
    EXPECT_EQ(Call({"compare", truth, found}).err, line);
    EXPECT_EQ(Call({"compare", "-q", truth, found}).err, "");
    EXPECT_EQ(Call({"compare", found, truth}).err, line);
  }
}

TEST_F(Compare, RecordingsAreMatchedByName) {
  folder_.write("truth/a.labels.txt", "1\t2\tx\n");
  folder_.write("truth/b.TextGrid", "\"ooTextFile\" \"TextGrid\" 0 5 <exists> 1 \"IntervalTier\" \"a\" 0 5 1 1 2 \"x\"");
  folder_.write("found/b.srt", "1\n00:00:01,000 --> 00:00:02,000\n\n");
  folder_.write("found/c.srt", "1\n00:00:01,000 --> 00:00:02,000\n\n");
  const Outcome run = Call({"compare", "-f", "json", folder_.file("truth"), folder_.file("found")});
  EXPECT_THAT(run.err, HasSubstr("note: c is not scored"));
  EXPECT_EQ(Call({"compare", "-q", folder_.file("truth"), folder_.file("found")}).err, "");
  const nlohmann::json recordings = nlohmann::json::parse(run.out)["recordings"];
  ASSERT_EQ(recordings.size(), 2U);
  EXPECT_EQ(recordings[0]["recording"], "a");
  EXPECT_EQ(recordings[0]["recall"], 0.0);
  EXPECT_TRUE(recordings[0]["precision"].is_null());
  EXPECT_EQ(recordings[1]["recall"], 1.0);
  EXPECT_EQ(recordings[1]["rest"], 4.0);
  // One recording each: they are the same whatever their names.
  EXPECT_EQ(Json({folder_.file("truth/a.labels.txt"), folder_.file("found/c.srt")})["total"]["recall"], 1.0);
}

TEST_F(Compare, NamesOfForeignFilesDoNotReachTheTerminalAsTheyStand) {
  const std::string red = "a\x1b[31m";
  const std::string truth = folder_.write("truth.uem", red + " 1 0 5\nb 1 0 5\n");
  const std::string found = folder_.write("f\x1b[31m.uem", "b 1 0 5\n" + red + "c 1 0 5\n");
  const Outcome run = Call({"compare", truth, found});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.err, "wvad: " + folder_.path() + "/f\\x1b[31m.uem: note: a\\x1b[31mc is not scored; " + truth + " does not tell of it\n");
  // The column is as wide as what is shown, nine characters, and nothing was found of the first one.
  EXPECT_THAT(run.out, HasSubstr("\na\\x1b[31m      5.00      5.00       -  0.0000"));
  EXPECT_THAT(run.out, HasSubstr("\nb              5.00      5.00  1.0000  1.0000"));
  EXPECT_EQ(run.out.find('\x1b'), std::string::npos);
}

TEST_F(Compare, StandardInputAndNamedForms) {
  input_ = "SPEAKER a 1 1 1 x\n";
  const std::string truth = folder_.write("truth", "1\t2\tx\n");
  EXPECT_EQ(Json({"--ref-format", "labels", "--hyp-format", "rttm", truth, "-"})["total"]["f1"], 1.0);
  ExpectFailure(Call({"compare", truth, "-"}), 2, "truth: its name does not tell its form");
  ExpectFailure(Call({"compare", "-", "-"}), 2, "only one of them can be standard input");
  ExpectFailure(Call({"compare", "--uem", "-", truth, "-"}), 2, "only one of them can be standard input");
  ExpectFailure(Call({"compare", "--uem", "-", "-", truth}), 2, "only one of them can be standard input");
  ExpectFailure(Call({"compare", "--ref-format", "xml", truth, "-"}), 2, "there is no xml; choose rttm");
  ExpectFailure(Call({"compare", "--collar", "-1", truth, "-"}), 2, "--collar");
  ExpectFailure(Call({"compare", "--collar", "nan", truth, "-"}), 2, "\"nan\" is not a number");
}

TEST_F(Compare, OutputKeepsToTheRules) {
  const std::string truth = folder_.write("a.uem", "a 1 0 1\n");
  ExpectFailure(Call({"compare", "--force", "-f", "table", "-o", truth, truth, truth}), 8, "is read in the same run");
  ExpectFailure(Call({"compare", "-o", folder_.write("out", "mine"), truth, truth}), 8, "exists already");
  ExpectFailure(Call({"compare", truth, folder_.write("bad.uem", "a 1\n")}), 4, "bad.uem: line 1: expected 4 words");
  ExpectFailure(Call({"compare", folder_.write("no.rttm", ""), truth}), 4, "tells of no recording");
  EXPECT_EQ(Call({"compare", "--force", "-o", folder_.file("out"), truth, truth}).code, 0);
  EXPECT_THAT(folder_.read("out"), HasSubstr("1.0000"));
}

TEST_F(Compare, OutputNeverFallsOnAFileOfAFolderThatIsRead) {
  std::filesystem::create_directory(folder_.file("truth"));
  const std::string truth = folder_.write("truth/a.uem", "a 1 0 1\n");
  folder_.write("truth/a.csv", "mine");
  const std::string other = folder_.write("b.uem", "a 1 0 1\n");
  for (const auto& [reference, found] : {std::pair{folder_.file("truth"), other}, std::pair{other, folder_.file("truth")}}) {
    ExpectFailure(Call({"compare", "--force", "-f", "table", "--ref-format", "uem", "--hyp-format", "uem", "-o", truth, reference, found}),
                  8, "is read in the same run");
  }
  EXPECT_EQ(folder_.read("truth/a.uem"), "a 1 0 1\n");
}

}  // namespace
}  // namespace TSEG::tool
