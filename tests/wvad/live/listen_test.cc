// SPDX-License-Identifier: Apache-2.0
//
// wvad listen, on a microphone that plays made signals.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "wvad/failure.h"
#include "wvad/live/listen_command.h"
#include "wvad/live/live_line.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using nlohmann::json;

// What the microphone hears, and what happens when it has been heard: an interrupt, or that the device is gone.
struct Scene {
  std::vector<int16_t> signal;  // interleaved
  int rate_hz = 16000;
  int channels = 1;
  bool unplugged = false;
};
Scene g_scene;

class FakeCapture : public Capture {
 public:
  explicit FakeCapture(int channels) : channels_(channels) {}
  int rate_hz() const override { return g_scene.rate_hz; }
  int channels() const override { return channels_; }
  int64_t losses() const override { return 0; }
  size_t Read(float* out, size_t count, int) override {
    const auto channels = static_cast<size_t>(channels_);
    const size_t frames = std::min(count, g_scene.signal.size() / channels - at_);
    for (size_t i = 0; i < frames * channels; ++i) out[i] = static_cast<float>(g_scene.signal[at_ * channels + i]) / 32768.0F;
    at_ += frames;
    if (frames > 0) return frames;
    if (g_scene.unplugged) throw Failure(ExitCode::kNoFile, "Fake: cannot be listened to: gone");
    raise(SIGINT);
    return 0;
  }

 private:
  int channels_;
  size_t at_ = 0;
};

std::vector<CaptureDevice> FakeDevices() {
  return {{3, "Built-in", "Fake", 2, 44100, false}, {5, "Fake", "Fake", g_scene.channels, g_scene.rate_hz, true}};
}
std::unique_ptr<Capture> OpenFake(const CaptureDevice&, int, int channels) { return std::make_unique<FakeCapture>(channels); }
constexpr CaptureModule kFake = {"", FakeDevices, OpenFake};

const LiveFormat* Format(const std::string& name) { return LiveFormatOfEnding("x." + name); }

// Each run in a process of its own, since an interrupt is remembered for good.
class Listen : public Program {
 protected:
  void SetUp() override {
    options_.engine.model = WVAD_TEST_MODEL;
    options_.quiet = true;
  }
  Outcome Run() {
    const std::string out = folder_.file("stdout");
    const std::string err = folder_.file("stderr");
    std::fflush(nullptr);  // what waits in the buffers here would be written by both
    const pid_t child = fork();
    if (child == 0) {
      dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
      dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      int code = 99;
      try {
        code = static_cast<int>(RunListen(options_, kFake));
      } catch (const Failure& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        code = static_cast<int>(failure.code());
      }
      std::fflush(nullptr);
      _exit(code);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), folder_.read("stdout"), folder_.read("stderr")};
  }
  static std::vector<json> Events(const std::string& lines) {
    std::vector<json> events;
    for (size_t begin = 0; begin < lines.size();) {
      const size_t end = lines.find('\n', begin);
      events.push_back(json::parse(lines.substr(begin, end - begin)));
      begin = end + 1;
    }
    return events;
  }

  ListenOptions options_;
};

TEST_F(Listen, SentencesStandInTheTableUntilTheInterrupt) {
  g_scene = {Bursts(5, kTwoBursts)};
  options_.quiet = false;
  const Outcome run = Run();
  EXPECT_EQ(run.code, 0);
  // The bursts have 20 log10(8000 / 32768) = -12.25 dB; two frames before each, whose windows reach into it, count as its speech, and hold
  // nothing: 1.00 of 1.02 s and 0.50 of 0.52 s are 0.09 and 0.17 dB less.
  EXPECT_THAT(run.out, StartsWith("     begin       end  duration   level     SNR\n      0.70      2.20      1.50   -12.3"));
  EXPECT_THAT(run.out, HasSubstr("\n      2.70      3.70      1.00   -12.4"));
  EXPECT_THAT(run.out, HasSubstr("\n2 sentences, 2.50 s of speech in 5.00 s\n"));
  EXPECT_EQ(run.err, "wvad: listening to Fake, 16000 Hz; Ctrl-C ends it\n");
}

