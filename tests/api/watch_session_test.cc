// SPDX-License-Identifier: Apache-2.0
//
// The debug watches and the debug text over whole sessions: which files a client finds in its folder, what stands in them, and what a
// second run with the same identifier says of a difference.
#include <filesystem>
#include <set>

#include "support/energy_engine_fixture.h"
#include "support/eventually.h"

namespace TSEG::testing_support {
namespace {

class WatchSessionTest : public EnergyEngineTest {
 protected:
  // One session under `sid` with the watches on: the whole signal, then reads to the end.
  void Run(const std::vector<int16_t>& signal, const char* sid, const char* read_type = "0") {
    ASSERT_EQ(Set("wvad_param_isDebugWatch", "1"), 0);
    ASSERT_EQ(Set("wvad_param_nReadType", read_type), 0);
    ASSERT_EQ(Set("VAD_PARAM_SID", sid), 0);
    ASSERT_EQ(wVadStart(inst_), 0);
    ASSERT_EQ(Write(signal.data(), signal.size(), WVAD_WRITE_LAST), 0);
    WVadAudioSample piece = {};
    for (int i = 0; i < 50 && piece.status != WVAD_READ_OVER; ++i) ASSERT_EQ(wVadAudioRead(inst_, &piece), 0);
    ASSERT_EQ(wVadStop(inst_), 0);
  }
  std::set<std::string> Dumps() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      const std::string name = entry.path().filename().string();
      if (name.find(".sub_") != std::string::npos) names.insert(name);
    }
    return names;
  }
  uint32_t Big(const std::string& bytes, size_t at, size_t n) const {
    uint32_t value = 0;
    for (size_t i = 0; i < n; ++i) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i));
    return value;
  }
  uint32_t Little(const std::string& bytes, size_t at, size_t n) const {
    uint32_t value = 0;
    for (size_t i = n; i > 0; --i) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i - 1));
    return value;
  }
  size_t ErrorLines() const {
    const std::string log = Log();
    size_t count = 0;
    for (size_t at = log.find("Debug watch err"); at != std::string::npos; at = log.find("Debug watch err", at + 1)) ++count;
    return count;
  }
  // Two sentences, 20 to 100 and 220 to 320, in 4 s.
  const std::vector<int16_t> signal_ = Bursts(4, {{0.5, 0.8}, {2.5, 3.0}});
};

TEST_F(WatchSessionTest, FilesAreNamedByTheLastComponentAndTheSentence) {
  UpEnergy();
  Run(signal_, "c:\\data\\a.wav");
  EXPECT_EQ(Dumps(), (std::set<std::string>{"TsegInputWav_a.wav.sub_0.txt", "Tseg75x11_a.wav.sub_0.txt", "TsegOutputWav_a.wav.sub_0.txt",
                                            "TsegOutputWav_a.wav.sub_1.txt"}));
  Run(signal_, "over/there\\b");
  EXPECT_EQ(Dumps().count("TsegInputWav_b.sub_0.txt"), 1u);
}

TEST_F(WatchSessionTest, InputDumpIsInMachineOrderWithTheAudioBehindIt) {
  UpEnergy();
  Run(signal_, "a");
  const std::string dump = folder_.read("TsegInputWav_a.sub_0.txt");
  ASSERT_EQ(dump.size(), 12u + 128000u);
  EXPECT_EQ(Little(dump, 0, 4), 64000u);
  EXPECT_EQ(Little(dump, 4, 4), 2u);
  EXPECT_EQ(Little(dump, 8, 2), 2u);
  EXPECT_EQ(Little(dump, 10, 2), 9u);
  EXPECT_EQ(std::memcmp(dump.data() + 12, signal_.data(), 128000), 0);
}

TEST_F(WatchSessionTest, FeatureDumpIsBigEndianInRecordsOf75) {
  UpEnergy();
  Run(signal_, "a");
  // The first sentence: frames 20 to 99 of 115 floats are 9200 floats, 122 records of 75 and a rest.
  const std::string dump = folder_.read("TsegOutputWav_a.sub_0.txt");
  ASSERT_EQ(dump.size(), 12u + 80u * 460u);
  EXPECT_EQ(Big(dump, 0, 4), 122u);
  EXPECT_EQ(Big(dump, 4, 4), 4u);
  EXPECT_EQ(Big(dump, 8, 2), 300u);
  EXPECT_EQ(Big(dump, 10, 2), 9u);
}

TEST_F(WatchSessionTest, PcmDumpHasRecordsOfOneItem) {
  UpEnergy();
  Run(signal_, "a", "1");
  const std::string dump = folder_.read("TsegOutputWav_a.sub_0.txt");
  ASSERT_EQ(dump.size(), 12u + 80u * 320u);
  EXPECT_EQ(Big(dump, 0, 4), 80u * 80u);
  EXPECT_EQ(Big(dump, 8, 2), 4u);
  // Every 4 bytes stand the other way round.
  const auto* pcm = reinterpret_cast<const uint8_t*>(signal_.data() + 20 * 160);
  for (size_t i = 0; i < 80u * 320u; ++i) ASSERT_EQ(static_cast<uint8_t>(dump[12 + i]), pcm[i / 4 * 4 + 3 - i % 4]) << i;
}

TEST_F(WatchSessionTest, BlockDumpHoldsEveryBlockOfElevenFrames) {
  UpEnergy();
  Run(signal_, "a");
  // 64000 samples give 396 frames, and each is the centre of a block.
  const std::string dump = folder_.read("Tseg75x11_a.sub_0.txt");
  ASSERT_EQ(dump.size(), 12u + 396u * 3300u);
  EXPECT_EQ(Big(dump, 0, 4), 396u);
  EXPECT_EQ(Big(dump, 8, 2), 3300u);
}

