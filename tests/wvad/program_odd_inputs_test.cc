// SPDX-License-Identifier: Apache-2.0
//
// What the program says of inputs that are hardly any: pipes without anything, headers that cannot be, options that do nothing, samples
// that are no numbers.
#include <cstring>
#include <fstream>
#include <limits>

#include "support/eventually.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

class OddInputs : public Program {
 protected:
  static nlohmann::json First(const Outcome& run) { return nlohmann::json::parse(run.out).at("files").at(0); }
};

TEST_F(OddInputs, NothingFromAPipeIsToldLikeAnEmptyFile) {
  const std::string call =
      ": | " + std::string(WVAD_PROGRAM) + " segment -q -m " + WVAD_TEST_MODEL + " - >" + folder_.file("out") + " 2>" + folder_.file("err");
  EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 4);
  EXPECT_EQ(folder_.read("out"), "");
  EXPECT_EQ(folder_.read("err"), "wvad: -: no audio came (standard input is empty)\n");
  // Nor from nothing, or a named pipe.
  ExpectFailure(Segment({"-q", "-f", "csv", "-o", folder_.file("x"), "-"}), 4, "standard input is empty");
  ASSERT_EQ(mkfifo(folder_.file("fifo").c_str(), 0600), 0);
  const pid_t writer = fork();
  if (writer == 0) {
    close(open(folder_.file("fifo").c_str(), O_WRONLY));
    _exit(0);
  }
  ExpectFailure(Segment({"-q", "-f", "csv", "-o", folder_.file("x"), folder_.file("fifo")}), 4, "fifo: not an audio file");
  waitpid(writer, nullptr, 0);
}

TEST_F(OddInputs, StreamOfBytesThatNobodyKnowsIsNotKept) {
  // Room for what a stream keeps of its begin, and not for what has no end.
  const auto heard = [&](const std::string& name) {
    return WithFileSizeLimit(size_t{8} << 20, [&] { return Segment({"-q", "-f", "csv", "-o", folder_.file("x"), name}); });
  };
  ExpectFailure(heard("/dev/zero"), 4, "/dev/zero: not audio that is known by its first MiB");
  ExpectFailure(Segment({"--files-from", "/dev/zero"}), 3, "/dev/zero: is no text");
  // A short one is looked at whole, and samples that are said to be some are heard.
  ExpectFailure(heard("/proc/version"), 4, "/proc/version: not an audio file");
  input_ = Bytes(Bursts(3, {{1.0, 2.0}}));
  EXPECT_EQ(Found(Segment({"-q", "-f", "json", "--raw", "s16", "/dev/stdin"}).out), (Spans{{0.7, 2.2}}));
}

TEST_F(OddInputs, PipeInThePlaceOfAModelIsRefusedAndNotWaitedFor) {
  const std::string path = Wav("a.wav", 1, {});
  ASSERT_EQ(mkfifo(folder_.file("fifo.bin").c_str(), 0600), 0);
  const std::string words = "fifo.bin: this is not a model file of this engine, but a pipe or a device";
  ExpectFailure(Call({"segment", "-m", folder_.file("fifo.bin"), path}), 7, words);
  ExpectFailure(Call({"segment", "--models-dir", folder_.path(), "-m", "fifo", path}), 7, words);
}

TEST_F(OddInputs, PipeThatNobodyWritesToIsInterruptedInOrder) {
  ASSERT_EQ(mkfifo(folder_.file("fifo").c_str(), 0600), 0);
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  for (const std::string& arguments : {folder_.file("fifo"), "--config " + folder_.file("fifo") + " " + path}) {
    const std::string err = folder_.write("err", "");
    const std::string call = "exec " + std::string(WVAD_PROGRAM) + " segment -q -m " + WVAD_TEST_MODEL + " " + arguments + " 2>" + err;
    const pid_t child = fork();
    if (child == 0) {
      execl("/bin/sh", "sh", "-c", call.c_str(), static_cast<char*>(nullptr));
      _exit(99);
    }
    int status = 0;
    const std::string about = "/proc/" + std::to_string(child) + "/status";
    ASSERT_TRUE(testing_support::Eventually([&] {
      std::ifstream in(about);
      std::string line;
      while (std::getline(in, line) && line.compare(0, 7, "SigCgt:") != 0) continue;
      return !line.empty() && (std::stoull("0" + line.substr(8), nullptr, 16) >> (SIGINT - 1) & 1U) != 0;
    }));
    kill(child, SIGINT);
    ASSERT_TRUE(testing_support::Eventually([&] { return waitpid(child, &status, WNOHANG) == child; }));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 10) << status;
    EXPECT_THAT(folder_.read("err"), HasSubstr("fifo: interrupted\n"));
  }
}

