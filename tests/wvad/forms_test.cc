// SPDX-License-Identifier: Apache-2.0
//
// What each form of the folder "forms" writes of recordings whose sentences are known, worked out by hand from the form's definition.
#include "wvad/forms/forms.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "support/temp_folder.h"
#include "wvad/failure.h"
#include "wvad/forms/document_report.h"
#include "wvad/named_rows.h"
#include "wvad/output.h"
#include "wvad/provenance.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {
namespace {

// What a form prints of "far/talk.mp3": 5 s of 44100 Hz and two channels, heard at 16000 Hz, with sentences from 0.7 to 2.2 and from
// 3661.25 s (1 h 1 min 1.25 s) to the end of the last frame.
struct Telling {
  ReportShape shape = {};
  std::vector<Sentence> sentences = {{11200, 35200, 12.34, true, 70.5}, {int64_t{366125} * 160, int64_t{366200} * 160, {}, {}, {}}};
  RecordingFacts facts = {44100, 2, int64_t{366200} * 441, ""};
  std::string name = "far/talk.mp3";
  std::string damage = {};
};

std::string Told(const std::string& format, const Telling& telling) {
  const testing_support::TempFolder folder;
  Output output(folder.file("out"), OutputRules(false, {}));
  const std::unique_ptr<Report> report = FindRow(ReportFormats(), format)->make(output, telling.shape);
  report->BeginFile(telling.name);
  for (const Sentence& sentence : telling.sentences) report->Add(sentence, 16000);
  FileEnd end;
  end.samples = int64_t{366200} * 160;
  end.recording = telling.facts;
  end.damage = telling.damage;
  report->EndFile(end);
  report->End();
  output.Close();
  return folder.read("out");
}

std::string Told(const std::string& format) { return Told(format, {}); }

// One sentence on each of two channels, the second one being found first.
Telling TwoChannels() {
  Telling telling;
  telling.shape.channels = true;
  telling.shape.details.channel = "all";
  telling.sentences = {{16000, 32000, {}, {}, {}, {}, {}, 2}, {24000, 40000, {}, {}, {}, {}, {}, 1}};
  telling.facts.frames = 44100 * 5;
  return telling;
}

TEST(Forms, TsvIsCsvWithTabs) {
  Telling telling;
  telling.name = "a\tb.wav";
  telling.sentences.resize(1);
  EXPECT_EQ(Told("tsv", telling),
            "file\tbegin\tend\tduration\tvol\ttrig\teg\terror\tcode\n"
            "\"a\tb.wav\"\t0.70\t2.20\t1.50\t12.3\ttrue\t70.50\t\t\n");
}

TEST(Forms, RttmHasASpeakerLineASentence) {
  EXPECT_EQ(Told("rttm"),
            "SPEAKER talk 1 0.700 1.500 <NA> <NA> speech <NA> <NA>\n"
            "SPEAKER talk 1 3661.250 0.750 <NA> <NA> speech <NA> <NA>\n");
}

TEST(Forms, NistFilesAreSortedByChannelAndTime) {
  EXPECT_EQ(Told("ctm"), "talk 1 0.700 1.500 speech\ntalk 1 3661.250 0.750 speech\n");
  EXPECT_EQ(Told("ctm", TwoChannels()), "talk 1 1.500 1.000 speech\ntalk 2 1.000 1.000 speech\n");
  EXPECT_EQ(Told("stm", TwoChannels()), "talk 1 unknown 1.500 2.500 <o,,unknown>\ntalk 2 unknown 1.000 2.000 <o,,unknown>\n");
  EXPECT_EQ(Told("uem", TwoChannels()), "talk 1 1.500 2.500\ntalk 2 1.000 2.000\n");
}

TEST(Forms, LabelsOfAudacityStandBetweenTabs) {
  EXPECT_EQ(Told("labels"), "0.700000\t2.200000\tspeech\n3661.250000\t3662.000000\tspeech\n");
  EXPECT_EQ(Told("labels", TwoChannels()), "1.000000\t2.000000\tspeech 2\n1.500000\t2.500000\tspeech 1\n");
}

TEST(Forms, CaptionsMayAllHaveTheSameWords) {
  Telling telling = TwoChannels();
  telling.shape.details.caption = "(speech)";
  telling.sentences.resize(1);
  EXPECT_EQ(Told("srt", telling), "1\n00:00:01,000 --> 00:00:02,000\n[2] (speech)\n\n");
  telling.sentences[0].channel = 0;
  EXPECT_EQ(Told("vtt", telling), "WEBVTT\n\n1\n00:00:01.000 --> 00:00:02.000\n(speech)\n\n");
}

TEST(Forms, CaptionsAreNumberedAndEmpty) {
  EXPECT_EQ(Told("srt"), "1\n00:00:00,700 --> 00:00:02,200\n \n\n2\n01:01:01,250 --> 01:01:02,000\n \n\n");
  EXPECT_EQ(Told("vtt"), "WEBVTT\n\n1\n00:00:00.700 --> 00:00:02.200\n \n\n2\n01:01:01.250 --> 01:01:02.000\n \n\n");
  EXPECT_EQ(Told("srt", TwoChannels()), "1\n00:00:01,000 --> 00:00:02,000\n[2] \n\n2\n00:00:01,500 --> 00:00:02,500\n[1] \n\n");
}

TEST(Forms, TextGridCoversTheRecording) {
  Telling telling;
  // The second sentence follows the first at once, and its last frame reaches beyond the last sample, 3.99 s.
  telling.sentences = {{16000, 32000, {}, {}, {}}, {32000, 64000, {}, {}, {}}};
  telling.facts = {8000, 1, 31920, ""};
  EXPECT_EQ(Told("textgrid", telling),
            "File type = \"ooTextFile\"\nObject class = \"TextGrid\"\n\nxmin = 0 \nxmax = 3.990000 \ntiers? <exists> \nsize = 1 \n"
            "item []: \n    item [1]:\n        class = \"IntervalTier\" \n        name = \"speech\" \n        xmin = 0 \n"
            "        xmax = 3.990000 \n        intervals: size = 3 \n"
            "        intervals [1]:\n            xmin = 0.000000 \n            xmax = 1.000000 \n            text = \"\" \n"
            "        intervals [2]:\n            xmin = 1.000000 \n            xmax = 2.000000 \n            text = \"speech\" \n"
            "        intervals [3]:\n            xmin = 2.000000 \n            xmax = 3.990000 \n            text = \"speech\" \n");
}

TEST(Forms, TextGridHasATierAChannelAndNoneOfNoLength) {
  const std::string text = Told("textgrid", TwoChannels());
  EXPECT_NE(text.find("name = \"speech 1\""), std::string::npos);
  EXPECT_NE(text.find("name = \"speech 2\""), std::string::npos);
  Telling nothing;
  nothing.sentences.clear();
  nothing.facts.frames = 0;
  EXPECT_THROW(Told("textgrid", nothing), Failure);
}

TEST(Forms, FfconcatQuotesThePath) {
  Telling telling;
  telling.name = "/far/it's a talk.mp3";
  EXPECT_EQ(Told("ffconcat", telling),
            "ffconcat version 1.0\n"
            "file '/far/it'\\''s a talk.mp3'\ninpoint 0.700\noutpoint 2.200\n"
            "file '/far/it'\\''s a talk.mp3'\ninpoint 3661.250\noutpoint 3662.000\n");
}

// At 25 frames a second 0.7 s lies in frame 17 (17.5) and 2.2 s at the begin of frame 55; 3661.25 s lies in frame 6 of its second (6.25),
// and 3662 s ends frame 24. So the first event has 38 frames and the second 19.
TEST(Forms, EdlCutsOneSentenceBehindTheOther) {
  EXPECT_EQ(Told("edl"),
            "TITLE: talk\nFCM: NON-DROP FRAME\n\n"
            "001  AX       AA    C        00:00:00:17 00:00:02:05 00:00:00:00 00:00:01:13\n* FROM CLIP NAME: talk.mp3\n"
            "002  AX       AA    C        01:01:01:06 01:01:02:00 00:00:01:13 00:00:02:07\n* FROM CLIP NAME: talk.mp3\n");
}

// At 24 frames a second the first sentence ends in frame 24 (24.24), behind which the second one, from 1.02 s (24.48), begins.
TEST(Forms, EdlEventsDoNotOverlap) {
  Telling telling;
  telling.shape.details.fps = 24;
  telling.facts.channels = 1;
  telling.sentences = {{0, 16160, {}, {}, {}}, {16320, 32000, {}, {}, {}}};
  EXPECT_EQ(Told("edl", telling),
            "TITLE: talk\nFCM: NON-DROP FRAME\n\n"
            "001  AX       A     C        00:00:00:00 00:00:01:01 00:00:00:00 00:00:01:01\n* FROM CLIP NAME: talk.mp3\n"
            "002  AX       A     C        00:00:01:01 00:00:02:00 00:00:01:01 00:00:02:00\n* FROM CLIP NAME: talk.mp3\n");
}

TEST(Forms, EdlRefusesWhatItsNumbersCannotHold) {
  Telling telling;
  telling.sentences.assign(999, {0, 160, {}, {}, {}});
  EXPECT_NO_THROW(Told("edl", telling));
  telling.sentences.emplace_back();
  EXPECT_THROW(Told("edl", telling), Failure);
  Telling day;
  day.facts = {16000, 1, int64_t{86401} * 16000, ""};
  EXPECT_THROW(Told("edl", day), Failure);
}

TEST(Forms, ManifestsOfLhotseBelongTogether) {
  const auto recording = nlohmann::json::parse(Told("lhotse-recordings"));
  EXPECT_EQ(recording["id"], "talk");
  EXPECT_EQ(recording["sampling_rate"], 44100);
  EXPECT_EQ(recording["num_samples"], int64_t{366200} * 441);
  EXPECT_EQ(recording["duration"], 3662.0);
  EXPECT_EQ(recording["channel_ids"], (std::vector<int>{0, 1}));
  EXPECT_EQ(recording["sources"][0]["type"], "file");
  EXPECT_EQ(recording["sources"][0]["channels"], (std::vector<int>{0, 1}));
  const std::string source = recording["sources"][0]["source"];
  EXPECT_EQ(source[0], '/');
  EXPECT_EQ(source.substr(source.size() - 13), "/far/talk.mp3");
  const std::string text = Told("lhotse-supervisions");
  EXPECT_EQ(text,
            "{\"id\":\"talk-1\",\"recording_id\":\"talk\",\"start\":0.7,\"duration\":1.5,\"channel\":[0,1]}\n"
            "{\"id\":\"talk-2\",\"recording_id\":\"talk\",\"start\":3661.25,\"duration\":0.75,\"channel\":[0,1]}\n");
  EXPECT_NE(Told("lhotse-supervisions", TwoChannels()).find("\"duration\":1.0,\"channel\":0}"), std::string::npos);
  Telling second;
  second.shape.details.channel = "2";
  EXPECT_NE(Told("lhotse-supervisions", second).find("\"channel\":1}"), std::string::npos);
}

TEST(Forms, FilesOfKaldiAreSortedAndAgree) {
  EXPECT_EQ(Told("kaldi-segments"),
            "talk-0000070-0000220 talk 0.700 2.200\n"
            "talk-0366125-0366200 talk 3661.250 3662.000\n");
  EXPECT_EQ(Told("kaldi-utt2spk"), "talk-0000070-0000220 talk\ntalk-0366125-0366200 talk\n");
  EXPECT_EQ(Told("kaldi-segments", TwoChannels()),
            "talk-1-0000150-0000250 talk-1 1.500 2.500\n"
            "talk-2-0000100-0000200 talk-2 1.000 2.000\n");
  Telling telling;
  telling.name = "/far/it's/talk.wav";
  EXPECT_EQ(Told("kaldi-wav-scp", telling), "talk ffmpeg -nostdin -v error -i '/far/it'\\''s/talk.wav' -ac 1 -f wav - |\n");
  telling = TwoChannels();
  telling.name = "/talk.wav";
  EXPECT_EQ(Told("kaldi-wav-scp", telling),
            "talk-1 ffmpeg -nostdin -v error -i '/talk.wav' -af 'pan=mono|c0=c0' -f wav - |\n"
            "talk-2 ffmpeg -nostdin -v error -i '/talk.wav' -af 'pan=mono|c0=c1' -f wav - |\n");
}

// `value` in so many bytes, the least significant first.
std::string Little(uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFF);
  return text;
}

