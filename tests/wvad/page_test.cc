// SPDX-License-Identifier: Apache-2.0
//
// wvad report: the parts that its page is made of, and the page as a file. What it does in a browser is tested in tests/wvad/page.
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>

#include "wvad/checksum.h"
#include "wvad/packed_array.h"
#include "wvad/page_command.h"
#include "wvad/page_picture.h"
#include "wvad/program_fixture.h"
#include "wvad/sentence_level.h"

namespace TSEG::tool {
namespace {

using nlohmann::json;

TEST(Page, Base64IsThatOfTheStandard) {
  // The examples of RFC 4648, section 10.
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
  EXPECT_EQ(Base64("\xff\xfe\xfd"), "//79");
}

TEST(Page, ArraysAreCompressedAndSmall) {
  const std::vector<uint32_t> values(100000, 7);
  EXPECT_LT(PackedArray(values).size(), 1000U);
  EXPECT_THAT(PackedArray(values), StartsWith("eJ"));  // a zlib header with a window of 32 KiB and no dictionary
}

TEST(Page, ChecksumIsThatOfTheStandard) {
  const testing_support::TempFolder folder;
  // FIPS 180-4, the example of one block.
  EXPECT_EQ(Sha256Of(folder.write("abc", "abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_THROW(Sha256Of(folder.file("missing")), Failure);
}

TEST(Page, EnvelopeHoldsLeastAndGreatestOfEach25TenthsOfAMillisecond) {
  std::vector<int16_t> samples(100, 0);  // 40 a pair: the third is of 20
  samples[5] = 1000;
  samples[39] = -500;
  samples[40] = 250;
  const WaveEnvelope envelope = EnvelopeOf(samples, 16000);
  EXPECT_EQ(envelope.peak, 1000);
  EXPECT_EQ(envelope.pairs, (std::vector<int8_t>{-64, 127, 0, 32, 0, 0}));  // -63.5 and 31.75, rounded away from 0
  EXPECT_TRUE(EnvelopeOf({}, 16000).pairs.empty());
}

std::vector<int16_t> Sine(double hz, double seconds, double amplitude = 32767, int rate_hz = 16000) {
  std::vector<int16_t> samples(static_cast<size_t>(seconds * rate_hz));
  for (size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<int16_t>(std::lround(amplitude * std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / rate_hz)));
  }
  return samples;
}

TEST(Page, SpectrogramIsLoudestWhereTheToneIs) {
  for (const double hz : {250.0, 1000.0, 3000.0}) {
    const Spectrogram picture = SpectrogramOf(Sine(hz, 1), 16000);
    ASSERT_EQ(picture.columns.size(), 100U * Spectrogram::kBands);
    EXPECT_EQ(picture.hop_ms, 10);
    const auto column = picture.columns.begin() + 50 * Spectrogram::kBands;
    const int loudest = static_cast<int>(std::max_element(column, column + Spectrogram::kBands) - column);
    // Middles of bands lie evenly in mel from 50 to 8000 Hz.
    const auto mel = [](double f) { return std::log1p(f / 700); };
    const double expected = (mel(hz) - mel(50)) / (mel(8000) - mel(50)) * (Spectrogram::kBands + 1) - 1;
    EXPECT_NEAR(loudest, expected, 1.5) << hz;
    EXPECT_EQ(column[loudest], Spectrogram::kLevels - 1);
    EXPECT_LT(column[0], 5);
  }
}

TEST(Page, SpectrogramOfAWindowThatIsNoPowerOfTwoShowsTheToneToo) {
  // 32 ms at 6000 Hz are 192 samples.
  const Spectrogram picture = SpectrogramOf(Sine(1000, 1, 32767, 6000), 6000);
  ASSERT_EQ(picture.columns.size(), 100U * Spectrogram::kBands);
  const auto column = picture.columns.begin() + 50 * Spectrogram::kBands;
  const auto mel = [](double f) { return std::log1p(f / 700); };
  const double expected = (mel(1000) - mel(50)) / (mel(3000) - mel(50)) * (Spectrogram::kBands + 1) - 1;
  EXPECT_NEAR(static_cast<double>(std::max_element(column, column + Spectrogram::kBands) - column), expected, 1.5);
  EXPECT_LT(picture.top_db, 0);
  EXPECT_GT(picture.top_db, -6);
}

TEST(Page, SpectrogramOfATenfoldSineTopsTwentyDecibelsHigher) {
  const double full = SpectrogramOf(Sine(1000, 1), 16000).top_db;
  EXPECT_NEAR(full - SpectrogramOf(Sine(1000, 1, 3276.7), 16000).top_db, 20, 0.01);
  // A band takes the mean of the lines under its triangle, of which the sine fills the middle.
  EXPECT_LT(full, 0);
  EXPECT_GT(full, -6);
}

TEST(Page, LevelAndNoiseOfASentenceAreThoseOfItsFrames) {
  std::vector<float> powers(1000, 1e-6F);                // noise at -60 dB
  for (size_t i = 430; i < 580; ++i) powers[i] = 1e-2F;  // speech at -20 dB
  for (size_t i = 100; i < 150; ++i) powers[i] = 1.0F;   // something loud, more than 2 s away
  const std::vector<SentenceLevel> levels = LevelsOf({{1, 400, 600, 430, 580}}, powers);
  EXPECT_NEAR(levels[0].level_db, -20, 1e-4);
  EXPECT_NEAR(levels[0].snr_db.value(), 10 * std::log10((1e-2 - 1e-6) / 1e-6), 1e-3);
}

TEST(Page, NoiseBetweenSentencesThatTouchIsTheirQuietestTenth) {
  std::vector<float> powers(200, 1e-2F);
  for (size_t i = 100; i < 110; ++i) powers[i] = 1e-4F;  // a tenth of the second one
  const std::vector<SentenceLevel> levels = LevelsOf({{1, 0, 100, 0, 100}, {2, 100, 200, 100, 200}}, powers);
  EXPECT_NEAR(levels[1].snr_db.value(), 10 * std::log10((0.9e-2 + 0.1e-4 - 1e-4) / 1e-4), 1e-3);
}

TEST(Page, SentenceInDigitalSilenceHasNoNoise) {
  std::vector<float> powers(600, 0.0F);
  for (size_t i = 300; i < 400; ++i) powers[i] = 0.25F;
  const std::vector<SentenceLevel> levels = LevelsOf({{1, 270, 420, 300, 400}}, powers);
  EXPECT_NEAR(levels[0].level_db, -6.02, 0.01);
  EXPECT_FALSE(levels[0].snr_db.has_value());
}

TEST(Page, EachModelAndEachComparisonIsATrack) {
  PageOptions options;
  options.models = {"a", "b"};
  options.engine.settings = {"x=1"};
  options.compared = {"c", "y=2", "d,y=2,z=3"};
  const std::vector<EngineOptions> tracks = TracksOf(options);
  ASSERT_EQ(tracks.size(), 5U);
  using Settings = std::vector<std::string>;
  const std::pair<std::string, Settings> expected[] = {
      {"a", {"x=1"}}, {"b", {"x=1"}}, {"c", {"x=1"}}, {"a", {"x=1", "y=2"}}, {"d", {"x=1", "y=2", "z=3"}}};
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(std::make_pair(tracks[i].model, tracks[i].settings), expected[i]) << i;
  for (const char* wrong : {"", ",", "c,", ",y=2", "c,,y=2"}) {
    options.compared = {wrong};
    EXPECT_THROW(TracksOf(options), Failure) << wrong;
  }
}

class PageFile : public Program {
 protected:
  std::string page() const { return folder_.file("page.html"); }
  // The description inside of the page.
  json Description() {
    const std::string text = folder_.read("page.html");
    const std::string open = "<script type=\"application/json\" id=\"page\">";
    const size_t at = text.find(open) + open.size();
    return json::parse(text.substr(at, text.find("</script>", at) - at));
  }
};

TEST_F(PageFile, HoldsWhatTheEngineFound) {
  const Outcome run = Run("report", {Wav("a.wav", 5, kTwoBursts), "-o", page(), "-s", "wvad_param_nFrameGap=50"});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out + run.err, "");
  const json description = Description();
  EXPECT_EQ(description["seconds"], 5.0);
  EXPECT_EQ(description["damage"], "");
  const json& track = description["tracks"].at(0);
  ASSERT_EQ(track["sentences"].size(), 2U);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(track["sentences"][i]["begin"], kTwoSentences[i].first);
    EXPECT_EQ(track["sentences"][i]["end"], kTwoSentences[i].second);
    EXPECT_EQ(track["sentences"][i]["speech_begin"], kTwoBursts[i].first);
    // Windows that hold its last sound begin up to 10 ms before its end.
    EXPECT_EQ(track["sentences"][i]["speech_end"], kTwoBursts[i].second);
    EXPECT_NEAR(track["sentences"][i]["level"].get<double>(), 20 * std::log10(8000 / 32768.0), 0.1);
  }
  EXPECT_EQ(track["checksum"], Sha256Of(WVAD_TEST_MODEL));
  EXPECT_THAT(track["parameters"], ::testing::Contains(json({"wvad_param_nFrameGap", "50", "40"})));
  EXPECT_THAT(track["parameters"], ::testing::Contains(json({"wvad_param_vad_threshold", "0.7", "0.7"})));
}

TEST_F(PageFile, HoldsNothingOfTheSurroundingsOfItsRun) {
  // But for the sound, in which Ogg has a number that is drawn.
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  ASSERT_EQ(Run("report", {path, "--link-audio", "-o", page()}).code, 0);
  ASSERT_EQ(Run("report", {path, "--link-audio", "-o", folder_.file("again.html")}).code, 0);
  EXPECT_TRUE(folder_.read("again.html") == folder_.read("page.html"));
}

TEST_F(PageFile, TracksStandInTheOrderInWhichTheyWereAskedFor) {
  const Outcome run = Call({"report", Wav("a.wav", 5, kTwoBursts), "-o", page(), "-m", WVAD_TEST_MODEL, "-m", WVAD_TEST_MODEL, "--compare",
                            "wvad_param_nEnergyThreshhood=40"});
  ASSERT_EQ(run.code, 0) << run.err;
  const json tracks = Description()["tracks"];
  ASSERT_EQ(tracks.size(), 3U);
  EXPECT_EQ(tracks[0]["sentences"].size(), 2U);
  EXPECT_EQ(tracks[1]["sentences"].size(), 2U);
  EXPECT_EQ(tracks[2]["sentences"].size(), 0U);  // no window has an energy of e^40
  EXPECT_EQ(tracks[2]["settings"], json({"wvad_param_nEnergyThreshhood=40"}));
}

TEST_F(PageFile, NameOfARecordingCannotEndAnElement) {
  const std::string name = "a<!--<script>&amp;\"'.wav";
  const Outcome run = Run("report", {Wav(name, 3, {{1.0, 2.0}}), "-o", page()});
  ASSERT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(Description()["file"], folder_.file(name));
  EXPECT_EQ(folder_.read("page.html").find("<!--<script>"), std::string::npos);
  EXPECT_THAT(folder_.read("page.html"), HasSubstr("a&lt;!--&lt;script>&amp;amp;"));
}

TEST_F(PageFile, SoundIsInsideOrLinkedFromWhereThePageLies) {
  const std::string path = Wav("a b#.wav", 3, {{1.0, 2.0}});
  ASSERT_EQ(Run("report", {path, "-o", page()}).code, 0);
  EXPECT_EQ(Description()["sound"], (json{{"type", "audio/ogg; codecs=opus"}}));
  EXPECT_THAT(folder_.read("page.html"), HasSubstr("id=\"sound-data\">T2dnUw"));  // "OggS"
  std::filesystem::create_directory(folder_.file("deep"));
  ASSERT_EQ(Run("report", {path, "--link-audio", "-o", folder_.file("deep/page.html")}).code, 0);
  EXPECT_THAT(folder_.read("deep/page.html"), HasSubstr("\"sound\":{\"link\":\"../a%20b%23.wav\"}"));
  ExpectFailure(Run("report", {"-", "--link-audio", "-o", folder_.file("other.html")}), 2, "standard input has no place to link to");
}

TEST_F(PageFile, RecordingWithoutSoundHasAPageToo) {
  ASSERT_EQ(Run("report", {Wav("empty.wav", 0, {}), "-o", page()}).code, 0);
  EXPECT_EQ(Description()["seconds"], 0.0);
  EXPECT_EQ(Description()["sound"], nullptr);
  input_ = Bytes(Bursts(3, {{1.0, 2.0}}));
  ASSERT_EQ(Run("report", {"-", "--force", "-o", page()}).code, 0);
  EXPECT_EQ(Description()["tracks"][0]["sentences"].size(), 1U);
}

TEST_F(PageFile, DamagedRecordingIsShownAsFarAsItGoes) {
  Wav("a.wav", 5, kTwoBursts);
  const std::string half = folder_.write("half.wav", folder_.read("a.wav").substr(0, 44 + 2 * 16000 * 5 / 2));
  const Outcome run = Run("report", {half, "-o", page()});
  EXPECT_EQ(run.code, 4);
  EXPECT_THAT(run.err, HasSubstr("cut short"));
  EXPECT_THAT(Description()["damage"].get<std::string>(), HasSubstr("cut short"));
  EXPECT_EQ(Description()["tracks"][0]["sentences"].size(), 1U);
}

TEST_F(PageFile, NothingIsReplacedUnaskedAndNothingReadIsEver) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  folder_.write("page.html", "mine");
  ExpectFailure(Run("report", {path, "-o", page()}), 8, "exists already; --force replaces it");
  ExpectFailure(Run("report", {path, "-o", path, "--force"}), 8, "in the same run");
  ExpectFailure(Run("report", {folder_.file("missing.wav"), "-o", page(), "--force"}), 3, "missing.wav");
  ExpectFailure(Run("report", {path, "-o", page(), "--force", "--compare", "missing"}), 7, "missing");
  EXPECT_EQ(folder_.read("page.html"), "mine");
  EXPECT_EQ(Run("report", {path, "-o", page(), "--force"}).code, 0);
  EXPECT_THAT(folder_.read("page.html"), StartsWith("<!doctype html>"));
}

TEST_F(PageFile, WhatCannotBeShownIsRefused) {
  const std::string path = Wav("a.wav", 3, {{1.0, 2.0}});
  ExpectFailure(Run("report", {path}), 2, "--output is required");
  ExpectFailure(Run("report", {path, path, "-o", page()}), 2, "several recordings; call report once for each");
  ExpectFailure(Run("report", {path, "-o", page(), "--channel", "all"}), 2, "a page shows one channel");
  ExpectFailure(Run("report", {path, "-o", page(), "--compare", "VAD_PARAM_SAMPLERATE=8000"}), 2, "one page cannot show engines of");
  EXPECT_FALSE(std::filesystem::exists(page()));
}

}  // namespace
}  // namespace TSEG::tool
