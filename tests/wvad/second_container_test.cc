// SPDX-License-Identifier: Apache-2.0
//
// Recordings one behind the other in MP4, ASF and CAF: the first is heard, and that is said. Whatever else stands in or behind such a file
// is no second recording.
#include "wvad/second_container.h"

#include <array>
#include <optional>
#include <string>

#include "wvad/media_fixture.h"

namespace TSEG::tool {
namespace {

std::string Big(uint64_t number, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(number >> (8 * i) & 0xFF);
  return text;
}
std::string Little(uint64_t number) {
  const std::string big = Big(number, 8);
  return {big.rbegin(), big.rend()};
}

std::string Box(const std::string& type, size_t bytes) { return Big(8 + bytes, 4) + type + std::string(bytes, '.'); }
const std::string kFtyp = Box("ftyp", 20), kMoov = Box("moov", 30), kMdat = Box("mdat", 50), kMoof = Box("moof", 12),
                  kMfra = Box("mfra", 40);

const std::string kHeaderOfAsf = "\x30\x26\xB2\x75\x8E\x66\xCF\x11" + std::string("\xA6\xD9\0\xAA\0\x62\xCE\x6C", 8);
const std::string kDataOfAsf = "\x36\x26\xB2\x75\x8E\x66\xCF\x11" + std::string("\xA6\xD9\0\xAA\0\x62\xCE\x6C", 8);
std::string Object(const std::string& mark, size_t bytes) { return mark + Little(24 + bytes) + std::string(bytes, '.'); }

const std::string kHeadOfCaf = "caff" + std::string("\0\1\0\0", 4);
std::string Chunk(const std::string& type, size_t bytes) { return type + Big(bytes, 8) + std::string(bytes, '.'); }

class SecondContainer : public Media {
 protected:
  void SetUp() override {}  // most need no ffmpeg
  std::optional<uint64_t> Begin(Container container, const std::string& bytes) {
    return BeginOfSecond(*OpenBytes(folder_.write("x", bytes)), container, bytes.size());
  }
  // What the program says of a file that holds the first seconds of kWanted, and no more.
  void ExpectOne(const std::string& path, bool damaged) {
    const Outcome run = Segment({"-f", "json", path});
    EXPECT_EQ(run.code, damaged ? 4 : 0) << run.err;
    ExpectNear(Found(run.out), kWanted, 0.1);
    const nlohmann::json file = First(run);
    EXPECT_EQ(file["whole"], !damaged);
    EXPECT_NEAR(file["heard"].get<double>(), 10.0, 0.3);
    const std::string damage = file.value("damage", "");
    const std::string words = "holds several recordings one behind the other, of which the first was heard: ";
    EXPECT_EQ(damage.substr(0, words.size()), damaged ? words : "");
    EXPECT_EQ(Lines(run.err), damaged ? 1 : 0) << run.err;
  }
};

TEST_F(SecondContainer, OfBoxesBeginsWithItsType) {
  for (const std::string& one : {kFtyp + kMoov + kMdat, kFtyp + Box("free", 0) + kMdat + kMoov, kFtyp + kMdat + kMoov + Box("free", 400),
                                 kFtyp + kMoov + Big(1, 4) + "mdat" + Big(16 + 30, 8) + std::string(30, '.'),
                                 kFtyp + kMoov + kMoof + kMdat + kMoof + kMdat + kMfra}) {
    EXPECT_EQ(Begin(Container::kBoxedMedia, one), std::nullopt);
    EXPECT_EQ(Begin(Container::kBoxedMedia, one + kFtyp + kMoov + kMdat), one.size());
    EXPECT_EQ(Begin(Container::kBoxedMedia, one + kFtyp), one.size());
  }
}

TEST_F(SecondContainer, OfBoxesIsNothingElse) {
  const std::string whole = kFtyp + kMdat + kMoov;
  for (const std::string& bytes :
       {whole + "TAG" + std::string(125, ' '), whole + std::string(500, '\0') + kFtyp, whole + "ID3\4" + std::string(6, '\0') + kFtyp,
        whole + Box("skip", 30) + "ftyp", kFtyp + kFtyp + kMoov + kMdat, kFtyp + kMoov + kFtyp + kMdat,
        // The length of the sound is open, goes beyond the end, or is none.
        kFtyp + kMoov + Big(0, 4) + "mdat" + kFtyp + kMoov + kMdat, kFtyp + kMoov + Big(90, 4) + "mdat" + kFtyp + kFtyp,
        kFtyp + kMoov + kMdat + Big(7, 4) + "mda" + kFtyp + kMoov + kMdat,
        kFtyp + kMoov + Big(1, 4) + "mdat" + Big(UINT64_MAX, 8) + kFtyp + kFtyp,
        kFtyp + kMoov + Big(1, 4) + "mdat" + Big(0 - (kFtyp + kMoov).size(), 8) + kFtyp + kFtyp,
        // Where the first is not described, its sound is of no use.
        kFtyp + kMdat + kFtyp + kMoov + kMdat,
        // Fragments that go on, with their description once more.
        kFtyp + kMoov + kMoof + kMdat + kFtyp + kMoov + kMoof + kMdat}) {
    EXPECT_EQ(Begin(Container::kBoxedMedia, bytes), std::nullopt) << bytes;
  }
}

TEST_F(SecondContainer, OfObjectsBeginsWithItsHeader) {
  const std::string one = Object(kHeaderOfAsf, 60) + Object(kDataOfAsf, 90) + Object(std::string(16, 'i'), 10);
  EXPECT_EQ(Begin(Container::kForwardMedia, one), std::nullopt);
  EXPECT_EQ(Begin(Container::kForwardMedia, one + one), one.size());
  EXPECT_EQ(Begin(Container::kForwardMedia, one + std::string(200, '\0') + one), std::nullopt);
  EXPECT_EQ(Begin(Container::kForwardMedia, Object(kHeaderOfAsf, 60) + one), std::nullopt);
  // Of a live stream the length of the data is 0.
  EXPECT_EQ(Begin(Container::kForwardMedia, Object(kHeaderOfAsf, 60) + kDataOfAsf + Little(0) + one + one), std::nullopt);
  EXPECT_EQ(Begin(Container::kForwardMedia, "#!AMR\n" + one + one), std::nullopt);
}

TEST_F(SecondContainer, OfChunksBeginsWithTheHeadOfTheFile) {
  const std::string one = kHeadOfCaf + Chunk("desc", 32) + Chunk("data", 44) + Chunk("free", 7);
  EXPECT_EQ(Begin(Container::kOther, one), std::nullopt);
  EXPECT_EQ(Begin(Container::kOther, one + one), one.size());
  EXPECT_EQ(Begin(Container::kOther, one + "caff is no head, but a text"), std::nullopt);
  EXPECT_EQ(Begin(Container::kOther, one + std::string(40, '\0') + one), std::nullopt);
  EXPECT_EQ(Begin(Container::kOther, kHeadOfCaf + Chunk("desc", 32) + one), std::nullopt);
  // Sound that goes on to the end of the file.
  EXPECT_EQ(Begin(Container::kOther, kHeadOfCaf + Chunk("desc", 32) + "data" + Big(UINT64_MAX, 8) + one + one), std::nullopt);
  EXPECT_EQ(Begin(Container::kOther, kHeadOfCaf + Chunk("desc", 32) + "data" + Big(UINT64_MAX, 8) + "xyz" + Chunk("", 5) + one),
            std::nullopt);
  EXPECT_EQ(Begin(Container::kOther, "RF64" + one + one), std::nullopt);
}

TEST_F(SecondContainer, IsLookedForInWhatIsThere) {
  const std::string one = kFtyp + kMdat + kMoov;
  const std::unique_ptr<ByteSource> bytes = OpenBytes(folder_.write("x", one + one));
  EXPECT_EQ(BeginOfSecond(*bytes, Container::kBoxedMedia, one.size() + 24), one.size());
  EXPECT_EQ(BeginOfSecond(*bytes, Container::kBoxedMedia, one.size() + 23), std::nullopt);
}

class SecondOfMedia : public SecondContainer {
 protected:
  void SetUp() override { Media::SetUp(); }
  // A file of ten seconds, made of a.wav by ffmpeg.
  std::string Made(const std::string& name, const std::string& options) {
    Make("-i a.wav " + options + " " + name);
    return folder_.read(name);
  }
};

constexpr const char* kFragments = "-c:a aac -frag_duration 500000 -movflags frag_keyframe+empty_moov";

TEST_F(SecondOfMedia, IsNotHeardAndThatIsSaid) {
  Recording();
  for (const auto& [name, options] : {std::array<std::string, 2>{"a.m4a", "-c:a aac"},
                                      {"fast.m4a", "-c:a aac -movflags +faststart"},
                                      {"a.mov", "-c:a pcm_s16le"},
                                      {"closed.mp4", kFragments},
                                      {"a.wma", "-c:a wmav2"}}) {
    SCOPED_TRACE(name);
    const std::string bytes = Made(name, options);
    ExpectOne(folder_.file(name), false);
    ExpectOne(folder_.write("two-" + name, bytes + bytes), true);
    ExpectOne(folder_.write("three-" + name, bytes + bytes + bytes), true);
  }
}

TEST_F(SecondOfMedia, IsNoneOfWhatStandsInOneRecordingOrBehindIt) {
  Recording();
  const std::string id3v1 = "TAG" + std::string(125, ' ');
  for (const auto& [name, options] : {std::array<std::string, 2>{"a.m4a", "-c:a aac"},
                                      {"room.m4a", "-c:a aac -moov_size 20000"},  // with a box `free` behind the description
                                      {"open.mp4", std::string(kFragments) + "+default_base_moof+skip_trailer"},
                                      {"dash.mp4", std::string(kFragments) + "+dash"},
                                      {"a.wma", "-c:a wmav2"}}) {
    SCOPED_TRACE(name);
    const std::string bytes = Made(name, options);
    ExpectOne(folder_.file(name), false);
    for (const std::string& behind : {Box("free", 1000), std::string(3000, '\0'), id3v1, std::string("\0", 1)}) {
      ExpectOne(folder_.write("more-" + name, bytes + behind), false);
    }
  }
}

TEST_F(SecondOfMedia, FragmentsBehindAWholeRecordingAreNotHeardEither) {
  Recording();
  const std::string bytes = Made("a.m4a", "-c:a aac");
  ExpectOne(folder_.write("two.m4a", bytes + Made("open.mp4", std::string(kFragments) + "+default_base_moof+skip_trailer")), true);
}

TEST_F(SecondOfMedia, WhatIsWrongWithTheFirstIsSaidBefore) {
  Recording();
  std::string bytes = Made("a.m4a", "-c:a aac");
  const std::string whole = bytes;
  bytes.replace(bytes.size() / 2, 300, 300, '\xFF');
  const Outcome run = Segment({"-f", "json", folder_.write("two.m4a", bytes + whole)});
  EXPECT_EQ(run.code, 4);
  EXPECT_THAT(First(run).value("damage", ""), StartsWith("damaged in "));
  EXPECT_THAT(First(run).value("damage", ""), HasSubstr(" s could be heard; holds several recordings one behind the other"));
}

TEST_F(SecondOfMedia, FragmentsThatGoOnBehindTheirDescriptionAreAllHeard) {
  Recording();
  const std::string bytes = Made("open.mp4", std::string(kFragments) + "+default_base_moof+skip_trailer");
  const Outcome run = Segment({"-f", "json", folder_.write("two.mp4", bytes + bytes)});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_GT(First(run)["heard"].get<double>(), 19.0);
}

// libsndfile's, with sound of either kind of length.
TEST_F(SecondContainer, OfCafIsNotHeardAndThatIsSaid) {
  for (const int coding : {SF_FORMAT_PCM_16, SF_FORMAT_ALAC_16}) {
    SCOPED_TRACE(coding);
    WriteAudio(folder_.file("a.caf"), Bursts(5, kTwoBursts), 16000, 1, SF_FORMAT_CAF | coding);
    const std::string bytes = folder_.read("a.caf");
    for (const std::string& one : {bytes, bytes + Chunk("free", 100)}) {
      EXPECT_EQ(Segment({folder_.write("one.caf", one)}).code, 0);
      const Outcome run = Segment({"-f", "json", folder_.write("two.caf", one + bytes)});
      EXPECT_EQ(run.code, 4);
      EXPECT_THAT(run.err,
                  HasSubstr("two.caf: holds several recordings one behind the other, of which the first was heard: 5.00 s could be heard"));
      EXPECT_EQ(Found(run.out), kTwoSentences);
    }
  }
}

}  // namespace
}  // namespace TSEG::tool
