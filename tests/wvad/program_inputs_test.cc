// SPDX-License-Identifier: Apache-2.0
//
// What the program hears: containers from pipes, raw samples, recordings that are not whole, channels.
#include <cstring>
#include <filesystem>

#include "support/eventually.h"
#include "wvad/live_program.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

const std::string kSpeech = std::string(WVAD_TEST_DATA_DIR) + "/../../examples/audio/jfk.flac";  // 11.0 s, 16 kHz

struct Kind {
  const char* ending;
  int format;
};

// What libsndfile writes.
const Kind kKinds[] = {{"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
                       {"flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
                       {"ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
                       {"opus", SF_FORMAT_OGG | SF_FORMAT_OPUS},
                       {"mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III},
                       {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                       {"au", SF_FORMAT_AU | SF_FORMAT_PCM_16},
                       {"caf", SF_FORMAT_CAF | SF_FORMAT_PCM_16},
                       {"w64", SF_FORMAT_W64 | SF_FORMAT_PCM_16},
                       {"rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_16}};

class Inputs : public Program {
 protected:
  // Two bursts with noise in them, 10 s: something that no encoder makes nothing of.
  std::string Recording(const Kind& kind) {
    std::vector<int16_t> signal = Bursts(10, {{1.0, 3.0}, {5.0, 9.0}});
    unsigned state = 1;
    for (int16_t& sample : signal) {
      state = state * 1664525U + 1013904223U;
      if (sample != 0) sample = static_cast<int16_t>(sample / 2 + static_cast<int>(state >> 22) - 512);
    }
    const std::string path = folder_.file(std::string("a.") + kind.ending);
    WriteAudio(path, signal, 16000, 1, kind.format);
    return path;
  }
  std::string Name(const Kind& kind) const { return std::string("a.") + kind.ending; }
  nlohmann::json First(const Outcome& run) { return nlohmann::json::parse(run.out).at("files").at(0); }
  // Runs with standard input from a pipe.
  Outcome Piped(const std::string& path, const std::string& more = "") {
    const std::string out = folder_.file("piped");
    const std::string call = "cat " + path + " | " + WVAD_PROGRAM + " segment -f json -m " + WVAD_TEST_MODEL + " " + more + " - >" + out +
                             " 2>" + folder_.file("err");
    const int status = std::system(call.c_str());
    return {WEXITSTATUS(status), folder_.read("piped"), folder_.read("err")};
  }
  // The code is that of damage, the words are in one line and in the JSON.
  nlohmann::json ExpectDamage(const Outcome& run, const std::string& words) {
    EXPECT_EQ(run.code, 4) << run.out;
    EXPECT_EQ(Lines(run.err), 1) << run.err;
    EXPECT_THAT(run.err, HasSubstr(words));
    const nlohmann::json file = First(run);
    EXPECT_THAT(file.value("damage", ""), HasSubstr(words));
    return file;
  }
};

TEST_F(Inputs, ContainerOnStandardInputIsDecoded) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.ending);
    const std::string path = Recording(kind);
    const Outcome file = Segment({"-f", "json", path});
    EXPECT_EQ(file.code, 0) << file.err;
    EXPECT_EQ(Found(file.out).size(), 2U);
    const Outcome piped = Piped(path);
    EXPECT_EQ(piped.code, 0) << piped.err;
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(Found(piped.out), Found(file.out));
    EXPECT_EQ(First(piped)["heard"], First(file)["heard"]);
    // And from a file on standard input.
    input_ = folder_.read(Name(kind));
    EXPECT_EQ(Found(Segment({"-f", "json", "-"}).out), Found(file.out));
  }
}

TEST_F(Inputs, WaveOnAPipeIsHeardWhileItComes) {
  // arecord and the like write a WAV header whose length they do not know.
  for (const unsigned size : {0x80000000U, 0xFFFFFFFFU, 0U}) {
    Recording(kKinds[0]);
    std::string bytes = folder_.read("a.wav").substr(0, 44) + Bytes(Bursts(3.5, {{1.0, 2.0}}));
    std::memcpy(bytes.data() + 40, &size, 4);
    std::filesystem::remove(folder_.file("out"));
    std::filesystem::create_directory(folder_.file("out"));
    testing::LiveProgram program({"split", "-q", "-m", WVAD_TEST_MODEL, "-d", folder_.file("out"), "-"});
    program.Write(bytes);
    EXPECT_TRUE(testing_support::Eventually([&] { return std::filesystem::exists(folder_.file("out/stdin-0001.wav")); })) << size;
    program.CloseInput();
    EXPECT_EQ(program.Wait(), 0) << size;
    std::filesystem::remove_all(folder_.file("out"));
  }
}

TEST_F(Inputs, RawSamplesHaveAForm) {
  const std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  std::string s24;
  std::string f32;
  std::string mulaw;
  for (const int16_t sample : signal) {
    s24 += std::string(1, '\0') + static_cast<char>(sample & 0xFF) + static_cast<char>(sample >> 8);
    const float value = static_cast<float>(sample) / 32768;
    f32.append(reinterpret_cast<const char*>(&value), 4);
    // 8000 lies in the segment of 7932 to 16124: mu-law 0x9F is 7932.
    mulaw += static_cast<char>(sample == 0 ? 0xFF : sample > 0 ? 0x9F : 0x1F);
  }
  for (const auto& [form, bytes] :
       {std::pair<std::string, std::string>("s16", Bytes(signal)), {"s24", s24}, {"f32", f32}, {"mulaw", mulaw}}) {
    input_ = bytes;
    EXPECT_EQ(Found(Segment({"-f", "json", "--raw", form, "-"}).out), kTwoSentences) << form;
    EXPECT_EQ(Found(Segment({"-f", "json", "--raw", form, folder_.write("a.raw", bytes)}).out), kTwoSentences) << form;
  }
  ExpectFailure(Segment({"--raw", "s8", "-"}), 2, "--raw: there is no s8; choose s16, s24, s32, f32, u8, mulaw or alaw");
}

TEST_F(Inputs, WhatOnlyLooksLikeAFrameIsRaw) {
  // 0xFFFB is the begin of an MP3 frame, and a sample of -1025.
  input_ = std::string("\xFF\xFB", 2) + Bytes(Bursts(5, kTwoBursts)).substr(2);
  EXPECT_EQ(Found(Segment({"-f", "json", "-"}).out), kTwoSentences);
}

TEST_F(Inputs, RecordingThatIsCutShortIsHeardAsFarAsItGoesAndSaysSo) {
  for (const Kind& kind : kKinds) {
    if (std::string("caf w64 rf64").find(kind.ending) != std::string::npos) continue;  // libsndfile takes no part of these
    SCOPED_TRACE(kind.ending);
    Recording(kind);
    const std::string bytes = folder_.read(Name(kind));
    const std::string cut = folder_.write(std::string("cut.") + kind.ending, bytes.substr(0, bytes.size() * 6 / 10));
    const nlohmann::json file = ExpectDamage(Segment({"-f", "json", cut}), "cut short");
    EXPECT_GT(file["heard"].get<double>(), 4.0);
    EXPECT_LT(file["heard"].get<double>(), 7.5);
    EXPECT_GE(file["sentences"].size(), 1U);
    ExpectDamage(Piped(cut), "cut short");
  }
}

TEST_F(Inputs, DamageInTheMiddleIsSaidAndTheRestIsHeard) {
  for (const Kind& kind : kKinds) {
    if (std::string("flac ogg opus mp3").find(kind.ending) == std::string::npos) continue;  // the others hold bare samples
    SCOPED_TRACE(kind.ending);
    Recording(kind);
    std::string bytes = folder_.read(Name(kind));
    for (size_t i = 0; i < 300; ++i) bytes[bytes.size() / 2 + i] = static_cast<char>(bytes[bytes.size() / 2 + i] ^ 0x5A);
    const nlohmann::json file = ExpectDamage(Segment({"-f", "json", folder_.write(std::string("b.") + kind.ending, bytes)}), "damaged");
    EXPECT_GT(file["heard"].get<double>(), 5.5);
  }
}

TEST_F(Inputs, DamagedFlacKeepsItsTimes) {
  Recording(kKinds[1]);
  std::string bytes = folder_.read("a.flac");
  for (size_t i = 0; i < 300; ++i) bytes[bytes.size() / 2 + i] = static_cast<char>(bytes[bytes.size() / 2 + i] ^ 0x5A);
  const nlohmann::json file =
      ExpectDamage(Segment({"-f", "json", folder_.write("b.flac", bytes)}), "could not be decoded and count as silence");
  EXPECT_EQ(file["heard"], 10.0);
}

TEST_F(Inputs, MinutesThatAFlacHasLostTakeNoMemory) {
  const auto peak_kib = [] {
    rusage usage = {};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss;
  };
  std::vector<int16_t> eight;
  for (const int16_t sample : Bursts(600, {{1.0, 1.6}, {590.0, 590.6}})) eight.insert(eight.end(), 8, sample);
  WriteAudio(folder_.file("a.flac"), eight, 16000, 8, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
  const Outcome whole = Segment({"-f", "json", folder_.file("a.flac")});
  const long before = peak_kib();
  // Silence is packed so well that minutes of it lie in the middle fifth of the bytes: of eight channels, more than 50 MiB of floats.
  std::string bytes = folder_.read("a.flac");
  bytes.erase(bytes.size() * 4 / 10, bytes.size() / 5);
  const Outcome run = Segment({"-f", "json", folder_.write("b.flac", bytes)});
  EXPECT_EQ(ExpectDamage(run, "could not be decoded and count as silence")["heard"], 600.0);
  EXPECT_EQ(Found(run.out), Found(whole.out));
  EXPECT_LT(peak_kib() - before, 30 * 1024);
}

TEST_F(Inputs, WhatStandsBehindTheSoundIsNoDamage) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.ending);
    Recording(kind);
    // An ID3v1 tag, as programs put it behind anything.
    const std::string tagged = folder_.write(std::string("t.") + kind.ending, folder_.read(Name(kind)) + "TAG" + std::string(125, ' '));
    const Outcome run = Segment({"-f", "json", tagged});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(First(run)["heard"], First(Segment({"-f", "json", folder_.file(Name(kind))}))["heard"]);
  }
}

TEST_F(Inputs, OneWrongBitIsSaidWhereTheFormatHasAChecksum) {
  for (const char* ending : {"flac", "ogg", "opus", "mp3"}) {
    for (const Kind& kind : kKinds) {
      if (std::strcmp(kind.ending, ending) == 0) Recording(kind);
    }
    std::string bytes = folder_.read(std::string("a.") + ending);
    bytes[bytes.size() * 2 / 3] = static_cast<char>(bytes[bytes.size() * 2 / 3] ^ 1);
    ExpectDamage(Segment({"-f", "json", folder_.write(std::string("b.") + ending, bytes)}), "damaged");
  }
}

TEST_F(Inputs, LengthInTheNoteOfAnMp3HoldsWhateverItsChecksumIsReckonedOver) {
  for (const Kind& kind : kKinds) {
    if (std::strcmp(kind.ending, "mp3") == 0) Recording(kind);
  }
  std::string bytes = folder_.read("a.mp3");
  const size_t note = std::min(bytes.find("Info"), bytes.find("Xing"));
  ASSERT_LT(note, 200U);
  bytes[note + 154] = static_cast<char>(~bytes[note + 154]);  // the note's own checksum
  EXPECT_EQ(Segment({"-f", "json", folder_.write("b.mp3", bytes)}).code, 0);
  const nlohmann::json file =
      ExpectDamage(Segment({"-f", "json", folder_.write("c.mp3", bytes.substr(0, bytes.size() / 2))}), "cut short: ");
  EXPECT_THAT(file["damage"].get<std::string>(), HasSubstr(" of about "));
}

TEST_F(Inputs, WaveThatWasNeverClosedIsHeardWhole) {
  Wav("a.wav", 5, kTwoBursts);
  std::string bytes = folder_.read("a.wav");
  std::memset(bytes.data() + 4, 0, 4);
  std::memset(bytes.data() + 40, 0, 4);
  const nlohmann::json file = ExpectDamage(Segment({"-f", "json", folder_.write("open.wav", bytes)}), "never closed");
  EXPECT_EQ(file["heard"], 5.0);
  EXPECT_EQ(file["sentences"].size(), 2U);
  // The outer length may have been filled in all the same.
  const uint32_t outer = static_cast<uint32_t>(bytes.size() - 8);
  std::memcpy(bytes.data() + 4, &outer, 4);
  const Outcome half = Segment({"-f", "json", folder_.write("half.wav", bytes)});
  EXPECT_EQ(ExpectDamage(half, "never closed")["heard"], 5.0);
  // One that is empty by right is none of these.
  WriteAudio(folder_.file("empty.wav"), {});
  EXPECT_EQ(Segment({"-f", "json", folder_.file("empty.wav")}).code, 0);
  std::string noted = folder_.read("empty.wav") + std::string("LIST\x04\0\0\0INFO", 12);
  const uint32_t with_note = static_cast<uint32_t>(noted.size() - 8);
  std::memcpy(noted.data() + 4, &with_note, 4);
  EXPECT_EQ(Segment({"-f", "json", folder_.write("noted.wav", noted)}).code, 0);
}

TEST_F(Inputs, DamageIsSaidByEveryCommand) {
  Wav("a.wav", 5, kTwoBursts);
  const std::string cut = folder_.write("cut.wav", folder_.read("a.wav").substr(0, 44 + 80000));  // 2.5 s
  for (const char* command : {"segment", "quality", "scores"}) {
    const Outcome run = Run(command, {"-q", cut});
    EXPECT_EQ(run.code, 4) << command;
    EXPECT_EQ(run.err, "wvad: " + cut + ": cut short: 2.50 of 5.00 s are there\n") << command;
  }
  for (const char* command : {"split", "features"}) {
    EXPECT_EQ(Run(command, {"-q", "-d", folder_.file("out"), cut}).code, 4) << command;
    const std::string index = std::string("out/cut-") + command + ".json";
    EXPECT_EQ(nlohmann::json::parse(folder_.read(index))["damage"], "cut short: 2.50 of 5.00 s are there");
  }
}

TEST_F(Inputs, StandardInputThatDoesNotBlockIsWaitedFor) {
  // A pipe whose reading end does not wait, as a terminal program may leave it behind.
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  const std::string bytes = Bytes(Bursts(5, kTwoBursts));
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[0], 0);
    close(ends[1]);
    const std::string call =
        std::string(WVAD_PROGRAM) + " segment -f json -m " + WVAD_TEST_MODEL + " - >" + folder_.file("out") + " 2>" + folder_.file("err");
    execl("/bin/sh", "sh", "-c", call.c_str(), static_cast<char*>(nullptr));
    _exit(99);
  }
  close(ends[0]);
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t written = write(ends[1], bytes.data() + done, std::min<size_t>(bytes.size() - done, 16000));
    if (written > 0) done += static_cast<size_t>(written);
    usleep(20000);
  }
  close(ends[1]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(folder_.read("err"), "");
  EXPECT_EQ(Found(folder_.read("out")), kTwoSentences);
}

