// SPDX-License-Identifier: Apache-2.0
//
// The frame containers: framing of what is written, the partial frame, freeing, and the lines of what is not there.
#include "channel/frame_containers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "support/folder_fixture.h"

namespace TSEG {
namespace {

using FrameContainersTest = testing_support::FolderTest;

std::vector<uint8_t> Bytes(size_t n, unsigned seed = 0) {
  std::vector<uint8_t> out(n);
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>((i * 131 + seed) >> 3);
  return out;
}

std::vector<uint8_t> Wav(FrameWavContainer& wav, int32_t frame) {
  const uint8_t* data = nullptr;
  uint32_t n = 0;
  wav.getWav(frame, &data, &n);
  return data == nullptr ? std::vector<uint8_t>() : std::vector<uint8_t>(data, data + n);
}

TEST(FrameWavContainer, PiecesOfAnySizeGiveTheSameFrames) {
  for (const uint32_t frame_bytes : {320u, 160u, 120u}) {
    for (const size_t piece : {size_t{1}, size_t{2}, size_t{119}, size_t{320}, size_t{321}, size_t{800}, size_t{5000}}) {
      const std::vector<uint8_t> all = Bytes(5000);
      FrameWavContainer wav;
      wav.setFrameBytes(frame_bytes);
      for (size_t at = 0; at < all.size(); at += piece) {
        wav.write(all.data() + at, static_cast<uint32_t>(std::min(piece, all.size() - at)));
      }
      const size_t whole = all.size() / frame_bytes;
      ASSERT_EQ(wav.frames.size(), whole);
      EXPECT_EQ(wav.nPartial, all.size() % frame_bytes);
      wav.markLast();
      std::vector<uint8_t> back;
      for (size_t f = 0; f <= whole; ++f) {
        const std::vector<uint8_t> frame = Wav(wav, static_cast<int32_t>(f));
        back.insert(back.end(), frame.begin(), frame.end());
      }
      EXPECT_EQ(back, all) << frame_bytes << " / " << piece;
    }
  }
}

TEST(FrameWavContainer, WriteOfNothingChangesNothing) {
  FrameWavContainer wav;
  wav.write(nullptr, 0);
  EXPECT_EQ(wav.frames.size(), 0u);
  EXPECT_EQ(wav.nPartial, 0u);
}

TEST_F(FrameContainersTest, PartialFrameCountsOnlyAfterTheLastMark) {
  OpenLog(kLogErr);
  FrameWavContainer wav;
  wav.write(Bytes(400).data(), 400);
  EXPECT_TRUE(Wav(wav, 1).empty());
  EXPECT_EQ(Log(), "FrameWavContainer|getWav is NULL iFrame:1\n");
  wav.markLast();
  EXPECT_EQ(Wav(wav, 1).size(), 80u);
  wav.freeWav(1);
  EXPECT_EQ(wav.nPartial, 0u);
  EXPECT_TRUE(Wav(wav, 1).empty());
  EXPECT_EQ(Log(), "FrameWavContainer|getWav is NULL iFrame:1\n");  // an empty partial frame is there all the same
}

TEST_F(FrameContainersTest, PcmThatIsNotThereIsLogged) {
  OpenLog(kLogErr);
  FrameWavContainer wav;
  wav.write(Bytes(640).data(), 640);
  wav.freeWav(0);
  EXPECT_TRUE(Wav(wav, 0).empty());
  EXPECT_TRUE(Wav(wav, 2).empty());
  EXPECT_TRUE(Wav(wav, -1).empty());
  wav.freeWav(2);
  wav.freeWav(-7);
  wav.freeWav(0);  // already freed: nothing
  EXPECT_EQ(Log(),
            "FrameWavContainer|getWav is NULL iFrame:0\nFrameWavContainer|getWav is NULL iFrame:2\n"
            "FrameWavContainer|getWav is NULL iFrame:-1\nFrameWavContainer|getWav is NULL iFrame:2\n"
            "FrameWavContainer|getWav is NULL iFrame:-7\n");
}

TEST_F(FrameContainersTest, FreeWavToGoesForwardOnlyAndPassesFreedFramesInSilence) {
  OpenLog(kLogErr);
  FrameWavContainer wav;
  wav.write(Bytes(3200).data(), 3200);
  wav.freeWav(2);
  wav.freeWavTo(4);
  EXPECT_EQ(wav.nFreedTo, 4u);
  for (size_t f = 0; f < 10; ++f) EXPECT_EQ(wav.frames[f] == nullptr, f < 4) << f;
  wav.freeWavTo(3);
  wav.freeWavTo(-5);
  EXPECT_EQ(wav.nFreedTo, 4u);
  EXPECT_EQ(Log(), "");
  wav.freeWavTo(12);
  EXPECT_EQ(wav.nFreedTo, 12u);
  EXPECT_EQ(Log(), "FrameWavContainer|getWav is NULL iFrame:10\nFrameWavContainer|getWav is NULL iFrame:11\n");
}

TEST(FrameWavContainer, FreedMemoryIsUsedAgain) {
  FrameWavContainer wav;
  const std::vector<uint8_t> frame = Bytes(320);
  std::vector<const uint8_t*> seen;
  for (int f = 0; f < 2048; ++f) wav.write(frame.data(), 320);  // the first block is used up
  wav.freeWavTo(2000);
  const uint8_t* lowest = wav.frames[2000];
  for (size_t f = 2001; f < 2048; ++f) lowest = std::min<const uint8_t*>(lowest, wav.frames[f]);
  const uint8_t* low = lowest - 2000 * 320;
  for (int f = 0; f < 2000; ++f) {
    wav.write(frame.data(), 320);
    const uint8_t* p = wav.frames.back();
    EXPECT_TRUE(p >= low && p < low + 2048 * 320) << f;
  }
}

TEST(FrameWavContainer, FramesDoNotOverlapAtOddSizes) {
  FrameWavContainer wav;
  wav.setFrameBytes(120);
  const std::vector<uint8_t> all = Bytes(120 * 6000, 17);
  wav.write(all.data(), static_cast<uint32_t>(all.size()));
  for (int32_t f = 0; f < 6000; ++f) {
    ASSERT_EQ(std::memcmp(wav.frames[static_cast<size_t>(f)], all.data() + f * 120, 120), 0) << f;
  }
}

TEST(FrameWavContainer, SizeOfAnUnsupportedRateStaysWithinTheFrame) {
  FrameWavContainer wav;
  for (const uint32_t n : {0u, 882u, 0xFFFFFFFFu}) {
    wav.setFrameBytes(n);
    wav.write(Bytes(1000).data(), 1000);
    EXPECT_GE(wav.nFrameBytes, 1u);
    EXPECT_LE(wav.nFrameBytes, 320u);
    EXPECT_LT(wav.nPartial, 320u);
    wav.reset();
  }
}

TEST(FrameWavContainer, ResetTakesEverythingBack) {
  FrameWavContainer wav;
  wav.setFrameBytes(160);
  wav.write(Bytes(1000).data(), 1000);
  wav.markLast();
  wav.freeWavTo(2);
  wav.reset();
  EXPECT_TRUE(wav.frames.empty());
  EXPECT_EQ(wav.nFrameBytes, 320u);
  EXPECT_EQ(wav.nPartial, 0u);
  EXPECT_EQ(wav.nLastMarks, 0u);
  EXPECT_EQ(wav.nFreedTo, 0u);
  const std::vector<uint8_t> all = Bytes(320 * 40, 5);
  wav.write(all.data(), static_cast<uint32_t>(all.size()));
  for (size_t f = 0; f < 40; ++f) EXPECT_EQ(std::memcmp(wav.frames[f], all.data() + f * 320, 320), 0) << f;
}

TEST(FrameFeaContainer, FramesHold115FloatsEach) {
  FrameFeaContainer fea;
  for (int f = 0; f < 5000; ++f) {
    float* frame = fea.addFrame();
    std::iota(frame, frame + 115, static_cast<float>(f));
    ASSERT_EQ(fea.frames.size(), static_cast<size_t>(f + 1));
  }
  for (int f = 0; f < 5000; ++f) {
    ASSERT_EQ(fea.getFea(f)[0], static_cast<float>(f));
    ASSERT_EQ(fea.getFea(f)[114], static_cast<float>(f + 114));
  }
}

TEST_F(FrameContainersTest, FeaturesThatAreNotThereAreLogged) {
  OpenLog(kLogErr);
  FrameFeaContainer fea;
  fea.addFrame();
  fea.freeFea(0);
  EXPECT_EQ(fea.getFea(0), nullptr);
  EXPECT_EQ(fea.getFea(1), nullptr);
  EXPECT_EQ(fea.getFea(-1), nullptr);
  fea.freeFea(0);  // already freed: nothing
  fea.freeFea(1);
  fea.freeFea(-2);
  EXPECT_EQ(Log(),
            "FrameFeaContainer|getFea is NULL iFrame:0\nFrameFeaContainer|getFea is NULL iFrame:1\n"
            "FrameFeaContainer|getFea is NULL iFrame:-1\nFrameFeaContainer|freeFea is NULL iFrame:1\n"
            "FrameFeaContainer|freeFea is NULL iFrame:-2\n");
}

TEST_F(FrameContainersTest, FreeFeaToGoesForwardOnly) {
  OpenLog(kLogErr);
  FrameFeaContainer fea;
  for (int f = 0; f < 6; ++f) fea.addFrame();
  fea.freeFea(1);
  fea.freeFeaTo(3);
  EXPECT_EQ(fea.nFreedTo, 3u);
  fea.freeFeaTo(2);
  EXPECT_EQ(fea.nFreedTo, 3u);
  for (size_t f = 0; f < 6; ++f) EXPECT_EQ(fea.frames[f] == nullptr, f < 3) << f;
  EXPECT_EQ(Log(), "");
  fea.reset();
  EXPECT_TRUE(fea.frames.empty());
  EXPECT_EQ(fea.nFreedTo, 0u);
}

// An hour of audio with the reader a second behind: frames keep their numbers, and the table of frames stays as small as what it holds.
TEST_F(FrameContainersTest, FreedFramesLeaveNothingBehind) {
  OpenLog(kLogErr);
  FrameWavContainer wav;
  FrameFeaContainer fea;
  std::vector<uint8_t> pcm(320);
  for (int32_t f = 0; f < 360000; ++f) {
    std::memcpy(pcm.data(), &f, sizeof f);
    wav.write(pcm.data(), 320);
    fea.addFrame()[0] = static_cast<float>(f);
    // The reader takes a few frames by themselves, ahead of the rest.
    if (f % 50 == 40) {
      wav.freeWav(f - 30);
      fea.freeFea(f - 30);
    }
    wav.freeWavTo(f - 100);
    fea.freeFeaTo(f - 100);
    if (f % 1000 != 999) continue;
    ASSERT_EQ(wav.frames.size(), static_cast<size_t>(f + 1));
    ASSERT_EQ(fea.frames.size(), static_cast<size_t>(f + 1));
    int32_t number = -1;
    const std::vector<uint8_t> oldest = Wav(wav, f - 100);
    ASSERT_EQ(oldest.size(), 320u);
    std::memcpy(&number, oldest.data(), sizeof number);
    ASSERT_EQ(number, f - 100);
    ASSERT_EQ(fea.getFea(f - 100)[0], static_cast<float>(f - 100));
  }
  EXPECT_EQ(Log(), "");
  EXPECT_LE(wav.frames.capacity(), 4096u);
  EXPECT_LE(fea.frames.capacity(), 4096u);
  EXPECT_EQ(fea.getFea(0), nullptr);
  wav.freeWav(0);  // freed long ago: nothing
  EXPECT_EQ(Log(), "FrameFeaContainer|getFea is NULL iFrame:0\n");
}

}  // namespace
}  // namespace TSEG
