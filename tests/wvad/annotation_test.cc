// SPDX-License-Identifier: Apache-2.0
#include "wvad/compare/annotation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_folder.h"
#include "wvad/failure.h"
#include "wvad/named_rows.h"

namespace TSEG::tool {
namespace {

Annotation Read(const std::string& form, const std::string& text) { return FindRow(AnnotationForms(), form)->read(text, "talk"); }

std::string Refusal(const std::function<void()>& act) {
  try {
    act();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

// Each says that there is speech from 0.7 to 2.2 s and from 61.25 to 62 s of "talk".
TEST(Annotation, EachFormIsUnderstood) {
  const std::pair<const char*, const char*> rows[] = {
      {"rttm",
       ";; comment\nSPKR-INFO talk 1 <NA> <NA> <NA> unknown a <NA> <NA>\nSPEAKER talk 1 0.7 1.5 <NA> <NA> a <NA> <NA>\r\n\n"
       "SPEAKER\ttalk 2 61.25 .75 <NA> <NA> b <NA>\n"},
      {"ctm", "talk 1 0.7 1.5 hello 0.9\ntalk A 61.25 0.75 you"},
      {"stm", "talk 1 inter_segment_gap 0 0.7 <o,,> \ntalk 1 a 0.7 2.2 <o,f0,male> hello you\ntalk 1 b 61.25 62\n"},
      {"uem", "# comment\ntalk 1 0.7 2.2\ntalk 1 61.25 62.0\n"},
      {"labels", "0.700000\t2.200000\tanything at all\n\\\t100.0\t200.0\n61.25\t62\t\n"},
      {"textgrid",
       "File type = \"ooTextFile\"\nObject class = \"TextGrid\"\n\nxmin = 0\nxmax = 63\ntiers? <exists>\nsize = 2\nitem []:\n item [1]:\n"
       "class = \"TextTier\"\nname = \"points\"\nxmin = 0\nxmax = 63\npoints: size = 1\npoints [1]:\nnumber = 5\nmark = \"\"\n"
       " item [2]:\nclass = \"IntervalTier\"\nname = \"say \"\"5\"\"\"\nxmin = 0\nxmax = 63\nintervals: size = 4\n"
       "intervals [1]:\nxmin = 0\nxmax = 0.7\ntext = \" \"\nintervals [2]:\nxmin = 0.7\nxmax = 2.2\ntext = \"he said \"\"3 = 3\"\"\"\n"
       "intervals [3]:\nxmin = 2.2\nxmax = 61.25\ntext = \"\"\nintervals [4]:\nxmin = 61.25\nxmax = 62\ntext = \"x\"\n"},
      {"textgrid",
       "File type = \"ooTextFile "
       "short\"\n\"TextGrid\"\n0\n63\n<exists>\n1\n\"IntervalTier\"\n\"a\"\n0\n63\n2\n0.7\n2.2\n\"a\"\n61.25\n62\n\"b\"\n"},
      {"csv", "file,begin,end,vol\n\"far/talk.wav\",0.70,2.20,\"1,5\"\n\"far/talk.wav\",61.25,62,\n"},
      {"csv", "file,begin,end,error\ntalk.wav,0.7,2.2,\nno.wav,,,no such file\ntalk.wav,61.25,62,\n"},
      {"csv", "onset,duration\r\n0.7,1.5\r\n61.25,0.75\r\n"},
      {"csv", "start_s,end_s\n0.7,2.2\n61.25,62\n"},
      {"csv", "Filename,Start Time (s),End Time (s)\ntalk.wav,0.7,2.2\ntalk.wav,61.25,62\n"},
      {"csv", "start_ms,duration_ms\n700,1500\n61250,750\n"},
      {"csv", "audio_filepath,offset,duration\ntalk.wav,0.7,1.5\ntalk.wav,61.25,0.75\n"},
      {"csv", "file;begin;end;vol\r\n\"far/talk.wav\";0,70;2,2;1,5\r\n\"far/talk.wav\";61,25;62;\r\n"},
      {"csv", "\"onset [s]\";\"a;b, c\";\"duration\"\n0.7;x,y;1.5\n61.25;;0.75\n"},
      {"tsv", "start_ms\tend_ms\n700,0\t2200\n61250\t62000,000\n"},
      {"tsv", "filename\tonset\toffset\tevent_label\ntalk.wav\t0.7\t2.2\tx\ntalk.wav\t61.25\t62\tx\n"},
      {"tsv", "start\tend\tlabel\n0.7\t2.2\t\"a\tb\"\n61.25\t62\t\"line\nbreak\"\n"},
      {"json", R"({"files":[{"file":"a/talk.wav","sentences":[{"begin":0.7,"end":2.2},{"begin":61.25,"end":62}]}]})"},
      {"jsonl",
       "{\"event\":\"sentence\",\"file\":\"talk.wav\",\"begin\":0.7,\"end\":2.2}\n{\"event\":\"sentence\",\"file\":\"talk.wav\","
       "\"begin\":61.25,\"end\":62}\n{\"event\":\"end\",\"file\":\"talk.wav\",\"recording\":{\"length\":63}}\n"},
      {"jsonl",
       "{\"id\":\"x\",\"recording_id\":\"talk\",\"start\":0.7,\"duration\":1.5}\n{\"recording_id\":\"talk\",\"start\":61.25,"
       "\"duration\":0.75}\n"},
      {"jsonl",
       "{\"wvad\":\"0.1.0\",\"model\":null,\"recordings_sha256\":\"b1\"}\n{\"file\":\"a/"
       "talk.wav\",\"duration\":63.0,\"sentences\":[{\"begin\":0.7,"
       "\"end\":2.2},{\"begin\":61.25,\"end\":62.0}]}\n"},
      {"jsonl",
       "{\"file\":\"talk.wav\",\"offset\":0.5,\"duration\":2.0,\"sentences\":[{\"begin\":0.7,\"end\":2.2}]}\n{\"file\":\"talk.wav\","
       "\"offset\":60.0,"
       "\"duration\":3.0,\"sentences\":[{\"begin\":61.25,\"end\":62.0}]}\n"},
      {"srt", "1\r\n00:00:00,700 --> 00:00:02,200\r\nhello\r\n\r\n2\r\n00:01:01,250 --> 00:01:02,000\r\n\r\n"},
      {"vtt", "WEBVTT\n\n00:00.700 --> 00:02.200 align:start\nhello\n\n00:01:01.250 --> 00:01:02.000\n\n"},
  };
  for (const auto& [form, text] : rows) {
    SCOPED_TRACE(std::string(form) + ": " + text);
    const Annotation annotation = Read(form, text);
    ASSERT_EQ(annotation.size(), 1U);
    EXPECT_EQ(annotation.begin()->first, "talk");
    EXPECT_EQ(Joined(annotation.begin()->second.speech), (Spans{{700000, 2200000}, {61250000, 62000000}}));
  }
}

TEST(Annotation, LengthsAreTakenWhereTheyAreTold) {
  EXPECT_EQ(Read("textgrid", "\"ooTextFile\" \"TextGrid\" 0 63.5 <exists> 0\n")["talk"].length_us, 63500000);
  EXPECT_EQ(Read("json", R"({"files":[{"file":"talk","sentences":[],"recording":{"length":5.0}}]})")["talk"].length_us, 5000000);
  EXPECT_EQ(Read("json", R"({"files":[{"file":"talk","sentences":[],"recording":{"length":null}}]})")["talk"].length_us, std::nullopt);
  // Of a corpus that of a whole recording, not of a piece.
  EXPECT_EQ(Read("jsonl", "{\"file\":\"talk\",\"duration\":5.0,\"sentences\":[]}\n")["talk"].length_us, 5000000);
  EXPECT_EQ(Read("jsonl", "{\"file\":\"talk\",\"offset\":1.0,\"duration\":5.0,\"sentences\":[]}\n")["talk"].length_us, std::nullopt);
}

TEST(Annotation, RecordingsWithoutSpeechAreKnown) {
  EXPECT_EQ(Read("labels", "").size(), 1U);
  EXPECT_EQ(Read("jsonl", "{\"file\":\"talk.wav\",\"error\":\"empty\",\"kind\":\"AudioError\"}\n").size(), 1U);
  EXPECT_EQ(Read("rttm", "SPKR-INFO talk 1 <NA> <NA> <NA> unknown a\n").size(), 1U);
  EXPECT_EQ(Read("rttm", "").size(), 0U);
}

TEST(Annotation, WhatCannotBeUnderstoodIsNamed) {
  const std::pair<const char*, const char*> rows[] = {
      {"rttm", "SPEAKER talk 1 0.7 1.5 x\nSPEAKER talk 1 x 1.5 x\n"},
      {"rttm", "SPEAKER talk 1 0.7\n"},
      {"rttm", "SPEAKER talk 1 -1 2 x\n"},
      {"rttm", "SPEAKER talk 1 nan 2 x\n"},
      {"uem", "talk 1 2 1\n"},
      {"labels", "1\n"},
      {"textgrid", "no TextGrid"},
      {"textgrid", "\"ooTextFile\" \"TextGrid\" 0 63 <exists> 1 \"IntervalTier\" \"a\" 0 63 2 0 1 \"a\""},
      {"textgrid", "\"ooTextFile\" \"TextGrid\" 0 63 <exists> 99999999999999999999 "},
      {"textgrid", "\"ooTextFile\" \"TextGrid\" 0 63 <exists> 1 \"Interval"},
      {"csv", "file,from,to\na,1,2\n"},
      {"csv", ""},
      {"csv", "begin,end\n1\n"},
      {"csv", "begin,end\n\"1,2\n"},
      {"json", "{\"files\":3}"},
      {"json", "{"},
      {"json", R"({"files":[{"file":"a","sentences":[{"begin":"x","end":1}]}]})"},
      {"jsonl", "{\"event\":\"sentence\"}\n"},
      {"jsonl", "{\"file\":\"a\",\"sentences\":[{\"begin\":1}]}\n"},
      {"srt", "1 --> x\n"},
      {"srt", "0:0:0:1 --> 0:0:0:2\n"},  // days, which no caption has
      {"srt", "300000000:0:0:0:0 --> 300000000:0:0:0:1\n"},
      {"vtt", "100000:00:00.000 --> 100000:00:01.000\n"},  // over eleven years
  };
  for (const auto& [form, text] : rows) EXPECT_THROW(Read(form, text), Failure) << form << ": " << text;
  EXPECT_EQ(Refusal([&] { Read("csv", "file,from,to\na,1,2\n"); }),
            "the heading has to name begin (or start), and end or duration; it names file, from, to");
  EXPECT_EQ(Refusal([&] { Read("srt", "0:0:0:1 --> 0:0:0:2\n"); }), "line 1: \"0:0:0:1\" is no time of hours, minutes and seconds");
  EXPECT_EQ(Refusal([&] { Read("rttm", rows[0].second); }), "line 2: \"x\" is no time in seconds");
}

TEST(Annotation, BlanksRoundValuesAndOtherSpellingsOfUnitsAreTaken) {
  for (const char* text :
       {"file, begin, end\ntalk, 0.7, 2.2\n", "file,begin(ms),end [ms]\ntalk,700\t,2200 \n", "StartTime,EndTime\n0.7,2.2\n"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Read("csv", text)["talk"].speech, (Spans{{700000, 2200000}}));
  }
}

TEST(Annotation, ColumnsThatContradictEachOtherAreRefusedWithTheirLine) {
  const std::pair<const char*, const char*> rows[] = {
      {"begin,end,begin\n1,2,1\n", "line 1: the heading names begin twice"},
      {"begin,end,start\n1,2,1\n1.00,2,1.10\n", "line 3: begin and start contradict each other"},
      {"begin,end,duration\n1,2,1\n1.00,3.00,1.00\n", "line 3: end and duration contradict each other"},
      {"begin,end,end_ms\n1.0,2.0,2200\n", "line 2: end and end_ms contradict each other"},
      {"note,begin,end\n\"a\nb\",1,2\nc,x,2\n", "line 4: \"x\" is no time in seconds"},
      {"begin,end\n1,2\n1\n", "line 3: too few fields"},
      {"begin,end\n2,1\n", "line 2: a segment ends before it begins"},
  };
  for (const auto& [text, words] : rows) EXPECT_EQ(Refusal([&, of = text] { Read("csv", of); }), words) << text;
  // As far as their decimals go: 0.33 s and 1.0 s are 1.33 s, or 1.3 s.
  EXPECT_EQ(Read("csv", "begin,end,duration\n0.33,1.3,1.0\n")["talk"].speech, (Spans{{330000, 1300000}}));
}

TEST(Annotation, DecimalsThatCannotBeToldFromFieldsOrThousandsAreRefused) {
  const std::pair<const char*, const char*> rows[] = {
      {"begin,end\n\"1,25\",2\n", "line 2: \"1,25\" is no time in seconds"},
      {"begin;end\n1,25;2\n1,5;3.250\n", "line 3: \"3.250\" is no time in seconds where others have a decimal comma"},
      {"begin;end\n1.25;2,5\n", "line 2: \"2,5\" is no time in seconds where others have a decimal point"},
      {"begin;end\n1.250,5;1.260,5\n", "line 2: \"1.250,5\" is no time in seconds"},
      {"begin;end\n1,25,2,5\n", "line 2: too few fields"},
      {"begin,end\n1,25;2,5\n", "line 2: \"25;2\" is no time in seconds"},
      {"begin;from,end\n1;2\n", "the heading has to name begin (or start), and end or duration; it names begin;from, end"},
  };
  for (const auto& [text, words] : rows) EXPECT_EQ(Refusal([&, of = text] { Read("csv", of); }), words) << text;
}

TEST(Annotation, ZeroByteInATimeIsShown) {
  EXPECT_EQ(Refusal([&] { Read("csv", std::string("begin,end\n1\0,2\n", 15)); }), "line 2: \"1\\x00\" is no time in seconds");
}

TEST(Annotation, TextsBesideTablesInAFolderArePassedOver) {
  const testing_support::TempFolder folder;
  folder.write("a.rttm", "SPEAKER a 1 1 1 x\n");
  const std::string notes = folder.write("notes.txt", "Dear reader\n");
  std::vector<std::string> passed_over;
  EXPECT_EQ(ReadAnnotation(folder.path(), nullptr, &passed_over)["a"].speech, (Spans{{1000000, 2000000}}));
  EXPECT_EQ(passed_over, std::vector<std::string>{notes});
  // A table that says what it is, and is none, is a mistake.
  folder.write("b.rttm", "SPEAKER b\n");
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), nullptr); }), ::testing::HasSubstr("b.rttm: line 1"));
}