TEST_F(WatchSessionTest, SecondIdenticalRunComparesAndSaysNothing) {
  UpEnergy();
  Run(signal_, "a", "1");
  const std::string dump = folder_.read("TsegInputWav_a.sub_0.txt");
  ::testing::internal::CaptureStdout();
  Run(signal_, "a", "1");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(ErrorLines(), 0u);
  EXPECT_EQ(Log().find("Watch Stop Assert"), std::string::npos);
  EXPECT_EQ(folder_.read("TsegInputWav_a.sub_0.txt"), dump);
}

TEST_F(WatchSessionTest, SecondRunOfFeaturesMissesTheRestThatMakesNoRecord) {
  UpEnergy();
  Run(signal_, "a");
  Run(signal_, "a");
  // 9200 floats and 11500 are 122 and 153 records of 75, and 50 and 25 floats too many: the reference lacks those. An empty read has no
  // rest.
  EXPECT_TRUE(Logged("Debug watch err, file=TsegOutputWav_a.sub_0.txt file_size = 36600 len=36800 used=0"));
  EXPECT_TRUE(Logged("Debug watch err, file=TsegOutputWav_a.sub_1.txt file_size = 45900 len=46000 used=0"));
  EXPECT_TRUE(Logged("Watch Stop Assert TsegOutputWav_a.sub_0.txt filesize:36612 used=36800"));
  EXPECT_TRUE(Logged("Watch Stop Assert TsegOutputWav_a.sub_1.txt filesize:45912 used=46000"));
}

TEST_F(WatchSessionTest, ChangedSampleIsToldOnTheOutputAndInTheLog) {
  UpEnergy();
  Run(signal_, "a", "1");
  // In silence, too quiet to count: only the watch on the input sees it, and the blocks of the network.
  std::vector<int16_t> changed = signal_;
  changed[30000] = 1;
  std::filesystem::remove(folder_.file("Tseg75x11_a.sub_0.txt"));
  ::testing::internal::CaptureStdout();
  Run(changed, "a", "1");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "comp err\n");
  EXPECT_EQ(ErrorLines(), 1u);
  EXPECT_TRUE(Logged("Debug watch err, file=TsegInputWav_a.sub_0.txt len=128000 used=0"));
}

TEST_F(WatchSessionTest, ReferenceLongerThanTheAudioIsToldAtTheStop) {
  UpEnergy();
  Run(signal_, "a", "1");
  std::vector<int16_t> shorter(signal_.begin(), signal_.begin() + 60000);
  Run(shorter, "a", "1");
  EXPECT_TRUE(Logged("Watch Stop Assert TsegInputWav_a.sub_0.txt filesize:128012 used=120000"));
}

TEST_F(WatchSessionTest, RunLongerThanTheReferenceIsTold) {
  UpEnergy();
  Run(signal_, "a", "1");
  std::vector<int16_t> longer = signal_;
  longer.resize(70000);
  Run(longer, "a", "1");
  EXPECT_TRUE(Logged("Debug watch err, file=TsegInputWav_a.sub_0.txt file_size = 128000 len=140000 used=0"));
}

TEST_F(WatchSessionTest, SwitchAloneArmsNothing) {
  UpEnergy("wvad_param_isDebugWatch = 1");
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(Write(signal_.data(), signal_.size(), WVAD_WRITE_LAST), 0);
  ASSERT_EQ(wVadStop(inst_), 0);
  EXPECT_TRUE(Dumps().empty());
}

TEST_F(WatchSessionTest, DestroyWritesWhatAnActiveWatchHolds) {
  UpEnergy("wvad_param_isDebugWatch = 1");
  ASSERT_EQ(Set("VAD_PARAM_SID", "a"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(400, WVAD_WRITE_CONTINUE), 0);
  ASSERT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
  EXPECT_EQ(folder_.read("TsegInputWav_a.sub_0.txt").size(), 812u);
}

TEST_F(WatchSessionTest, DebugTextStandsUnderItsBannerWhileTheEngineIsUpAndEndsWithOne) {
  UpEnergy("wvad_param_isVadDegOn = 1\nwvad_param_debug_log_filename = my_debug.txt");
  ASSERT_EQ(Set("VAD_PARAM_SID", "call/9"), 0);
  ASSERT_EQ(wVadStart(inst_), 0);
  ASSERT_EQ(WriteSilence(800, WVAD_WRITE_LAST), 0);
  ASSERT_EQ(wVadStop(inst_), 0);
  const std::string line = "==============================================================\n";
  // One frame of silence: both values forced to -0.2, an energy of 0.
  const std::string session = "call/9|VAD:|mScore: -200 -200 |eScore: 0\n";
  std::string text;
  ASSERT_TRUE(Eventually([&] {
    text = folder_.read("my_debug.txt");
    return text.find(session) != std::string::npos;
  }));
  EXPECT_EQ(text.substr(0, line.size() + 13), line + "\t \tLog Begin ");
  EXPECT_EQ(text.substr(text.size() - line.size() - session.size()), line + session);
  // A stop on an idle instance hands out an empty session.
  ASSERT_EQ(wVadStop(inst_), 0);
  ASSERT_EQ(wVadDestroyInst(inst_), 0);
  inst_ = nullptr;
  ASSERT_EQ(wVadUninitialize(), 0);
  EXPECT_EQ(folder_.read("my_debug.txt"), text + "\n" + line + "\t \tLog End\n" + line);
}

}  // namespace
}  // namespace TSEG::testing_support