// A WAV file of ten samples a channel; its header says that they take `declared` bytes, as they do where that is 0.
std::string Wave(uint32_t tag, uint32_t bits, uint32_t channels, uint32_t declared = 0) {
  const uint32_t frame = channels * bits / 8;
  const std::string form =
      Little(tag, 2) + Little(channels, 2) + Little(16000, 4) + Little(16000 * frame, 4) + Little(frame, 2) + Little(bits, 2);
  const std::string data = "data" + Little(declared > 0 ? declared : 10 * frame, 4) + std::string(10 * frame, '\0');
  return "RIFF" + Little(4 + 24 + 8 + 10 * frame, 4) + "WAVEfmt " + Little(16, 4) + form + data;
}

TEST(Forms, KaldiReadsByItselfWhatIsSurely16BitsOfOneChannel) {
  const testing_support::TempFolder folder;
  Telling telling;
  telling.facts.channels = 1;
  telling.name = folder.file("talk.wav");
  const std::string command = "talk ffmpeg -nostdin -v error -i '" + telling.name + "' -ac 1 -f wav - |\n";
  EXPECT_EQ(Told("kaldi-wav-scp", telling), command);  // it has gone meanwhile
  // Integers of 24 and of 8 bits, floats, mu-law; the header of a stream; two channels; and what is only called so.
  for (const std::string& bytes : {Wave(1, 24, 1), Wave(1, 8, 1), Wave(3, 32, 1), Wave(7, 8, 1), Wave(1, 16, 1, 0xFFFFFFFF), Wave(1, 16, 2),
                                   std::string("fLaC"), std::string("RIFF"), std::string()}) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    folder.write("talk.wav", bytes);
    EXPECT_EQ(Told("kaldi-wav-scp", telling), command);
  }
  folder.write("talk.wav", Wave(1, 16, 1));
  EXPECT_EQ(Told("kaldi-wav-scp", telling), "talk " + telling.name + "\n");
  telling.damage = "cut short";
  EXPECT_EQ(Told("kaldi-wav-scp", telling), command);
}

