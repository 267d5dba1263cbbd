// SPDX-License-Identifier: Apache-2.0
//
// Several forms at once into a folder, what is said of how results came about, and forms of the user's own, through the built program.
#include <algorithm>
#include <filesystem>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using NameList = std::vector<std::string>;

class ProgramForms : public Program {
 protected:
  std::string Out() { return folder_.file("out"); }
  std::string Made(const std::string& name) { return folder_.read("out/" + name); }
  NameList InFolder() { return Program::Names(Out()); }
};

TEST_F(ProgramForms, EachFormAndRecordingHasAFile) {
  const Outcome run = Segment({"--bare", "-f", "rttm,srt,kaldi", "-o", Out(), Wav("a.wav", 5, kTwoBursts), Wav("b.wav", 3, {{1.0, 2.0}})});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(InFolder(), (NameList{"a.rttm", "a.srt", "b.rttm", "b.srt", "segments", "utt2spk", "wav.scp"}));
  EXPECT_EQ(Made("a.rttm"), "SPEAKER a 1 0.700 1.500 <NA> <NA> speech <NA> <NA>\nSPEAKER a 1 2.700 1.000 <NA> <NA> speech <NA> <NA>\n");
  EXPECT_EQ(Made("b.rttm"), "SPEAKER b 1 0.700 1.500 <NA> <NA> speech <NA> <NA>\n");
  EXPECT_EQ(Made("segments"), "a-0000070-0000220 a 0.700 2.200\na-0000270-0000370 a 2.700 3.700\nb-0000070-0000220 b 0.700 2.200\n");
}

TEST_F(ProgramForms, SlashMakesAFolderOfOneForm) {
  EXPECT_EQ(Segment({"-f", "labels", "-o", Out() + "/", Wav("a.wav", 5, kTwoBursts)}).code, 0);
  EXPECT_EQ(InFolder(), NameList{"a.labels.txt"});
}

TEST_F(ProgramForms, SeveralFormsWantAFolder) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  ExpectFailure(Segment({"-f", "rttm,srt", path}), 2, "several forms go into a folder; name it with -o DIR");
  ExpectFailure(Segment({"-f", "rttm,srt", "-o", "-", path}), 2, "several forms go into a folder");
  ExpectFailure(Segment({"-f", "srt", path, Wav("b.wav", 3, {{1.0, 2.0}})}), 2, "srt holds a single recording");
  ExpectFailure(Segment({"-f", "rttm,xml", "-o", Out(), path}), 2, "there is no xml; choose table, json");
  ExpectFailure(Segment({"-f", "rttm,srt", "-o", folder_.write("file", ""), path}), 8, "this folder cannot be made");
}

TEST_F(ProgramForms, RecordingsOfOneNameDoNotFallOnEachOther) {
  std::filesystem::create_directory(folder_.file("deep"));
  const std::string a = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string b = Wav("deep/a.wav", 3, {{1.0, 2.0}});
  ExpectFailure(Segment({"-f", "rttm,srt", "-o", Out(), a, b}), 2, "its files would be called as those of");
  ExpectFailure(Segment({"-f", "rttm", a, b}), 2, "it would be called as");
  // A table of "a.labels.wav" would be called as the labels of "a.wav".
  ExpectFailure(Segment({"-f", "table,labels", "-o", Out(), a, Wav("a.labels.wav", 3, {{1.0, 2.0}})}), 2, "its files would be called");
  EXPECT_FALSE(std::filesystem::exists(Out()));
}

TEST_F(ProgramForms, NothingThatIsThereIsReplacedUnasked) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  std::filesystem::create_directory(Out());
  folder_.write("out/a.srt", "mine");
  ExpectFailure(Segment({"-f", "rttm,srt", "-o", Out(), path}), 8, "a.srt: exists already");
  EXPECT_EQ(InFolder(), NameList{"a.srt"});
  std::filesystem::remove(Out() + "/a.srt");
  folder_.write("out/segments", "mine");
  ExpectFailure(Segment({"-f", "kaldi", "-o", Out(), path}), 8, "segments: exists already");
  EXPECT_EQ(Made("segments"), "mine");
  EXPECT_EQ(Segment({"--force", "-f", "kaldi,srt", "-o", Out(), path}).code, 0);
  EXPECT_NE(Made("segments"), "mine");
  EXPECT_EQ(InFolder().size(), 4U);
}