TEST_F(Listen, ASoundLibraryThatGivesUpIsOneFailure) {
  const CaptureModule broken = {"", []() -> std::vector<CaptureDevice> { abort(); }, OpenFake};
  try {
    RunDevices({}, broken);
    ADD_FAILURE() << "there are no devices";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kNoFile);
    EXPECT_THAT(failure.what(), StartsWith("the sound system cannot be reached: the library that looks for microphones gave up"));
  }
}

TEST_F(Listen, AnInterruptEndsTheOpenSentence) {
  g_scene = {Bursts(1.5, {{1.0, 1.5}})};
  options_.format = Format("jsonl");
  const Outcome run = Run();
  EXPECT_EQ(run.code, 0);
  const std::vector<json> events = Events(run.out);
  ASSERT_GE(events.size(), 3U);
  const json& sentence = events[events.size() - 2];
  EXPECT_EQ(sentence["event"], "sentence");
  EXPECT_EQ(sentence["sentence"], 1);
  EXPECT_EQ(sentence["begin"], 0.7);
  // Of 24000 samples (24000 - 800) / 160 + 1 = 146 frames are whole.
  EXPECT_EQ(sentence["end"], 1.46);
  EXPECT_EQ(sentence["cut_off"], true);
  EXPECT_EQ(events.back()["event"], "end");
  EXPECT_EQ(events.back()["time"], 1.5);
}

TEST_F(Listen, EventsAreToldInTheOrderInWhichTheyAreKnown) {
  g_scene = {Bursts(5, kTwoBursts)};
  options_.format = Format("jsonl");
  std::vector<std::string> names;
  double known_at = 0;
  for (const json& event : Events(Run().out)) {
    if (event["event"] != "onset") names.push_back(event["event"]);
    EXPECT_GE(event["known_at"].get<double>(), known_at);
    known_at = event["known_at"].get<double>();
  }
  EXPECT_EQ(names, (std::vector<std::string>{"begin", "sentence", "begin", "sentence", "end"}));
}

TEST_F(Listen, CsvHasARowASentence) {
  g_scene = {Bursts(5, kTwoBursts)};
  options_.format = Format("csv");
  const std::string rows = Run().out;
  EXPECT_THAT(rows, StartsWith("begin,end,duration,level_db,snr_db,clipped\n0.70,2.20,1.50,-12.3,"));
  EXPECT_EQ(Lines(rows), 3);
}

TEST_F(Listen, ItStopsAfterSoManySeconds) {
  g_scene = {Bursts(30, kTwoBursts)};
  options_.seconds = 3;
  options_.quiet = false;
  const Outcome run = Run();
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.out, HasSubstr("s of speech in 3.00 s\n"));
}

TEST_F(Listen, WhatWasHeardOfADeviceThatGoesIsTold) {
  g_scene = {Bursts(1.5, {{1.0, 1.5}}), 16000, 1, true};
  options_.format = Format("csv");
  const Outcome run = Run();
  EXPECT_EQ(run.code, 3);
  EXPECT_EQ(run.err, "Fake: cannot be listened to: gone\n");
  EXPECT_THAT(run.out, HasSubstr("\n0.70,1.46,0.76,"));
}

TEST_F(Listen, OneOfTwoChannelsIsListenedTo) {
  const std::vector<int16_t> left = Bursts(5, {{1.0, 2.0}});
  const std::vector<int16_t> right = Bursts(5, {{3.0, 3.5}});
  g_scene = {{}, 16000, 2};
  for (size_t i = 0; i < left.size(); ++i) g_scene.signal.insert(g_scene.signal.end(), {left[i], right[i]});
  options_.format = Format("csv");
  options_.channel = 2;
  const Outcome run = Run();
  EXPECT_EQ(Lines(run.out), 2);
  EXPECT_THAT(run.out, HasSubstr("\n2.70,3.70,1.00,"));
  options_.channel = 3;
  EXPECT_EQ(Run().code, 5);
}

