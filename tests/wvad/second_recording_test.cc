// SPDX-License-Identifier: Apache-2.0
//
// Recordings one behind the other in a file of a form that holds one: the first is heard, and that is said. What else may stand there is no
// recording.
#include "wvad/second_recording.h"

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

// A WAV of `bytes` samples of nothing, 44 bytes of header, and further chunks.
std::string Wave(size_t bytes, const std::string& chunks = "") {
  const auto size = [](size_t number) {
    std::string text;
    for (int i = 0; i < 4; ++i) text += static_cast<char>(number >> (8 * i) & 0xFF);
    return text;
  };
  return "RIFF" + size(36 + bytes + chunks.size()) + "WAVEfmt " + size(16) + std::string("\1\0\1\0\x80\x3E\0\0\0\x7D\0\0\2\0\x10\0", 16) +
         "data" + size(bytes) + std::string(bytes, '\0') + chunks;
}

const std::string kChunk = "LIST" + std::string("\3\0\0\0", 4) + "abc" + std::string(1, '\0');
const std::string kId3v1 = "TAG" + std::string(125, ' ');
const std::string kId3v2 = "ID3\3" + std::string("\0\0\0\0\0\4", 6) + "abcd";
const std::string kApe = "APETAGEX" + std::string("\xD0\7\0\0\x24\0\0\0\0\0\0\0\0\0\0\xA0", 16) + std::string(8, '\0') + "item" +
                         "APETAGEX" + std::string("\xD0\7\0\0\x24\0\0\0\0\0\0\0\0\0\0\x80", 16) + std::string(8, '\0');

class SecondRecording : public Program {
 protected:
  // Of a recording of `end` bytes with something behind it.
  bool Begins(Container container, size_t end, const std::string& bytes) {
    return AnotherBegins(*OpenBytes(folder_.write("x", bytes)), container, end, bytes.size());
  }
};

TEST_F(SecondRecording, IsFoundBehindChunksAndTags) {
  for (const std::string& between : {std::string(), kChunk, kId3v1, kId3v2, kApe, kChunk + kApe + kId3v1}) {
    SCOPED_TRACE(between.substr(0, 8) + " " + std::to_string(between.size()));
    EXPECT_TRUE(Begins(Container::kWave, 48, Wave(4) + between + Wave(4)));
    EXPECT_FALSE(Begins(Container::kWave, 48, Wave(4) + between));
  }
  EXPECT_TRUE(Begins(Container::kFlac, 7, "fLaC..." + kApe + kId3v1 + "fLaC" + std::string(12, '\0')));
  // Samples of an odd number of bytes are filled up, by most.
  EXPECT_TRUE(Begins(Container::kWave, 47, Wave(3) + std::string(1, '\0') + Wave(4)));
  EXPECT_TRUE(Begins(Container::kWave, 47, Wave(3) + Wave(4)));
}

TEST_F(SecondRecording, OtherBytesAreNone) {
  for (const std::string& behind :
       {std::string(5000, '\0'), std::string(5000, 'x'), std::string("RIFF\4\0\0\0AVIX", 12), kId3v1 + kId3v2, std::string("RIFF"),
        "LIST" + std::string("\x10\0\0\0", 4) + Wave(0).substr(0, 16), "APETAGEX" + std::string(24, '\xFF')}) {
    SCOPED_TRACE(behind.substr(0, 8) + " " + std::to_string(behind.size()));
    EXPECT_FALSE(Begins(Container::kWave, 48, Wave(4) + behind));
    EXPECT_FALSE(Begins(Container::kFlac, 48, Wave(4) + behind));
  }
  // Nothing is asked of a stream that has not come.
  const std::string two = Wave(4) + Wave(4);
  EXPECT_FALSE(AnotherBegins(*OpenBytes(folder_.write("x", two)), Container::kWave, 48, 59));
  EXPECT_TRUE(AnotherBegins(*OpenBytes(folder_.write("x", two)), Container::kWave, 48, 64));
}

TEST_F(SecondRecording, IsNotHeardAndThatIsSaid) {
  const std::vector<int16_t> signal = Bursts(5, kTwoBursts);
  for (const auto& [name, format] : {std::pair<std::string, int>("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16),
                                     {"a.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16},
                                     {"a.au", SF_FORMAT_AU | SF_FORMAT_PCM_16},
                                     {"a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16}}) {
    SCOPED_TRACE(name);
    WriteAudio(folder_.file(name), signal, 16000, 1, format);
    const std::string bytes = folder_.read(name);
    const Outcome run = Segment({"-f", "json", folder_.write("two-" + name, bytes + bytes)});
    EXPECT_EQ(run.code, 4);
    const std::string words = "holds several recordings one behind the other, of which the first was heard: 5.00 s could be heard";
    EXPECT_THAT(run.err, HasSubstr("two-" + name + ": " + words));
    EXPECT_EQ(Lines(run.err), 1) << run.err;
    const nlohmann::json file = nlohmann::json::parse(run.out).at("files").at(0);
    EXPECT_EQ(file.value("damage", ""), words);
    EXPECT_EQ(file["whole"], false);
    EXPECT_EQ(Found(run.out), kTwoSentences);
  }
}

TEST_F(SecondRecording, OfAFlacThatDoesNotSayItsLengthIsNotHeardEither) {
  WriteAudio(folder_.file("a.flac"), Bursts(5, kTwoBursts), 16000, 1, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
  WriteAudio(folder_.file("b.flac"), Bursts(9, {{0.0, 1.0}, {6.0, 8.0}}), 16000, 1, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
  // The count of samples is the last 36 bits of bytes 21 to 25; an encoder that cannot come back leaves 0 there.
  const auto streamed = [this](const char* name) {
    std::string bytes = folder_.read(name);
    bytes[21] = static_cast<char>(bytes[21] & '\xF0');
    return bytes.replace(22, 4, 4, '\0');
  };
  const Outcome run = Segment({"-f", "json", folder_.write("two.flac", streamed("a.flac") + streamed("b.flac"))});
  EXPECT_EQ(run.code, 4);
  EXPECT_THAT(run.err, HasSubstr("of which the first was heard: 5.00 s could be heard"));
  EXPECT_EQ(Found(run.out), kTwoSentences);
}

}  // namespace
}  // namespace TSEG::tool
