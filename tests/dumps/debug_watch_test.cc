// SPDX-License-Identifier: Apache-2.0
//
// DebugWatch: recording, comparing with an earlier recording, sub-files, and references that are not recordings.
#include "dumps/debug_watch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/folder_fixture.h"

namespace TSEG {
namespace {

using namespace std::string_literals;

class DebugWatchTest : public testing_support::FolderTest {
 protected:
  void SetUp() override {
    FolderTest::SetUp();
    OpenLog(kLogErr);
    ::testing::internal::CaptureStdout();
  }
  void TearDown() override {
    if (!console_taken_) ::testing::internal::GetCapturedStdout();
    FolderTest::TearDown();
  }
  std::string Console() {
    console_taken_ = true;
    return ::testing::internal::GetCapturedStdout();
  }

 private:
  bool console_taken_ = false;
};

constexpr const char* kInput = "TsegInputWav_a.wav.sub_0.txt";

// A recording of `samples` under the name of the input watch.
void RecordInput(const std::vector<int16_t>& samples) {
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  watch.add(samples.data(), static_cast<int32_t>(samples.size() * 2));
  watch.stop();
}

TEST_F(DebugWatchTest, InputRecordingHasItsHeaderInMachineOrder) {
  RecordInput({1, -2, 0x0304});
  EXPECT_EQ(folder_.read(kInput),
            "\x03\x00\x00\x00\x02\x00\x00\x00\x02\x00\x09\x00"s
            "\x01\x00\xFE\xFF\x04\x03"s);
}

TEST_F(DebugWatchTest, FourByteRecordingIsBigEndian) {
  DebugWatch watch("Tseg75x11", 4);
  watch.nPerRecord = 2;
  const uint32_t values[2] = {0x01020304u, 0x05060708u};
  watch.arm("a.wav", true);
  watch.add(values, 8);
  watch.stop();
  EXPECT_EQ(folder_.read("Tseg75x11_a.wav.sub_0.txt"),
            "\x00\x00\x00\x01\x00\x00\x00\x04\x00\x08\x00\x09"s
            "\x01\x02\x03\x04\x05\x06\x07\x08"s);
}

TEST_F(DebugWatchTest, SecondIdenticalRunComparesAndLogsNothing) {
  const std::vector<int16_t> samples = {1, 2, 3, 4, 5, 6};
  RecordInput(samples);
  const std::string before = folder_.read(kInput);
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  EXPECT_EQ(watch.nMode, 1u);
  EXPECT_EQ(watch.nFileSize, 24u);
  watch.add(samples.data(), 4);
  watch.add(samples.data() + 2, 8);
  watch.stop();
  EXPECT_EQ(Log(), "");
  EXPECT_EQ(Console(), "");
  EXPECT_EQ(folder_.read(kInput), before);
}

TEST_F(DebugWatchTest, OneChangedSampleGivesOneLine) {
  RecordInput({1, 2, 3, 4});
  const int16_t changed[4] = {1, 2, 9, 4};
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  watch.add(changed, 4);
  watch.add(changed + 2, 4);
  watch.stop();
  EXPECT_EQ(Console(), "comp err\n");
  EXPECT_EQ(Log(), "Debug watch err, file=TsegInputWav_a.wav.sub_0.txt len=4 used=4\n");
}

TEST_F(DebugWatchTest, ReferenceLongerThanTheRunIsToldAtTheEnd) {
  RecordInput({1, 2, 3, 4});
  const int16_t samples[1] = {1};
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  watch.add(samples, 2);
  watch.stop();
  EXPECT_EQ(Log(), "Watch Stop Assert TsegInputWav_a.wav.sub_0.txt filesize:20 used=2\n");
}

TEST_F(DebugWatchTest, RunLongerThanTheReferenceIsToldAtEachWrite) {
  RecordInput({1, 2});
  const int16_t samples[3] = {1, 2, 3};
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  watch.add(samples, 6);
  watch.add(samples, 2);
  watch.stop();
  EXPECT_EQ(Log(),
            "Debug watch err, file=TsegInputWav_a.wav.sub_0.txt file_size = 4 len=6 used=0\n"
            "Debug watch err, file=TsegInputWav_a.wav.sub_0.txt file_size = 4 len=2 used=6\n"
            "Watch Stop Assert TsegInputWav_a.wav.sub_0.txt filesize:16 used=8\n");
  EXPECT_EQ(Console(), "");
}

TEST_F(DebugWatchTest, FourByteRunsCompareThroughTheDump) {
  const float values[3] = {1.5f, -2.0f, 3.25f};
  for (int run = 0; run < 2; ++run) {
    DebugWatch watch("Tseg75x11", 4);
    watch.arm("x", true);
    EXPECT_EQ(watch.nMode, run == 0 ? 0u : 1u);
    watch.add(values, 12);
    watch.stop();
  }
  EXPECT_EQ(Log(), "");
}

TEST_F(DebugWatchTest, RecordsThatDoNotComeOutEvenMissTheirRestInTheReference) {
  // Seven values in records of three: the dump counts two records, and the run is four bytes longer than they are.
  const float values[7] = {};
  for (int run = 0; run < 2; ++run) {
    DebugWatch watch("Tseg75x4", 4);
    watch.nPerRecord = 3;
    watch.arm("x", true);
    watch.add(values, 28);
    watch.stop();
  }
  EXPECT_EQ(Log(),
            "Debug watch err, file=Tseg75x4_x.sub_0.txt file_size = 24 len=28 used=0\n"
            "Watch Stop Assert Tseg75x4_x.sub_0.txt filesize:36 used=28\n");
}

TEST_F(DebugWatchTest, WatchThatSawNothingWritesNothing) {
  {
    DebugWatch watch("Tseg75x4", 4);
    watch.arm("a.wav", true);
    watch.add(nullptr, 0);
    watch.stop();
    watch.roll();
    EXPECT_EQ(watch.nSubIndex, 0);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(DebugWatchTest, WatchThatIsOffSeesNothing) {
  const int16_t sample = 1;
  DebugWatch never("TsegInputWav", 2);
  never.add(&sample, 2);
  EXPECT_EQ(never.nMode, 2u);
  EXPECT_EQ(never.nUsed, 0);
  DebugWatch off("TsegInputWav", 2);
  off.arm("a.wav", false);
  off.add(&sample, 2);
  EXPECT_EQ(off.nUsed, 0);
  EXPECT_EQ(off.nMode, 2u);
  EXPECT_EQ(off.path, "");
  off.roll();
  off.stop();
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(DebugWatchTest, RollGoesOnToTheNextSubFile) {
  const float first[2] = {1, 2};
  const float second[1] = {3};
  {
    DebugWatch watch("TsegOutputWav", 4);
    watch.arm("a.wav", true);
    watch.add(first, 8);
    watch.roll();
    EXPECT_EQ(watch.nSubIndex, 1);
    EXPECT_EQ(watch.path, "TsegOutputWav_a.wav.sub_1.txt");
    watch.roll();  // nothing seen: the same piece again
    EXPECT_EQ(watch.nSubIndex, 1);
    watch.add(second, 4);
    watch.roll();
    EXPECT_EQ(watch.nSubIndex, 2);
  }
  EXPECT_EQ(folder_.read("TsegOutputWav_a.wav.sub_0.txt").size(), 20u);
  EXPECT_EQ(folder_.read("TsegOutputWav_a.wav.sub_1.txt").size(), 16u);
  EXPECT_FALSE(std::filesystem::exists("TsegOutputWav_a.wav.sub_2.txt"));
}

TEST_F(DebugWatchTest, DestructionWritesWhatIsHeld) {
  {
    DebugWatch watch("TsegInputWav", 2);
    watch.arm("a.wav", true);
    watch.add("ab", 2);
  }
  EXPECT_EQ(folder_.read(kInput).substr(12), "ab");
}

TEST_F(DebugWatchTest, ArmingAgainDropsWhatWasRecorded) {
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  watch.add("ab", 2);
  watch.arm("b.wav", true);
  watch.stop();
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(DebugWatchTest, BufferGrowsForRecordsOfAnyLength) {
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  const std::vector<uint8_t> half(524288, 'h');
  watch.add(half.data(), 524288);
  EXPECT_EQ(watch.nCapacity, 1048576);
  watch.add(half.data(), 524288);  // the buffer is reached: doubled
  EXPECT_EQ(watch.nCapacity, 2097152);
  const std::vector<uint8_t> longer(9000000, 'l');  // more than one doubling
  watch.add(longer.data(), 9000000);
  EXPECT_EQ(watch.nUsed, 1048576 + 9000000);
  EXPECT_EQ(watch.nCapacity, 16777216);
  watch.stop();
  const std::string file = folder_.read(kInput);
  ASSERT_EQ(file.size(), 12u + 1048576 + 9000000);
  EXPECT_EQ(file.substr(12), std::string(1048576, 'h') + std::string(9000000, 'l'));
}

TEST_F(DebugWatchTest, CountsDoNotOverflow) {
  RecordInput({1, 2});
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  watch.nUsed = std::numeric_limits<int32_t>::max() - 1;
  watch.add("abcd", 4);
  EXPECT_EQ(watch.nUsed, std::numeric_limits<int32_t>::max());
  watch.add("abcd", 4);
  EXPECT_EQ(watch.nUsed, std::numeric_limits<int32_t>::max());
  watch.add("abcd", -4);
  EXPECT_EQ(watch.nUsed, std::numeric_limits<int32_t>::max());
}

TEST_F(DebugWatchTest, ForeignReferencesAreComparedWithinTheirBytes) {
  const int16_t samples[4] = {1, 2, 3, 4};
  for (const size_t size : {size_t{0}, size_t{1}, size_t{11}, size_t{12}, size_t{13}, size_t{5000}}) {
    for (const uint32_t item_bytes : {2u, 4u}) {
      const std::string name = item_bytes == 2 ? "TsegInputWav" : "TsegOutputWav";
      folder_.write(name + "_f.sub_0.txt", std::string(size, '\xFF'));
      DebugWatch watch(name.c_str(), item_bytes);
      watch.arm("f", true);
      EXPECT_EQ(watch.nMode, 1u);
      for (int k = 0; k < 3; ++k) watch.add(samples, 8);
      EXPECT_EQ(watch.nUsed, 24);
      watch.stop();
    }
  }
  EXPECT_NE(Log().find("Debug watch err, file=TsegInputWav_f.sub_0.txt file_size = -12 len=8 used=0\n"), std::string::npos);
  EXPECT_NE(Log().find("Debug watch err, file=TsegInputWav_f.sub_0.txt file_size = -11 len=8 used=16\n"), std::string::npos);
  EXPECT_NE(Log().find("Debug watch err, file=TsegInputWav_f.sub_0.txt file_size = 1 len=8 used=0\n"), std::string::npos);
  EXPECT_NE(Log().find("Debug watch err, file=TsegOutputWav_f.sub_0.txt file_size = 0 len=8 used=0\n"), std::string::npos);
}

TEST_F(DebugWatchTest, DumpThatWasCutShortComparesAsFarAsItGoes) {
  const float values[4] = {1.0F, 2.0F, 3.0F, 4.0F};
  const std::string path = "TsegOutputWav_a.wav.sub_0.txt";
  {
    DebugWatch watch("TsegOutputWav", 4);
    watch.arm("a.wav", true);
    watch.add(values, sizeof values);
    watch.stop();
  }
  folder_.write(path, folder_.read(path).substr(0, 12 + 8));
  DebugWatch watch("TsegOutputWav", 4);
  watch.arm("a.wav", true);
  EXPECT_EQ(watch.nFileSize, 28u);
  watch.add(values, 8);
  EXPECT_EQ(Log(), "");
  watch.add(values + 2, 8);
  watch.stop();
  EXPECT_EQ(Log(), "Debug watch err, file=" + path + " len=8 used=8\n");
}

TEST_F(DebugWatchTest, PipeOfThatNameIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo(kInput, 0600), 0);
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  EXPECT_EQ(watch.nMode, 1u);
  EXPECT_EQ(watch.nFileSize, 0u);
}

TEST_F(DebugWatchTest, FolderThatIsNotThereLosesTheRecordingAlone) {
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("no/such/folder", true);
  watch.add("ab", 2);
  watch.stop();
  EXPECT_EQ(watch.nUsed, 0);
  EXPECT_EQ(Log(), "");
}

TEST_F(DebugWatchTest, FolderOfThatNameIsNoReference) {
  std::filesystem::create_directory(kInput);
  DebugWatch watch("TsegInputWav", 2);
  watch.arm("a.wav", true);
  EXPECT_EQ(watch.nMode, 0u);
}

}  // namespace
}  // namespace TSEG
