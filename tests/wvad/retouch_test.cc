// SPDX-License-Identifier: Apache-2.0
//
// wvad trim and wvad mute: what stays of a recording, bit for bit, and where it has come to stand.
#include <cstdlib>

#include "support/environment.h"
#include "wvad/cut_plan.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using nlohmann::json;

// The sentences of kTwoBursts in frames at 16000 Hz, of 80000.
constexpr int64_t kFrames = 80000;
const std::vector<FrameSpan> kSpeech = {{11200, 35200}, {43200, 59200}};

struct Sound {
  SF_INFO info{};
  std::vector<int> words;  // of 32 bits, interleaved
};

class Retouched : public Program {
 protected:
  void SetUp() override { current_ = folder_.path(); }

  // kTwoBursts in both channels, the second lower by a half, with different bits below the sixteenth everywhere: 24 bit.
  static std::vector<int> Stereo() {
    std::vector<int> words;
    const std::vector<int16_t> bursts = Bursts(5, kTwoBursts);
    for (size_t i = 0; i < bursts.size(); ++i) {
      const int low = static_cast<int>(i * 40503 % 256) * 256;
      words.push_back(bursts[i] * 65536 + low);
      words.push_back(bursts[i] * 32768 + low);
    }
    return words;
  }
  void WriteWords(const std::string& name, const std::vector<int>& words, int channels, int format) {
    SF_INFO info{};
    info.samplerate = 16000;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(folder_.file(name).c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    sf_write_int(file, words.data(), static_cast<sf_count_t>(words.size()));
    sf_close(file);
  }
  Sound Read(const std::string& name) {
    Sound sound;
    SNDFILE* file = sf_open(folder_.file(name).c_str(), SFM_READ, &sound.info);
    if (file == nullptr) return sound;
    sound.words.resize(static_cast<size_t>(sound.info.frames * sound.info.channels));
    sf_readf_int(file, sound.words.data(), sound.info.frames);
    sf_close(file);
    return sound;
  }
  // The frames of `span`, of two channels.
  static std::vector<int> Slice(const std::vector<int>& words, const FrameSpan& span) {
    return {words.begin() + 2 * span.begin, words.begin() + 2 * span.end};
  }
};

TEST_F(Retouched, TrimLeavesTheSentencesBitForBit) {
  WriteWords("a.wav", Stereo(), 2, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
  for (const char* output : {"out.wav", "out.flac"}) {
    const Outcome run = Run("trim", {"--fade", "0", "a.wav", "-o", output});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(std::string("wvad: ") + output + ": 2.50 of 5.00 s kept\n"));
    const Sound sound = Read(output);
    EXPECT_EQ(sound.info.samplerate, 16000);
    EXPECT_EQ(sound.info.channels, 2);
    EXPECT_EQ(sound.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_24);
    std::vector<int> expected = Slice(Stereo(), kSpeech[0]);
    const std::vector<int> second = Slice(Stereo(), kSpeech[1]);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(sound.words, expected);
  }
}

TEST_F(Retouched, TheMapTellsWhereEachStretchHasComeToStand) {
  Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Run("trim", {"-q", "a.wav", "-o", "out.wav", "--map", "map.csv"}).code, 0);
  EXPECT_EQ(folder_.read("map.csv"),
            "source_begin_frame,source_end_frame,begin_frame,end_frame,source_begin,source_end,begin,end\n"
            "11200,35200,0,24000,0.700000,2.200000,0.000000,1.500000\n"
            "43200,59200,24000,40000,2.700000,3.700000,1.500000,2.500000\n");
  EXPECT_EQ(Run("trim", {"-q", "--force", "a.wav", "-o", "out.wav", "--map", "map.json"}).code, 0);
  const json map = json::parse(folder_.read("map.json"));
  EXPECT_EQ(map["source"], "a.wav");
  EXPECT_EQ(map["output"], "out.wav");
  EXPECT_EQ(map["rate"], 16000);
  EXPECT_EQ(map["source_frames"], kFrames);
  EXPECT_EQ(map["frames"], 40000);
  EXPECT_EQ(map["made_by"]["model_sha256"].get<std::string>().size(), 64U);
  ASSERT_EQ(map["kept"].size(), 2U);
  EXPECT_EQ(map["kept"][1]["source_begin_frame"], 43200);
  EXPECT_EQ(map["kept"][1]["begin_frame"], 24000);
  EXPECT_EQ(map["kept"][1]["end"], 2.5);
}