class Channels : public Inputs {
 protected:
  std::string Stereo(const std::vector<int16_t>& left, const std::vector<int16_t>& right) {
    std::vector<int16_t> both;
    for (size_t i = 0; i < left.size(); ++i) both.insert(both.end(), {left[i], right[i]});
    const std::string path = folder_.file("stereo.wav");
    WriteAudio(path, both, 16000, 2);
    return path;
  }
};

TEST_F(Channels, OppositePhaseIsSaid) {
  const std::vector<int16_t> left = Bursts(5, kTwoBursts);
  std::vector<int16_t> right = left;
  for (int16_t& sample : right) sample = static_cast<int16_t>(-sample);
  const std::string path = Stereo(left, right);
  const Outcome run = Segment({"-f", "json", path});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(Lines(run.err), 1);
  EXPECT_THAT(run.err, HasSubstr("stereo.wav: note: the channels cancel each other out"));
  EXPECT_THAT(First(run)["note"].get<std::string>(), StartsWith("the channels cancel"));
  EXPECT_THAT(Run("scores", {path}).err, HasSubstr("the channels cancel each other out"));
  const Outcome one = Segment({"-f", "json", "--channel", "1", path});
  EXPECT_EQ(one.err, "");
  EXPECT_EQ(Found(one.out), kTwoSentences);
}