TEST(Annotation, TablesAndDocumentsOfSomethingElseInAFolderArePassedOver) {
  const testing_support::TempFolder folder;
  folder.write("a.csv", "begin,end\n1,2\n");
  const std::vector<std::string> foreign = {folder.write("index.csv", "recording,speaker\na,b\n"),
                                            folder.write("list.json", "[1]"),
                                            folder.write("log.jsonl", "{\"level\":\"info\"}\n"),
                                            folder.write("notes.tsv", "who\twhat\n"),
                                            folder.write("package.json", R"({"name":"x","files":["dist"]})"),
                                            folder.write("z-split.json", R"({"source":"z.wav","sentences":[]})")};
  std::vector<std::string> passed_over;
  const Annotation all = ReadAnnotation(folder.path(), nullptr, &passed_over);
  EXPECT_EQ(all.size(), 1U);
  EXPECT_EQ(all.at("a").speech, (Spans{{1000000, 2000000}}));
  EXPECT_EQ(passed_over, foreign);
  EXPECT_EQ(ReadAnnotation(folder.path(), FindRow(AnnotationForms(), "csv"), &passed_over).size(), 1U);
  EXPECT_EQ(passed_over, std::vector<std::string>{foreign[0]});
  // Of one that is named it is an error, and where nothing is left.
  EXPECT_THAT(Refusal([&] { ReadAnnotation(foreign[0], nullptr); }), ::testing::HasSubstr("index.csv: the heading has to name begin"));
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), FindRow(AnnotationForms(), "jsonl")); }),
              ::testing::HasSubstr("log.jsonl: expected a member \"event\""));
  // What was cut off, or has a mistake in it, is one as well.
  for (const auto& [name, text] : {std::pair("b.csv", ""),
                                   {"b.csv", "begin,end\n1,x\n"},
                                   {"b.json", "{\"files\":["},
                                   {"b.jsonl", "{\"event\":\"end\",\"file\":\"b\"}\n{\"file\":\"b\"}\n"}}) {
    const std::string path = folder.write(name, text);
    EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), nullptr); }), ::testing::HasSubstr(std::string(name) + ": ")) << text;
    std::filesystem::remove(path);
  }
}

