// SPDX-License-Identifier: Apache-2.0
//
// What the program finds, and how it is told what to do.
#include <csignal>

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {
TEST_F(Program, TableForPeople) {
  const Outcome run = Segment({Wav("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, StartsWith("     begin       end  duration     vol      eg\n      0.70      2.20      1.50"));
  EXPECT_THAT(run.out, HasSubstr("\n      2.70      3.70      1.00"));
  EXPECT_THAT(run.out, HasSubstr("\n2 sentences, 2.50 s of speech in 5.00 s\n"));
}

TEST_F(Program, LevelIsThatOfTheSentence) {
  // 100 of the 150 frames of the sentence hold the square wave of 8000: its root mean square is 8000 * sqrt(2 / 3) = 6532, 76.30 dB.
  const Outcome run = Segment({"--format", "json", Wav("a.wav", 5, kTwoBursts)});
  const nlohmann::json sentence = nlohmann::json::parse(run.out)["files"][0]["sentences"][0];
  EXPECT_EQ(sentence["eg"], 76.3);
  EXPECT_EQ(sentence["trig"], false);
}

TEST_F(Program, FormatsOfFilesDoNotMatter) {
  const std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  for (const auto& [name, format] :
       {std::pair("a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16), std::pair("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT),
        std::pair("b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24), std::pair("a.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16),
        std::pair("a.au", SF_FORMAT_AU | SF_FORMAT_PCM_16)}) {
    const std::string path = folder_.file(name);
    WriteAudio(path, signal, 16000, 1, format);
    const Outcome run = Segment({"--format", "json", path});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(Found(run.out), kTwoSentences) << name;
  }
}

TEST_F(Program, AnyRateIsResampled) {
  for (const int rate : {8000, 11025, 22050, 44100, 48000, 96000}) {
    const Outcome run = Segment({"--format", "json", Wav("a.wav", 5, kTwoBursts, rate)});
    const Spans found = Found(run.out);
    ASSERT_EQ(found.size(), 2U) << rate;
    for (size_t i = 0; i < 2; ++i) {
      EXPECT_NEAR(found[i].first, kTwoSentences[i].first, 0.02) << rate;  // the filter's ringing reaches a frame further
      EXPECT_NEAR(found[i].second, kTwoSentences[i].second, 0.02) << rate;
    }
  }
}

TEST_F(Program, ChannelsAreMixedOrChosen) {
  const std::vector<int16_t> left = Bursts(5, {{1.0, 2.0}});
  const std::vector<int16_t> right = Bursts(5, {{3.0, 3.5}});
  std::vector<int16_t> stereo;
  for (size_t i = 0; i < left.size(); ++i) {
    stereo.push_back(left[i]);
    stereo.push_back(right[i]);
  }
  const std::string path = folder_.file("stereo.wav");
  WriteAudio(path, stereo, 16000, 2);
  EXPECT_EQ(Found(Segment({"--format", "json", path}).out), kTwoSentences);
  EXPECT_EQ(Found(Segment({"--format", "json", "--channel", "1", path}).out), Spans{kTwoSentences[0]});
  EXPECT_EQ(Found(Segment({"--format", "json", "--channel", "2", path}).out), Spans{kTwoSentences[1]});
  ExpectFailure(Segment({"--quiet", "-f", "csv", "-o", folder_.file("x"), "--channel", "3", path}), 5, "no channel 3");
}

TEST_F(Program, ChunkLengthChangesNothing) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  for (const char* ms : {"1", "10", "25", "333", "10000"}) {
    EXPECT_EQ(Found(Segment({"--format", "json", "--chunk-ms", ms, path}).out), kTwoSentences) << ms;
  }
}

TEST_F(Program, StandardInputGivesWhatTheFileGives) {
  input_ = Bytes(Bursts(5, kTwoBursts)) + "x";  // an odd byte at the end is dropped
  EXPECT_EQ(Found(Segment({"--format", "json", "-"}).out), kTwoSentences);
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Segment({"-"}).out, Segment({path}).out);
}

TEST_F(Program, StandardInputHasRateAndChannels) {
  std::vector<int16_t> stereo;
  for (const int16_t sample : Bursts(5, kTwoBursts, 32000)) stereo.insert(stereo.end(), {sample, sample});
  input_ = Bytes(stereo);
  const Spans found = Found(Segment({"--format", "json", "--rate", "32000", "--channels", "2", "-"}).out);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_NEAR(found[1].second, 3.7, 0.02);
}

TEST_F(Program, SentencesOfALiveSourceComeAtOnce) {
  int to_child[2];
  int from_child[2];
  ASSERT_EQ(pipe(to_child), 0);
  ASSERT_EQ(pipe(from_child), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(to_child[0], 0);
    dup2(from_child[1], 1);
    close(to_child[1]);
    close(from_child[0]);
    execl(WVAD_PROGRAM, "wvad", "segment", "--model", WVAD_TEST_MODEL, "-f", "jsonl", "-", static_cast<char*>(nullptr));
    _exit(99);
  }
  close(to_child[0]);
  close(from_child[1]);
  // 3.5 s of audio hold the end of the first sentence and its gap of 0.4 s. The source then stays open.
  const std::string bytes = Bytes(Bursts(3.5, {{1.0, 2.0}}));
  ASSERT_EQ(write(to_child[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  std::string line;
  for (char c = 0; c != '\n' && read(from_child[0], &c, 1) == 1;) line += c;
  EXPECT_EQ(nlohmann::json::parse(line)["end"], 2.2);
  // An interrupt closes the work in order, though the source stays open.
  kill(child, SIGINT);
  line.clear();
  for (char c = 0; c != '\n' && read(from_child[0], &c, 1) == 1;) line += c;
  EXPECT_EQ(nlohmann::json::parse(line)["stopped_by"], "interrupt");
  close(to_child[1]);
  close(from_child[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 10);
}

TEST_F(Program, SeveralFilesAreNamedAndOneBadFileSpoilsOnlyItself) {
  const std::string a = Wav("a.wav", 5, kTwoBursts);
  const std::string b = Wav("b.wav", 3, {{1.0, 2.0}});
  const Outcome run = Segment({a, folder_.file("missing.wav"), b});
  EXPECT_EQ(run.code, 3);
  EXPECT_EQ(Lines(run.err), 1) << run.err;
  EXPECT_THAT(run.out, StartsWith(a + "\n"));
  EXPECT_THAT(run.out, HasSubstr("\n" + b + "\n"));
  EXPECT_THAT(run.out, HasSubstr("1 sentence, 1.50 s of speech in 3.00 s"));
}

TEST_F(Program, RelativePathsAndOutputFile) {
  Wav("a.wav", 5, kTwoBursts);
  current_ = folder_.path();
  const Outcome run = Segment({"-f", "csv", "-o", "out.csv", "a.wav"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(folder_.read("out.csv"), StartsWith("file,begin,end,duration,vol,trig,eg,error,code\na.wav,0.70,2.20,1.50,"));
}

TEST_F(Program, EndpointStopsAtTheTail) {
  // The sentence is over at 2.0 s; its tail of 1.8 s is used up 1.81 s later, when 3.81 s and the engine's look-ahead have been heard.
  const Outcome run = Segment({"--endpoint", "--format", "json", Wav("a.wav", 10, {{1.0, 2.0}, {7.0, 8.0}})});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(Found(run.out), Spans{kTwoSentences[0]});
  const nlohmann::json file = nlohmann::json::parse(run.out)["files"][0];
  EXPECT_EQ(file["stopped_by"], "tail silence");
  EXPECT_GE(file["heard"].get<double>(), 3.8);
  EXPECT_LE(file["heard"].get<double>(), 4.2);
}

TEST_F(Program, EndpointStopsWithoutSpeech) {
  const Outcome run = Segment({"--endpoint", "--set", "wvad_param_nResponseTimeOut=2000", Wav("a.wav", 10, {{7.0, 8.0}})});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.out, HasSubstr(" s: no speech\n"));
  EXPECT_THAT(run.out, HasSubstr("0 sentences"));
}

TEST_F(Program, EndpointAtTheEndOfTheAudio) {
  const Outcome run = Segment({"--endpoint", Wav("a.wav", 3, {{1.0, 2.0}})});
  EXPECT_THAT(run.out, HasSubstr("stopped at 3.00 s: end of audio\n"));
}

TEST_F(Program, LongPauseDoesNotEndTheRecording) {
  EXPECT_EQ(Found(Segment({"--format", "json", Wav("a.wav", 40, {{15.0, 16.0}, {38.0, 39.0}})}).out), (Spans{{14.7, 16.2}, {37.7, 39.2}}));
}

TEST_F(Program, SetReachesTheEngine) {
  const std::string path = Wav("a.wav", 5, kTwoBursts);
  EXPECT_EQ(Found(Segment({"--format", "json", "--set", "wvad_param_nFrameGap=150", path}).out), (Spans{{0.7, 3.7}}));
  EXPECT_EQ(Found(Segment({"--format", "json", "-s", "wvad_param_nFrameStartMargin=0", "-s", "wvad_param_nFrameEndMargin=0", path}).out),
            (Spans{{1.0, 2.0}, {3.0, 3.5}}));
  EXPECT_EQ(Found(Segment({"--format", "json", "--set", "VAD_PARAM_SAMPLERATE=8000", path}).out).size(), 2U);
}

TEST_F(Program, QualityResultsComeWithTheComponentOn) {
  const Outcome run = Segment({"--format", "json", "--set", "wvad_param_bKelOn=1", Wav("a.wav", 5, kTwoBursts)});
  EXPECT_EQ(Found(run.out), kTwoSentences);
  std::vector<std::string> keys;
  const nlohmann::json document = nlohmann::json::parse(run.out);
  for (const nlohmann::json& row : document["files"][0].at("results")) keys.push_back(row["key"]);
  EXPECT_THAT(keys, ::testing::Contains("snr"));
  EXPECT_THAT(keys, ::testing::Contains("cur"));
}

TEST_F(Program, SpeechUnderTheFloorIsSaidThoughSomeWasFound) {
  std::vector<int16_t> signal = Bursts(6, {{1.0, 2.0}, {3.0, 5.0}});
  for (size_t i = 40000; i < signal.size(); ++i) signal[i] = static_cast<int16_t>(signal[i] / 100);  // from 2.5 s on at -52 dB
  WriteAudio(folder_.file("half.wav"), signal);
  const Outcome run = Segment({"-f", "json", "--set", "wvad_param_nEnergyThreshhood=16", folder_.file("half.wav")});
  EXPECT_EQ(Found(run.out), Spans{kTwoSentences[0]});
  // 2 of 3 s, and a window's length more at each edge.
  EXPECT_THAT(run.err, HasSubstr("half.wav: note: very quiet: 66 % of what the network takes for speech lies under the engine's"));
  EXPECT_THAT(run.err, HasSubstr("; try --gain auto, or a lower floor, --energy-floor -64\n"));
  EXPECT_THAT(nlohmann::json::parse(run.out)["files"][0]["note"].get<std::string>(), StartsWith("very quiet: 66 %"));
}

TEST_F(Program, QuietRecordingIsAdvisedAndGainHelps) {
  std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  for (int16_t& sample : signal) sample = static_cast<int16_t>(sample / 1000);  // -72 dB
  const std::string path = folder_.file("quiet.wav");
  WriteAudio(path, signal);
  const Outcome run = Segment({path});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.err,
              HasSubstr("note: very quiet: 100 % of what the network takes for speech lies under the engine's energy floor of -64 dB"));
  EXPECT_EQ(Segment({"--quiet", path}).err, "");
  const Outcome measured = Segment({"--format", "json", "--gain", "auto", path}),
                named = Segment({"--format", "json", "--gain", "30", path});
  EXPECT_EQ(Found(measured.out).size(), 2U);
  EXPECT_EQ(Found(named.out).size(), 2U);
  // 52 dB would bring it to -20 dB; 40 are the most.
  const auto recording = [](const Outcome& heard) { return nlohmann::json::parse(heard.out)["files"][0]["recording"]; };
  EXPECT_EQ(recording(measured)["gain_db"], 40.0);
  EXPECT_FALSE(recording(named).contains("gain_db"));
}

}  // namespace
}  // namespace TSEG::tool
