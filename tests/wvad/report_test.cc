// SPDX-License-Identifier: Apache-2.0
#include "wvad/report.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "support/temp_folder.h"
#include "wvad/failure.h"
#include "wvad/named_rows.h"
#include "wvad/output.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {
namespace {

const OutputRules kRules(false, {});

std::unique_ptr<Report> Make(const std::string& format, Output& output, const ReportShape& shape) {
  return FindRow(ReportFormats(), format)->make(output, shape);
}

Sentence Sample(int64_t begin, int64_t end) { return {begin, end, 12.34, true, 70.5}; }

// What a run over two good files, one that fails half-way and one that cannot be opened prints.
std::string Printed(const std::string& format, bool summary = true) {
  testing_support::TempFolder folder;
  {
    Output output(folder.file("out"), kRules);
    const std::unique_ptr<Report> report = Make(format, output, {true, summary, false});
    report->BeginFile("a.wav");
    report->Add(Sample(11200, 35200), 16000);
    report->Add({int64_t{36000} * 16000 * 3, int64_t{36000} * 16000 * 3 + 160, {}, {}, {}}, 16000);
    FileEnd end;
    end.samples = 48000;
    report->EndFile(end);
    report->BeginFile("b \"x\",\xff.wav");
    report->FailFile("b: broken\n");
    report->RefuseFile("c.wav", "c.wav: no such file");
    report->BeginFile("d.wav");
    end.endpoint = true;
    end.reason = "tail silence";
    end.others = {{"snr", "\"ws\":[{\"snr\":3.5}]"}};
    report->EndFile(end);
    report->End();
    output.Close();
  }
  return folder.read("out");
}

TEST(Report, TableNamesFilesAndSumsUp) {
  EXPECT_EQ(Printed("table"),
            "a.wav\n"
            "     begin       end  duration     vol      eg\n"
            "      0.70      2.20      1.50    12.3   70.50\n"
            " 108000.00 108000.01      0.01       -       -\n"
            "2 sentences, 1.51 s of speech in 3.00 s\n"
            "\nb \"x\",\\xff.wav\n"
            "     begin       end  duration     vol      eg\n"
            "\nd.wav\n"
            "     begin       end  duration     vol      eg\n"
            "stopped at 3.00 s: tail silence\n"
            "0 sentences, 0.00 s of speech in 3.00 s\n"
            "snr: \"ws\":[{\"snr\":3.5}]\n");
}

TEST(Report, JsonIsOneValidDocument) {
  const nlohmann::json document = nlohmann::json::parse(Printed("json"));
  ASSERT_EQ(document["files"].size(), 4U);
  const nlohmann::json& first = document["files"][0];
  EXPECT_EQ(first["file"], "a.wav");
  EXPECT_EQ(first["stopped_by"], "end of audio");
  EXPECT_EQ(first["heard"], 3.0);
  ASSERT_EQ(first["sentences"].size(), 2U);
  EXPECT_EQ(first["sentences"][0]["begin"], 0.7);
  EXPECT_EQ(first["sentences"][0]["end"], 2.2);
  EXPECT_EQ(first["sentences"][0]["duration"], 1.5);
  EXPECT_EQ(first["sentences"][0]["vol"], 12.34);
  EXPECT_EQ(first["sentences"][0]["trig"], true);
  EXPECT_EQ(first["sentences"][0]["eg"], 70.5);
  EXPECT_TRUE(first["sentences"][1]["vol"].is_null());
  EXPECT_EQ(document["files"][1]["error"], "b: broken\n");
  EXPECT_EQ(document["files"][2]["error"], "c.wav: no such file");
  EXPECT_EQ(document["files"][3]["results"][0]["key"], "snr");
  EXPECT_EQ(document["files"][3]["results"][0]["ws"][0]["snr"], 3.5);
}

TEST(Report, EachJsonLineIsAnObjectOfItsOwn) {
  const std::string text = Printed("jsonl");
  std::vector<nlohmann::json> lines;
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\n', start);
    lines.push_back(nlohmann::json::parse(text.substr(start, end - start)));
    start = end + 1;
  }
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[0]["event"], "sentence");
  EXPECT_EQ(lines[0]["file"], "a.wav");
  EXPECT_EQ(lines[2]["event"], "end");
  EXPECT_EQ(lines[3]["error"], "b: broken\n");
  EXPECT_EQ(lines[4]["file"], "c.wav");
  EXPECT_EQ(lines[5]["stopped_by"], "tail silence");
}

TEST(Report, CsvQuotesNamesThatNeedIt) {
  testing_support::TempFolder folder;
  Output output(folder.file("out"), kRules);
  const std::unique_ptr<Report> report = Make("csv", output, {false, true, false});
  report->BeginFile("say \"a,b\".wav");
  report->Add(Sample(11200, 35200), 16000);
  report->End();
  output.Close();
  EXPECT_EQ(folder.read("out"),
            "file,begin,end,duration,vol,trig,eg,error,code\n"
            "\"say \"\"a,b\"\".wav\",0.70,2.20,1.50,12.3,true,70.50,,\n");
}