TEST(Forms, CommentsTellWhatMadeThemWhereTheFormHasComments) {
  Telling telling;
  telling.shape.details.provenance = "{\"program\":\"wvad 1 --> 2\"}";
  telling.facts.sha256 = "abc";
  telling.damage = "cut short";
  const std::string recording =
      "{\"file\":\"far/talk.mp3\",\"recording\":{\"rate\":44100,\"channels\":2,\"length\":3662.000,\"sha256\":\"abc\"},"
      "\"whole\":false,\"damage\":\"cut short\"}";
  const std::string run = "{\"program\":\"wvad 1 --> 2\"}";
  for (const char* format : {"rttm", "ctm", "stm", "uem"}) {
    const std::string text = Told(format, telling);
    EXPECT_EQ(text.find(";; " + run + "\n"), 0U) << format << text;
    EXPECT_EQ(text.substr(text.rfind(";; ")), ";; " + nlohmann::ordered_json::parse(recording).dump() + "\n") << format;
  }
  EXPECT_EQ(Told("ffconcat", telling).find("ffconcat version 1.0\n# " + run + "\n"), 0U);
  EXPECT_NE(Told("edl", telling).find("\n* " + run + "\n"), std::string::npos);
  EXPECT_EQ(Told("vtt", telling).find("WEBVTT\n\nNOTE {\"program\":\"wvad 1 --\\u003e 2\"}\n\n1\n"), 0U);
  for (const char* format : {"csv", "tsv", "labels", "textgrid", "srt", "kaldi-segments", "kaldi-wav-scp", "kaldi-utt2spk"}) {
    EXPECT_EQ(Told(format, telling).find("program"), std::string::npos) << format;
  }
  const auto supervision =
      nlohmann::json::parse(Told("lhotse-supervisions", telling).substr(0, Told("lhotse-supervisions", telling).find('\n')));
  EXPECT_EQ(supervision["custom"]["made_by"]["program"], "wvad 1 --> 2");
}