TEST_F(Listen, PlainSettingsHold) {
  g_scene = {Bursts(5, kTwoBursts)};
  options_.format = Format("csv");
  options_.engine.plain.values["min_silence"] = "1.2";  // more than lies between the bursts
  EXPECT_EQ(Lines(Run().out), 2);
  options_.engine.plain.values["min_silence"] = "never";
  const Outcome run = Run();
  EXPECT_EQ(run.code, 6);
  EXPECT_EQ(run.out, "");
}

TEST_F(Listen, ARecordingOfItGoesIntoAFileWhenItIsWhole) {
  g_scene = {Bursts(5, kTwoBursts)};
  options_.output = folder_.file("live.csv");
  options_.format = Format("csv");
  EXPECT_EQ(Run().code, 0);
  EXPECT_EQ(Lines(folder_.read("live.csv")), 3);
  EXPECT_EQ(Run().code, 8);  // it is there
}

TEST(ChooseDevice, ByNumberNameOrPartOfAName) {
  const std::vector<CaptureDevice> devices = {
      {2, "USB Headset", "ALSA", 1, 48000, false}, {4, "USB Camera", "ALSA", 2, 44100, true}, {7, "camera", "", 1, 8000, false}};
  EXPECT_EQ(ChooseDevice(devices, "").number, 4);
  EXPECT_EQ(ChooseDevice(devices, "2").number, 2);
  EXPECT_EQ(ChooseDevice(devices, "headset").number, 2);
  EXPECT_EQ(ChooseDevice(devices, "camera").number, 7);
  const auto refusal = [](const std::vector<CaptureDevice>& list, const std::string& wanted) {
    try {
      ChooseDevice(list, wanted);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::kNoFile);
      return std::string(failure.what());
    }
    return std::string();
  };
  EXPECT_EQ(refusal(devices, "usb"), "--device usb: may be any of 2 \"USB Headset\", 4 \"USB Camera\"");
  EXPECT_THAT(refusal(devices, "phone"),
              HasSubstr("there is no such microphone; there are 2 \"USB Headset\", 4 \"USB Camera\", 7 \"camera\""));
  EXPECT_THAT(refusal({}, ""), StartsWith("there is no microphone"));
}

TEST(LiveLine, TellsTimeLevelProbabilityAndSentence) {
  LiveState state{3725, -30, 0.974, std::nullopt};
  EXPECT_EQ(LiveLine(state, 80), "1:02:05  [############............]   -30 dB  speech 0.97");
  state.begun = 3724.5;
  EXPECT_EQ(LiveLine(state, 100), "1:02:05  [############............]   -30 dB  speech 0.97  sentence since 3724.50 s");
  EXPECT_EQ(LiveLine(state, 45), "1:02:05  [############............]   -30 dB");
  EXPECT_EQ(LiveLine(state, 10), "1:02:05");
}

TEST(LiveLine, TheBarEndsAtBothEnds) {
  EXPECT_THAT(LiveLine({0, -100, 0, std::nullopt}, 80), HasSubstr("[........................]  -100 dB"));
  EXPECT_THAT(LiveLine({0, 3, 0, std::nullopt}, 80), HasSubstr("[########################]     3 dB"));
}

TEST(LiveLine, LevelIsThePowerOfFullScale) {
  const float half[] = {0.5F, -0.5F};
  EXPECT_NEAR(LevelDb(half, 2), -6.02, 0.01);
  const float nothing[] = {0.0F};
  EXPECT_EQ(LevelDb(nothing, 1), -100);
  EXPECT_EQ(LevelDb(nothing, 0), -100);
}

}  // namespace
}  // namespace TSEG::tool