TEST_F(Retouched, TheMapIsExactAtOtherRatesToo) {
  for (const int rate_hz : {8000, 11025, 44100}) {
    SCOPED_TRACE(rate_hz);
    const std::vector<int16_t> signal = Bursts(5, kTwoBursts, rate_hz);
    WriteAudio(folder_.file("a.wav"), signal, rate_hz);
    EXPECT_EQ(Run("trim", {"-q", "--force", "--fade", "0", "--keep", "0.1", "a.wav", "-o", "out.wav", "--map", "map.json"}).code, 0);
    const Sound sound = Read("out.wav");
    EXPECT_EQ(sound.info.samplerate, rate_hz);
    int64_t place = 0;
    const json map = json::parse(folder_.read("map.json"));
    for (const json& row : map["kept"]) {
      EXPECT_EQ(row["begin_frame"], place);
      for (auto from = row["source_begin_frame"].get<int64_t>(); from < row["source_end_frame"].get<int64_t>(); ++from, ++place) {
        ASSERT_EQ(sound.words[static_cast<size_t>(place)], signal[static_cast<size_t>(from)] * 65536);
      }
    }
    EXPECT_EQ(place, sound.info.frames);
  }
}

TEST_F(Retouched, ThereIsAFadeAtEachJoint) {
  WriteWords("a.wav", Stereo(), 2, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
  EXPECT_EQ(Run("trim", {"-q", "--fade", "10", "--pad-before", "0", "--pad-after", "0", "a.wav", "-o", "out.wav"}).code, 0);
  const Sound sound = Read("out.wav");
  // Without margins the sentences are 1.0 to 2.0 and 3.0 to 3.5 s; 10 ms are 160 frames.
  ASSERT_EQ(sound.info.frames, 24000);
  const std::vector<int> source = Stereo();
  const auto expect_faded = [&](int64_t at, int64_t from, int64_t step) {
    for (int64_t i = 0; i < 160; ++i) {
      const double gain = 0.5 - 0.5 * std::cos(3.14159265358979 * (static_cast<double>(i) + 0.5) / 160);
      const double wanted = gain * source[static_cast<size_t>(2 * (from + i * step))];
      ASSERT_NEAR(sound.words[static_cast<size_t>(2 * (at + i * step))], wanted, 1024) << at << " " << i;
    }
  };
  expect_faded(0, 16000, 1);
  expect_faded(15999, 31999, -1);
  expect_faded(16000, 48000, 1);
  expect_faded(23999, 55999, -1);
  for (int64_t i = 160; i < 15840; ++i) ASSERT_EQ(sound.words[static_cast<size_t>(2 * i)], source[static_cast<size_t>(2 * (16000 + i))]);
}

TEST_F(Retouched, OfEachSilenceSecondsStay) {
  Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Run("trim", {"-q", "--keep", "0.2", "a.wav", "-o", "out.wav", "--map", "map.csv"}).code, 0);
  // 3200 frames of each silence: before, 1600 and 1600 between, behind.
  EXPECT_THAT(folder_.read("map.csv"), HasSubstr("\n8000,36800,0,28800,"));
  EXPECT_THAT(folder_.read("map.csv"), HasSubstr("\n41600,62400,28800,49600,"));
  EXPECT_EQ(Run("trim", {"-q", "--keep", "9", "a.wav", "-o", "all.wav"}).code, 0);
  EXPECT_EQ(Read("all.wav").words, Read("a.wav").words);
}

