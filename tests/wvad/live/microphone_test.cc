// SPDX-License-Identifier: Apache-2.0
//
// wvad listen and wvad devices through PortAudio, on a sound system whose only microphone plays a file (ALSA's plugin of that name): what
// stands between the program and a device, without one.
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

#include "support/eventually.h"
#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using nlohmann::json;

class Microphone : public Program {
 protected:
  void SetUp() override {
#ifndef WVAD_HAVE_CAPTURE
    GTEST_SKIP() << "built without PortAudio";
#endif
    // Behind its end the last eighth of a second is heard again and again: silence.
    const std::string recorded = folder_.write("recorded.raw", Bytes(Bursts(5, kTwoBursts)));
    SoundSystem(
        "pcm.null { type null }\n"
        "pcm.recorded { type file slave.pcm \"null\" file \"/dev/null\" infile \"" +
        recorded +
        "\" format \"raw\" }\n"
        "pcm.default { type plug slave { pcm \"recorded\" format S16_LE rate 16000 channels 1 } }\n");
  }
  void TearDown() override { unsetenv("ALSA_CONFIG_PATH"); }
  void SoundSystem(const std::string& configuration) { setenv("ALSA_CONFIG_PATH", folder_.write("alsa.conf", configuration).c_str(), 1); }
};

TEST_F(Microphone, IsListed) {
  const Outcome table = Call({"devices"});
  ASSERT_EQ(table.code, 0) << table.err;
  EXPECT_EQ(table.err, "");
  EXPECT_THAT(table.out, HasSubstr("default (ALSA)\n"));
  EXPECT_THAT(table.out, HasSubstr("\n*"));
  const json devices = json::parse(Call({"devices", "--json"}).out)["devices"];
  ASSERT_FALSE(devices.empty());
  EXPECT_EQ(devices.back()["name"], "default");
  EXPECT_EQ(devices.back()["default"], true);
}

TEST_F(Microphone, ItsSentencesAreThoseOfTheRecording) {
  const Outcome run = Run("listen", {"--rate", "16000", "--for", "6", "--channel", "1", "-f", "csv"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.err, "wvad: listening to default, 16000 Hz; Ctrl-C ends it\n");
  EXPECT_THAT(run.out, HasSubstr("\n0.70,2.20,1.50,-12.3,"));
  EXPECT_THAT(run.out, HasSubstr("\n2.70,3.70,1.00,-12.4,"));
  EXPECT_EQ(Lines(run.out), 3);
}

TEST_F(Microphone, IsChosenByItsName) {
  EXPECT_EQ(Run("listen", {"-q", "--device", "DEFAULT", "--rate", "16000", "--for", "1"}).code, 0);
  ExpectFailure(Run("listen", {"--device", "headset"}), 3, "--device headset: there is no such microphone; there are ");
}

TEST_F(Microphone, WithoutOneItIsSaidSo) {
  SoundSystem("pcm.default { type hw card 77 }\n");
  ExpectFailure(Call({"devices"}), 3, "there is no microphone: the sound system shows this user no device");
  ExpectFailure(Run("listen", {}), 3, "there is no microphone");
}

TEST_F(Microphone, AnInterruptEndsListeningInOrder) {
  const std::string out = folder_.file("live");
  const pid_t child = fork();
  if (child == 0) {
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
    dup2(open("/dev/null", O_WRONLY), 2);
    execl(WVAD_PROGRAM, "wvad", "listen", "--model", WVAD_TEST_MODEL, "--rate", "16000", "--channel", "1", nullptr);
    _exit(99);
  }
  EXPECT_TRUE(testing_support::Eventually([&] { return folder_.read("live").find("3.70") != std::string::npos; }));
  kill(child, SIGINT);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_THAT(folder_.read("live"), HasSubstr("\n2 sentences, 2.50 s of speech in "));
}

TEST_F(Microphone, OptionsThatMakeNoSenseAreRefused) {
  ExpectFailure(Run("listen", {"--channel", "left"}), 2, "--channel");
  ExpectFailure(Run("listen", {"--rate", "100"}), 2, "--rate");
  ExpectFailure(Run("listen", {"-f", "srt"}), 2, "there is no srt");
  ExpectFailure(Run("listen", {"--threshold", "2"}), 6, "threshold");
}

}  // namespace
}  // namespace TSEG::tool