TEST_F(Channels, EachByItselfInOneRun) {
  const std::string path = Stereo(Bursts(5, {{1.0, 2.0}}), Bursts(5, {{0.5, 1.0}, {3.0, 3.5}}));
  const Outcome csv = Segment({"-f", "csv", "--channel", "all", path});
  EXPECT_EQ(csv.code, 0) << csv.err;
  EXPECT_THAT(csv.out, StartsWith("file,channel,begin,end,duration,vol,trig,eg,error,code\n" + path + ",2,0.20,1.20,"));
  EXPECT_THAT(csv.out, HasSubstr(path + ",1,0.70,2.20,"));
  EXPECT_THAT(csv.out, HasSubstr(path + ",2,2.70,3.70,"));
  EXPECT_EQ(Lines(csv.out), 4);
  for (const char* ms : {"7", "10", "1000", "10000"}) {
    EXPECT_EQ(Segment({"-f", "csv", "--channel", "all", "--chunk-ms", ms, path}).out, csv.out) << ms;
  }
  const nlohmann::json file = First(Segment({"-f", "json", "--channel", "all", path}));
  EXPECT_EQ(file["sentences"][0]["channel"], 2);
  EXPECT_EQ(file["sentences"].size(), 3U);
  EXPECT_EQ(file["heard"], 5.0);
  EXPECT_THAT(Segment({"--channel", "all", path}).out, StartsWith("  channel     begin       end"));
  const nlohmann::json quality = First(Run("quality", {"-f", "json", "--channel", "all", path}));
  ASSERT_EQ(quality["quality"].size(), 2U);
  EXPECT_EQ(quality["quality"][1]["channel"], 2);
  EXPECT_EQ(Run("split", {"-q", "--channel", "all", "-d", folder_.file("out"), path}).code, 0);
  EXPECT_EQ(nlohmann::json::parse(folder_.read("out/stereo-split.json"))["sentences"][1]["channel"], 1);
  // One channel for itself gives the same.
  EXPECT_EQ(Found(Segment({"-f", "json", "--channel", "1", path}).out), (Spans{{0.7, 2.2}}));
  ExpectFailure(Segment({"--channel", "all", "--endpoint", path}), 2, "exclude each other");
  ExpectFailure(Run("scores", {"--channel", "all", path}), 2, "one channel at a time");
}

}  // namespace
}  // namespace TSEG::tool