TEST_F(ProgramForms, RecordingsInTheFolderAreNotReplaced) {
  std::filesystem::create_directory(Out());
  const std::string path = Wav("out/a.wav", 5, kTwoBursts);
  std::filesystem::create_symlink("a.wav", Out() + "/a.srt");
  ExpectFailure(Segment({"--force", "-f", "rttm,srt", "-o", Out(), path}), 8, "which this run needs");
  std::filesystem::rename(Out() + "/a.srt", Out() + "/segments");
  ExpectFailure(Segment({"--force", "-f", "kaldi", "-o", Out(), path}), 8, "reads this one");
}

TEST_F(ProgramForms, RecordingThatFailsLeavesNoFileAndTheOthersHaveTheirs) {
  const std::string noise = folder_.write("noise.wav", "no audio");
  const Outcome run = Segment({"-f", "json,kaldi", "-o", Out(), noise, Wav("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(run.code, 4);
  EXPECT_EQ(Lines(run.err), 1) << run.err;
  EXPECT_EQ(InFolder(), (NameList{"a.json", "segments", "utt2spk", "wav.scp"}));
  EXPECT_EQ(Segment({"-f", "json,kaldi", "-o", folder_.file("none"), noise}).code, 4);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("none")));
}

TEST_F(ProgramForms, FormThatCannotHoldARecordingKeepsNoOtherFromIt) {
  const Outcome run = Segment({"-f", "textgrid,json", "-o", Out(), Wav("a.wav", 0, {}), Wav("b.wav", 3, {{1.0, 2.0}})});
  EXPECT_EQ(run.code, 4);
  EXPECT_THAT(run.err, HasSubstr("a TextGrid of no length"));
  EXPECT_EQ(InFolder(), (NameList{"a.json", "b.TextGrid", "b.json"}));
}

TEST_F(ProgramForms, FullDiskLeavesNoFile) {
  // Forty sentences take more than 8000 bytes in an annotation document.
  Spans bursts;
  for (int i = 0; i < 40; ++i) bursts.emplace_back(1.5 * i + 0.5, 1.5 * i + 1.0);
  const std::string path = Wav("a.wav", 61, bursts);
  const Outcome run = WithFileSizeLimit(8000, [&] { return Segment({"-q", "-f", "rttm,eaf", "-o", Out(), path}); });
  EXPECT_EQ(run.code, 8);
  EXPECT_THAT(run.err, HasSubstr("a.eaf"));
  EXPECT_EQ(Lines(run.err), 1);
  EXPECT_EQ(InFolder(), NameList{"a.rttm"});
}

TEST_F(ProgramForms, NamesThatAFormCannotHoldAreRefusedBeforeAnyWork) {
  const std::string path = Wav("my talk.wav", 5, kTwoBursts);
  ExpectFailure(Segment({"-f", "srt,rttm", "-o", Out(), path}), 2, "my talk.wav: this name cannot stand in the form rttm: it has a blank");
  EXPECT_FALSE(std::filesystem::exists(Out()));
  EXPECT_EQ(Segment({"-f", "srt,edl,eaf,lhotse", "-o", Out(), path}).code, 0);
  EXPECT_EQ(InFolder(), (NameList{"my talk.eaf", "my talk.edl", "my talk.srt", "recordings.jsonl", "supervisions.jsonl"}));
}

TEST_F(ProgramForms, JsonTellsHowItCameAbout) {
  const std::string path = Wav("a.wav", 5, kTwoBursts, 44100);
  const std::string setting = "wvad_param_nFrameGap=40";
  const nlohmann::json document = nlohmann::json::parse(Segment({"-f", "json", "--checksum", "--set", setting, path}).out);
  const nlohmann::json& made_by = document["made_by"];
  EXPECT_THAT(made_by["program"].get<std::string>(), StartsWith("wvad "));
  EXPECT_EQ(made_by["model"], WVAD_TEST_MODEL);
  EXPECT_EQ(made_by["parameters"]["set"], std::vector<std::string>{setting});
  EXPECT_EQ(made_by["parameters"]["channel"], "mix");
  const nlohmann::json& file = document["files"][0];
  EXPECT_EQ(file["whole"], true);
  EXPECT_EQ(file["recording"]["rate"], 44100);
  EXPECT_EQ(file["recording"]["channels"], 1);
  EXPECT_EQ(file["recording"]["length"], 5.0);
  // The sums are those of sha256sum.
  const auto sum = [this](const std::string& of) {
    EXPECT_EQ(std::system(("sha256sum '" + of + "' >" + folder_.file("sum")).c_str()), 0);
    return folder_.read("sum").substr(0, 64);
  };
  EXPECT_EQ(made_by["model_sha256"], sum(WVAD_TEST_MODEL));
  EXPECT_EQ(file["recording"]["sha256"], sum(path));
  // A plain setting stands there by the engine's name, under what --set says.
  const nlohmann::json plain = nlohmann::json::parse(Segment({"-f", "json", "--threshold", "0.6", "--set", setting, path}).out);
  const auto set = plain["made_by"]["parameters"]["set"].get<NameList>();
  ASSERT_EQ(set.size(), 2U);
  EXPECT_THAT(set[0], StartsWith("wvad_param_vad_threshold=0.6"));
  EXPECT_EQ(set[1], setting);
  // The profile has a name, and what wins over one of its parameters stands there alone.
  const std::string threshold = "wvad_param_vad_threshold=0.7";
  const nlohmann::json parameters = nlohmann::json::parse(
      Segment({"-f", "json", "--profile", "fast", "--set", setting, "--set", threshold, path}).out)["made_by"]["parameters"];
  EXPECT_EQ(parameters["profile"], "fast");
  const auto in_force = parameters["set"].get<NameList>();
  EXPECT_EQ(std::count_if(in_force.begin(), in_force.end(),
                          [](const std::string& one) { return one.find("vad_threshold") != std::string::npos; }),
            1);
  EXPECT_EQ(in_force.back(), threshold);
  EXPECT_FALSE(document["made_by"]["parameters"].contains("profile"));
  const nlohmann::json bare = nlohmann::json::parse(Segment({"-f", "json", "--bare", path}).out);
  EXPECT_FALSE(bare.contains("made_by"));
  EXPECT_FALSE(bare["files"][0]["recording"].contains("sha256"));
}

TEST_F(ProgramForms, WholeIsWhatWasHeardToItsEnd) {
  const auto whole = [this](const NameList& arguments) {
    return nlohmann::json::parse(Segment(arguments).out)["files"][0]["whole"].get<bool>();
  };
  const std::string path = Wav("a.wav", 8, kTwoBursts);
  EXPECT_TRUE(whole({"-f", "json", path}));
  EXPECT_FALSE(whole({"-f", "json", "--endpoint", path}));
  folder_.write("cut.wav", folder_.read("a.wav").substr(0, 150000));
  EXPECT_FALSE(whole({"-f", "json", folder_.file("cut.wav")}));
}

TEST_F(ProgramForms, ChecksumWantsAFile) { ExpectFailure(Segment({"--checksum", "-f", "json", "-"}), 2, "--checksum: standard input"); }

TEST_F(ProgramForms, CaptionsHaveTheWordsThatAreGiven) {
  const std::string wav = Wav("a.wav", 5, kTwoBursts);
  EXPECT_THAT(Segment({"-f", "srt", "--caption", "(speech)", wav}).out, StartsWith("1\n00:00:00,700 --> 00:00:02,200\n(speech)\n\n2\n"));
  ExpectFailure(Segment({"-f", "csv", "--caption", "(speech)", wav}), 2, "--caption: goes with the forms srt and vtt");
  ExpectFailure(Segment({"-f", "vtt", "--caption", "a --> b", wav}), 2, "--caption: expected words in one line");
  ExpectFailure(Segment({"-f", "srt", "--caption", "a\n\nb", wav}), 2, "--caption: expected words in one line");
  ExpectFailure(Segment({"-f", "srt", "--caption", "a\xff", wav}), 2, "--caption: expected words in one line, in UTF-8");
  // Marks of WebVTT would hide words.
  EXPECT_THAT(Segment({"-f", "vtt", "--bare", "--caption", "<A & B>", wav}).out, HasSubstr("\n&lt;A &amp; B&gt;\n\n"));
  EXPECT_THAT(Segment({"-f", "srt", "--caption", "<A & B>", wav}).out, HasSubstr("\n<A & B>\n\n"));
}

TEST_F(ProgramForms, PrintfPrintsEachSentence) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Segment({"--printf", "{number} {begin:3} {end:3}\\n", path}).out, "1 0.700 2.200\n2 2.700 3.700\n");
  ExpectFailure(Segment({"--printf", "{start}", path}), 2, "--printf: there is no field start; choose begin");
  EXPECT_EQ(Segment({"--printf", "{id}\\n", "-f", "json", path}).code, 2);
  EXPECT_EQ(Segment({"--printf", "", path}).out, "");
  EXPECT_EQ(Segment({"--printf", "{id}\\n", "-o", Out() + "/", path}).code, 0);
  EXPECT_EQ(InFolder(), NameList{"a.txt"});
}

}  // namespace
}  // namespace TSEG::tool