TEST(Forms, FilesInAFolderHaveEndingsOfTheirOwn) {
  std::set<std::string> endings;
  for (const ReportFormat& format : ReportFormats()) EXPECT_TRUE(endings.insert(format.ending).second) << format.name;
}

TEST(HeardRecording, IsAsLongAsItWasHeardWhereTheUserBrokeItOff) {
  HeardRecording recording;
  recording.end.rate_hz = 16000;
  recording.end.samples = 80000;
  recording.end.recording.rate_hz = 48000;
  recording.end.recording.frames = 4800000;
  EXPECT_EQ(recording.length_s(), 100);
  recording.end.reason = kInterruptedReason;
  EXPECT_EQ(recording.length_s(), 5);
}

TEST(ProvenanceLine, SaysHowFarARecordingWasHeardWhereThatIsNotItsEnd) {
  FileEnd end;
  end.rate_hz = 16000;
  end.samples = 80000;
  EXPECT_EQ(ProvenanceLine("a.wav", end, ""), R"({"file":"a.wav","whole":true})");
  end.reason = kInterruptedReason;
  EXPECT_EQ(ProvenanceLine("a.wav", end, ""), R"({"file":"a.wav","heard":5.0,"stopped_by":"interrupt","whole":false})");
}

}  // namespace
}  // namespace TSEG::tool