TEST_F(Retouched, MuteKeepsLengthAndSpeech) {
  WriteWords("a.wav", Stereo(), 2, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
  const Outcome run = Run("mute", {"--fade", "0", "a.wav", "-o", "out.wav"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("wvad: out.wav: 2.50 of 5.00 s left as they were\n"));
  std::vector<int> expected = Stereo();
  for (int64_t i = 0; i < kFrames; ++i) {
    const bool speech = (i >= kSpeech[0].begin && i < kSpeech[0].end) || (i >= kSpeech[1].begin && i < kSpeech[1].end);
    if (!speech) expected[static_cast<size_t>(2 * i)] = expected[static_cast<size_t>(2 * i + 1)] = 0;
  }
  EXPECT_EQ(Read("out.wav").words, expected);
}

TEST_F(Retouched, MuteFadesWithinTheSpeech) {
  Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Run("mute", {"-q", "--fade", "100", "--pad-before", "0", "--pad-after", "0", "a.wav", "-o", "out.wav"}).code, 0);
  const Sound sound = Read("out.wav");
  ASSERT_EQ(sound.info.frames, kFrames);
  EXPECT_EQ(sound.words[15999], 0);
  EXPECT_LT(std::abs(sound.words[16000]), 65536);
  EXPECT_EQ(sound.words[16000 + 1600], Read("a.wav").words[16000 + 1600]);
  EXPECT_LT(std::abs(sound.words[31999]), 65536);
}

TEST_F(Retouched, TheSampleDepthIsTheRecordings) {
  struct Row {
    int source;
    int written;
  };
  const Row rows[] = {{SF_FORMAT_WAV | SF_FORMAT_PCM_U8, SF_FORMAT_PCM_U8}, {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_PCM_16},
                      {SF_FORMAT_WAV | SF_FORMAT_PCM_24, SF_FORMAT_PCM_24}, {SF_FORMAT_WAV | SF_FORMAT_PCM_32, SF_FORMAT_PCM_32},
                      {SF_FORMAT_WAV | SF_FORMAT_FLOAT, SF_FORMAT_FLOAT},   {SF_FORMAT_FLAC | SF_FORMAT_PCM_24, SF_FORMAT_PCM_24},
                      {SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_PCM_16}};
  for (const Row& row : rows) {
    WriteWords("a.sound", Stereo(), 2, row.source);
    EXPECT_EQ(Run("mute", {"-q", "--force", "a.sound", "-o", "out.wav"}).code, 0);
    EXPECT_EQ(Read("out.wav").info.format & SF_FORMAT_SUBMASK, row.written) << std::hex << row.source;
  }
}

TEST_F(Retouched, WhatIsLostOfThirtyTwoBitsIsSaid) {
  WriteWords("a.wav", Stereo(), 2, SF_FORMAT_WAV | SF_FORMAT_PCM_32);
  WriteWords("b.wav", Stereo(), 2, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
  for (const char* output : {"o.wav", "o.flac"}) {
    EXPECT_THAT(Run("trim", {"--force", "a.wav", "-o", output}).err, HasSubstr("; of 32 bits the upper 24 are written\n")) << output;
    EXPECT_THAT(Run("trim", {"--force", "b.wav", "-o", output}).err, ::testing::Not(HasSubstr("24"))) << output;
  }
  EXPECT_THAT(Run("trim", {"a.wav", "-o", "o.ogg"}).err, ::testing::Not(HasSubstr("24")));
}

TEST_F(Retouched, EveryKindOfFileIsWritten) {
  WriteWords("a.wav", Stereo(), 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
  for (const char* output : {"o.wav", "o.flac", "o.ogg", "o.opus", "o.mp3"}) {
    EXPECT_EQ(Run("trim", {"-q", "a.wav", "-o", output}).code, 0) << output;
    const Sound sound = Read(output);
    EXPECT_EQ(sound.info.samplerate, 16000) << output;
    EXPECT_EQ(sound.info.channels, 2) << output;
    EXPECT_EQ(sound.info.frames, 40000) << output;
  }
  EXPECT_EQ(Run("trim", {"-q", "a.wav", "--audio", "flac", "-o", "o.bin"}).code, 0);
  EXPECT_THAT(folder_.read("o.bin"), StartsWith("fLaC"));
}

TEST_F(Retouched, StandardInputGivesWhatTheFileGives) {
  Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Run("trim", {"-q", "a.wav", "-o", "file.wav"}).code, 0);
  input_ = folder_.read("a.wav");
  EXPECT_EQ(Run("trim", {"-q", "-", "-o", "pipe.wav"}).code, 0);
  EXPECT_EQ(folder_.read("pipe.wav"), folder_.read("file.wav"));
}

TEST_F(Retouched, WhatCannotBeIsRefusedBeforeAnyWork) {
  WriteAudio(folder_.file("cd.wav"), Bursts(5, kTwoBursts, 44100), 44100);
  Wav("a.wav", 5, kTwoBursts);
  folder_.write("there.wav", "mine");
  ExpectFailure(Run("trim", {"cd.wav", "-o", "o.opus"}), 5, "opus holds no sound of 44100 Hz");
  ExpectFailure(Run("trim", {"a.wav", "-o", "o.xyz"}), 2, "its ending names no kind of sound file");
  ExpectFailure(Run("trim", {"a.wav", "cd.wav", "-o", "o.wav"}), 2, "cd.wav: several recordings; call trim once for each");
  ExpectFailure(Run("trim", {"a.wav", "--channel", "all", "-o", "o.wav"}), 2, "--channel all");
  ExpectFailure(Run("trim", {"a.wav", "--audio", "wav", "-o", "-"}), 2, "a pipe or a device");
  ExpectFailure(Run("trim", {"a.wav", "-o", "o.wav", "--map", "o.txt"}), 2, "names no form");
  ExpectFailure(Run("trim", {"a.wav", "-o", "o.wav", "--map", "there.wav"}), 2, "names no form");
  for (const char* keep : {"nan", "-nan", "inf", "-1", "1e9"})
    ExpectFailure(Run("trim", {"a.wav", "-o", "o.wav", "--keep", keep}), 2, "--keep");
  // Other names of the map's file, which is not there yet.
  std::filesystem::create_directory(folder_.file("sub"));
  std::filesystem::create_symlink("o.csv", folder_.file("link.wav"));
  for (const char* output : {"link.wav", "./o.csv", "sub/../o.csv"}) {
    ExpectFailure(Run("trim", {"--force", "a.wav", "--audio", "wav", "-o", output, "--map", "o.csv"}), 2, "name one file");
  }
  ExpectFailure(Run("trim", {"--force", "a.wav", "-o", "a.wav"}), 8, "is read");
  ExpectFailure(Run("mute", {"a.wav", "-o", "there.wav"}), 8, "exists already");
  ExpectFailure(Run("mute", {"missing.wav", "-o", "o.wav"}), 3, "missing.wav");
  EXPECT_EQ(folder_.read("there.wav"), "mine");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.wav")));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.opus")));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.wav.wvad-part")));
}