TEST(Annotation, FormThatNoFileOfAFolderHasIsNamed) {
  const auto form = [](const char* name) { return FindRow(AnnotationForms(), name); };
  const testing_support::TempFolder folder;
  folder.write("a.csv", "begin,end\n3,4\n");
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), form("labels")); }),
              ::testing::HasSubstr("a.csv: read as labels, since no file of " + folder.path() + " ends in .txt: line 1: expected begin"));
  folder.write("a.json", R"({"files":[]})");
  folder.write("a.ctm", "a 1 1 1 x\n");
  folder.write("b.ctm", "a 1 1 1 x\n");
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), form("ctm")); }), ::testing::HasSubstr("b.ctm: tells of a, and so does"));
}

TEST(Annotation, FoldersAreTakenTogether) {
  const testing_support::TempFolder folder;
  folder.write("a.rttm", "SPEAKER a 1 1 1 x\n");
  folder.write("b.labels.txt", "1\t2\tx\n");
  folder.write("c.TextGrid", "\xef\xbb\xbf\"ooTextFile\" \"TextGrid\" 0 5 <exists> 0");
  folder.write("notes.md", "no annotation");
  std::vector<std::string> ids;
  for (const auto& row : ReadAnnotation(folder.path(), nullptr)) ids.push_back(row.first);
  EXPECT_EQ(ids, (std::vector<std::string>{"a", "b", "c"}));
  folder.write("other.ctm", "a 1 1 1 x\n");
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), nullptr); }), ::testing::HasSubstr("tells of a, and so does another file"));
}