TEST_F(OddInputs, RateOfAWaveThatIsNoneHasWords) {
  Wav("a.wav", 3, {{1.0, 2.0}});
  for (const auto& [rate, words] : {std::pair<uint32_t, const char*>(0, "unsupported sample rate 0 Hz"),
                                    {999, "unsupported sample rate 999 Hz"},
                                    {0x80000000U, "unsupported sample rate 2147483648 Hz"},
                                    {0xFFFFFFFFU, "unsupported sample rate 4294967295 Hz"}}) {
    std::string bytes = folder_.read("a.wav");
    std::memcpy(bytes.data() + 24, &rate, 4);
    ExpectFailure(Segment({"-q", "-f", "csv", "-o", folder_.file("x"), folder_.write("b.wav", bytes)}), 5, words);
  }
}

TEST_F(OddInputs, RateAndChannelsOfAContainerAreItsOwn) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  const Outcome run = Segment({"-f", "json", "--rate", "8000", path});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(Found(run.out), kTwoSentences);
  EXPECT_THAT(run.err, HasSubstr("a.wav: note: --rate and --channels are of raw samples (--raw) and have no effect"));
  EXPECT_THAT(Segment({"--channels", "1", path}).err, HasSubstr("have no effect"));
  input_ = Bytes(Bursts(5, kTwoBursts));
  EXPECT_EQ(Segment({"--rate", "16000", "-"}).err, "");
}

TEST_F(OddInputs, LittleThatIsMissingIsTold) {
  Wav("a.wav", 5, kTwoBursts);
  const std::string bytes = folder_.read("a.wav");
  const Outcome run = Segment({"-f", "json", folder_.write("b.wav", bytes.substr(0, bytes.size() - 2))});
  EXPECT_EQ(run.code, 4);
  EXPECT_EQ(First(run)["damage"], "cut short: 4.9999 of 5.0000 s are there");
}

TEST_F(OddInputs, SamplesThatAreNoNumbersDoNotSpoilTheOthers) {
  std::string f32;
  const std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  for (size_t i = 0; i < signal.size(); ++i) {
    const float value = i % 50 == 0 ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(signal[i]) / 32768;
    f32.append(reinterpret_cast<const char*>(&value), 4);
  }
  input_ = f32;
  // Resampled, each of them would take its neighbours with it.
  const Outcome run = Segment({"-f", "json", "--raw", "f32", "-s", "VAD_PARAM_SAMPLERATE=8000", "-"});
  EXPECT_EQ(Found(run.out).size(), 2U);
  EXPECT_THAT(run.err, HasSubstr("-: note: 2.0 % of the samples are no numbers or infinite and count as silence"));
  EXPECT_THAT(First(run)["note"].get<std::string>(), StartsWith("2.0 % of the samples"));
  EXPECT_THAT(Run("scores", {"--raw", "f32", "-"}).err, HasSubstr("2.0 % of the samples are no numbers"));
}

TEST_F(Program, PlaylistsAreToldFromRecordings) {
  const std::string wav = Wav("a.wav", 3, {{1.0, 2.0}});
  const std::string m3u = folder_.write("in/list.m3u", "#EXTM3U\n#EXTINF:3,talk\n\n../a.wav\n");
  const std::string radio = folder_.write("in/radio.m3u", "# no mark\r\nhttp://127.0.0.1:9/live.mp3\r\n");
  const std::string pls = folder_.write("in/radio.pls", "[playlist]\nNumberOfEntries=1\nFile1=https://127.0.0.1:9/live.mp3\n");
  ExpectFailure(Segment({"-f", "csv", "-o", folder_.file("no"), m3u}), 4,
                "list.m3u: is a playlist, which is not heard itself; name its recordings");
  ExpectFailure(Segment({"-f", "csv", "-o", folder_.file("no"), radio}), 4,
                "radio.m3u: is a playlist, which leads to an address; give that itself: --allow-network http://127.0.0.1:9/live.mp3");
  ExpectFailure(Segment({"-f", "csv", "-o", folder_.file("no"), pls}), 4, "give that itself: --allow-network https://127.0.0.1:9/live.mp3");
  const std::string other = folder_.write("in/radio.PLS", "\r\n[PlayList]\r\nfile2=b.mp3\r\nFILE1 = https://127.0.0.1:9/a.mp3\r\n");
  ExpectFailure(Segment({"-f", "csv", "-o", folder_.file("no"), other}), 4, "give that itself: --allow-network https://127.0.0.1:9/a.mp3");
  // In a folder they are nobody's mistake.
  std::filesystem::copy_file(wav, folder_.file("in/a.wav"));
  const Outcome folder = Segment({"-f", "csv", folder_.file("in")});
  EXPECT_EQ(folder.code, 0) << folder.err;
  EXPECT_THAT(folder.err, HasSubstr("4 files in folders passed over"));
}

}  // namespace
}  // namespace TSEG::tool