TEST_F(Retouched, ANeighbourThatCannotBeWrittenCostsNoWorkAndLeavesNothing) {
  Wav("a.wav", 5, kTwoBursts);
  ExpectFailure(Run("trim", {"a.wav", "-o", "o.wav", "--map", "no/o.csv"}), 8, "no/o.csv: cannot be written: No such file or directory");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.wav")));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.wav.wvad-part")));
}

TEST_F(Retouched, OfNothingComesNoFileThatNobodyReads) {
  Wav("a.wav", 5, {});
  for (const char* output : {"o.flac", "o.mp3", "o.opus"}) {
    ExpectFailure(Run("trim", {"a.wav", "-o", output, "--map", "o.csv"}), 8, "nothing of a.wav stays");
    EXPECT_FALSE(std::filesystem::exists(folder_.file(output))) << output;
    EXPECT_FALSE(std::filesystem::exists(folder_.file("o.csv"))) << output;
  }
  EXPECT_EQ(Run("trim", {"-q", "a.wav", "-o", "o.ogg"}).code, 0);
  EXPECT_EQ(Read("o.ogg").info.frames, 0);
}

TEST_F(Retouched, AFullDiskLeavesNothing) {
  Wav("a.wav", 5, kTwoBursts);
  const Outcome run = WithFileSizeLimit(30000, [&] { return Run("mute", {"a.wav", "-o", "o.wav"}); });
  ExpectFailure(run, 8, "o.wav: cannot be written: File too large");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.wav")));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.wav.wvad-part")));
}

TEST_F(Retouched, NoRoomForWhatComesOnceIsToldWithItsPlaceAndTheWayRound) {
  Wav("a.wav", 5, kTwoBursts);
  input_ = folder_.read("a.wav");
  std::filesystem::create_directory(folder_.file("tmp"));
  const testing_support::ScopedVariable temporary("TMPDIR", folder_.file("tmp"));
  // 80000 samples are kept as floats; the recording and what is made of it are smaller.
  const Outcome run = WithFileSizeLimit(200000, [&] { return Run("trim", {"-", "-o", "o.wav"}); });
  ExpectFailure(
      run, 8,
      "-: is kept in a temporary file in " + folder_.file("tmp") + " meanwhile, which cannot be written: File too large; set TMPDIR");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("o.wav")));
}

TEST_F(Retouched, OfADamagedRecordingWhatIsThereIsWritten) {
  Wav("a.wav", 5, kTwoBursts);
  folder_.write("cut.wav", folder_.read("a.wav").substr(0, 44 + 2 * 40000));  // 2.5 s of 5
  const Outcome run = Run("trim", {"-q", "cut.wav", "-o", "o.wav", "--map", "o.csv"});
  EXPECT_EQ(run.code, 4);
  EXPECT_THAT(run.err, HasSubstr("cut short"));
  EXPECT_EQ(Read("o.wav").info.frames, 24000);
  EXPECT_THAT(folder_.read("o.csv"), HasSubstr("\n11200,35200,0,24000,"));
}

TEST_F(Retouched, ARecordingWithoutSpeechIsTold) {
  Wav("a.wav", 5, {});
  const Outcome run = Run("mute", {"a.wav", "-o", "o.wav"});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.err, HasSubstr("0.00 of 5.00 s left as they were; no sentences found"));
  EXPECT_EQ(Read("o.wav").info.frames, kFrames);
  EXPECT_EQ(Run("trim", {"-q", "a.wav", "-o", "t.wav"}).code, 0);
  EXPECT_EQ(Read("t.wav").info.frames, 0);
}

}  // namespace
}  // namespace TSEG::tool