TEST(Annotation, TwoRecordingsOfOneNameInATableAreNotTakenForOne) {
  const testing_support::TempFolder folder;
  const std::string table = folder.write("t.csv", "file,begin,end\nx/a.wav,0,1\nx/a.wav,2,3\ny/a.wav,0,1\n");
  EXPECT_THAT(Refusal([&] { ReadAnnotation(table, nullptr); }), ::testing::HasSubstr("line 4: y/a.wav and x/a.wav are both called a"));
  const std::string document = folder.write("t.json", R"({"files":[{"file":"x/a.wav","sentences":[]},{"file":"y/a.wav","sentences":[]}]})");
  EXPECT_THAT(Refusal([&] { ReadAnnotation(document, nullptr); }), ::testing::HasSubstr("y/a.wav and x/a.wav are both called a"));
}

TEST(Annotation, AFormChoosesAmongTheFilesOfAFolder) {
  const testing_support::TempFolder folder;
  folder.write("a.rttm", "SPEAKER a 1 1 1 x\n");
  folder.write("a.csv", "begin,end\n3,4\n");
  folder.write("._a.rttm", "no text");
  const auto form = [](const char* name) { return FindRow(AnnotationForms(), name); };
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), nullptr); }), ::testing::HasSubstr("takes the files of one form"));
  EXPECT_EQ(ReadAnnotation(folder.path(), form("rttm"))["a"].speech, (Spans{{1000000, 2000000}}));
  EXPECT_EQ(ReadAnnotation(folder.path(), form("csv"))["a"].speech, (Spans{{3000000, 4000000}}));
  // Where none has its ending, the form is that of all: labels called .srt.
  const testing_support::TempFolder odd;
  odd.write("a.srt", "1\t2\tx\n");
  EXPECT_EQ(ReadAnnotation(odd.path(), form("labels"))["a"].speech, (Spans{{1000000, 2000000}}));
}

TEST(Annotation, FilesThatCannotBeReadAreRefused) {
  const testing_support::TempFolder folder;
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.path(), nullptr); }), ::testing::HasSubstr("holds no file"));
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.file("no.rttm"), nullptr); }), ::testing::HasSubstr("no such file"));
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.write("x.y", ""), nullptr); }), ::testing::HasSubstr("--ref-format"));
  EXPECT_THAT(Refusal([&] { ReadAnnotation(folder.write("x.uem", "a\n"), nullptr); }), ::testing::HasSubstr("x.uem: line 1: expected 4"));
}

}  // namespace
}  // namespace TSEG::tool