TEST(Report, FailedFileHasItsErrorAndCode) {
  testing_support::TempFolder folder;
  const auto printed = [&](const std::string& format) {
    Output output(folder.file(format), kRules);
    const std::unique_ptr<Report> report = Make(format, output, {true, false, false});
    report->Refuse("a.wav", Failure(ExitCode::kNoFile, "a.wav: no such file"));
    report->BeginFile("b.wav");
    report->Fail(Failure(ExitCode::kNotAudio, "b.wav: damaged, and more"));
    report->End();
    output.Close();
    return folder.read(format);
  };
  EXPECT_EQ(printed("csv"),
            "file,begin,end,duration,vol,trig,eg,error,code\n"
            "a.wav,,,,,,,a.wav: no such file,3\n"
            "b.wav,,,,,,,\"b.wav: damaged, and more\",4\n");
  const nlohmann::json document = nlohmann::json::parse(printed("json"));
  EXPECT_EQ(document["files"][0]["error"], "a.wav: no such file");
  EXPECT_EQ(document["files"][0]["code"], 3);
  EXPECT_EQ(document["files"][1]["code"], 4);
  EXPECT_NE(printed("jsonl").find("\"file\":\"b.wav\",\"error\":\"b.wav: damaged, and more\",\"code\":4}\n"), std::string::npos);
}

TEST(Report, SavedSentencesNameTheirFiles) {
  testing_support::TempFolder folder;
  Sentence sentence = Sample(11200, 35200);
  sentence.saved_as = "out/a-0001.wav";
  const auto printed = [&](const std::string& format) {
    Output output(folder.file(format), kRules);
    const std::unique_ptr<Report> report = Make(format, output, {false, false, true});
    report->BeginFile("a.wav");
    report->Add(sentence, 16000);
    report->EndFile(FileEnd{});
    report->End();
    output.Close();
    return folder.read(format);
  };
  EXPECT_EQ(printed("table"),
            "     begin       end  duration     vol      eg  saved as\n"
            "      0.70      2.20      1.50    12.3   70.50  out/a-0001.wav\n");
  EXPECT_EQ(printed("csv"),
            "file,begin,end,duration,vol,trig,eg,saved,error,code\n"
            "a.wav,0.70,2.20,1.50,12.3,true,70.50,out/a-0001.wav,,\n");
  EXPECT_EQ(nlohmann::json::parse(printed("json"))["files"][0]["sentences"][0]["saved"], "out/a-0001.wav");
}

TEST(Report, QualityOfEachStretch) {
  testing_support::TempFolder folder;
  FileEnd end;
  end.quality = {{0, 16000 * 300, {{"snr", "\"ws\":[{\"snr\":18.250,\"trig\":false}]"}, {"cur", "\"ws\":[{\"cur\":0.100,\"trig\":true}]"}}},
                 {16000 * 280, 16000 * 281, {{"snr", "broken"}, {"vol", "\"ws\":[]"}}}};
  const auto printed = [&](const std::string& format) {
    Output output(folder.file(format), kRules);
    const std::unique_ptr<Report> report = Make(format, output, {false, false, false});
    report->BeginFile("a.wav");
    report->EndFile(end);
    report->End();
    output.Close();
    return folder.read(format);
  };
  EXPECT_EQ(printed("table"),
            "     begin       end  duration     vol      eg\n"
            "      from        to       snr            cur\n"
            "      0.00    300.00    18.250  ok      0.100  bad\n"
            "    280.00    281.00         -              -\n");
  const nlohmann::json quality = nlohmann::json::parse(printed("jsonl"))["quality"];
  ASSERT_EQ(quality.size(), 2U);
  EXPECT_EQ(quality[0]["snr"], 18.25);
  EXPECT_EQ(quality[0]["snr_trig"], false);
  EXPECT_EQ(quality[0]["cur_trig"], true);
  EXPECT_EQ(quality[1]["begin"], 280.0);
  EXPECT_TRUE(quality[1]["snr"].is_null());
  EXPECT_TRUE(quality[1]["cur_trig"].is_null());
}

TEST(Report, SentencesAreThereBeforeTheEnd) {
  testing_support::TempFolder folder;
  // A pipe gets every piece at once; an ordinary file would appear at the end.
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Output output("/dev/fd/" + std::to_string(ends[1]), kRules);
  const std::unique_ptr<Report> report = Make("jsonl", output, {false, true, false});
  report->BeginFile("-");
  report->Add(Sample(11200, 35200), 16000);
  std::string text(4096, '\0');
  text.resize(static_cast<size_t>(std::max<ssize_t>(read(ends[0], text.data(), text.size()), 0)));
  EXPECT_NE(text.find("\"end\":2.2"), std::string::npos);
  close(ends[0]);
  close(ends[1]);
}

TEST(Report, FormatsHaveTheirNamesOnceAndQualityThoseWithRoomForMeasures) {
  EXPECT_EQ(NamesOf(ReportFormats(), " ", " "),
            "table json jsonl csv tsv rttm ctm stm uem labels textgrid eaf srt vtt ffconcat edl lhotse-recordings lhotse-supervisions "
            "kaldi-segments kaldi-wav-scp kaldi-utt2spk");
  EXPECT_EQ(NamesOf(SavingFormats(), "|", "|"), "table|json|jsonl|csv|tsv");
  EXPECT_EQ(NamesOf(MeasuringFormats(), "|", "|"), "table|json|jsonl");
  EXPECT_EQ(FindRow(ReportFormats(), "xml"), nullptr);
  EXPECT_EQ(FindRow(MeasuringFormats(), "csv"), nullptr);
  for (const ReportFormat& format : ReportFormats()) EXPECT_EQ(FindRow(ReportFormats(), format.name), &format) << format.name;
}

TEST(Report, FullDiskIsAFailureOfTheOutput) {
  try {
    Output output("/dev/full", kRules);
    output.Write("x");
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kOutput);
    EXPECT_STREQ(failure.what(), "/dev/full: cannot be written: No space left on device");
  }
}

}  // namespace
}  // namespace TSEG::tool
