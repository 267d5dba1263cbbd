// SPDX-License-Identifier: Apache-2.0
//
// ReadCmn: the release schedules of its types, the means, and the flush.
#include "channel/read_cmn.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace TSEG {
namespace {

// `n` frames; all 115 values of frame f are `first` + `step` * f.
void Fill(FrameFeaContainer& fea, int n, float first, float step) {
  for (int f = 0; f < n; ++f) {
    float* frame = fea.addFrame();
    for (int i = 0; i < 115; ++i) frame[i] = first + step * static_cast<float>(f);
  }
}

std::vector<int32_t> Take(ReadCmn& cmn) {
  FrameIndexQueue list;
  cmn.takeReady(list);
  std::vector<int32_t> out;
  for (; !list.empty(); list.pop_front()) out.push_back(list.front());
  return out;
}

struct Step {
  int32_t count;  // frames taken in
  int32_t done;   // frames released by then
};

class ReadCmnSchedule : public ::testing::TestWithParam<std::pair<int32_t, std::vector<Step>>> {};

TEST_P(ReadCmnSchedule, ReleasesWhatTheRampAllows) {
  FrameFeaContainer fea;
  Fill(fea, 260, 1.0f, 0.0f);
  ReadCmn cmn;
  cmn.setup(GetParam().first);
  int32_t next = 0;
  for (const Step& step : GetParam().second) {
    cmn.process(fea, cmn.nLastFrame + 1, step.count, false);
    EXPECT_EQ(cmn.nCount, step.count);
    EXPECT_EQ(cmn.nLastFrame, step.count - 1);
    EXPECT_EQ(cmn.nDone, step.done) << "after frame " << step.count;
    for (const int32_t f : Take(cmn)) EXPECT_EQ(f, next++);
    EXPECT_EQ(next, step.done);
    EXPECT_EQ(cmn.pending.size(), static_cast<size_t>(step.count - step.done));
  }
}

// Type 0: (101 - 100) * 50 / 50 = 1, (151 - 150) * 150 / 50 + 50 = 53, ...
// Type 2: 1 * 25 / 50 = 0, 2 * 25 / 50 = 1, 1 * 125 / 50 + 25 = 27, 2 * 125 / 50 + 25 = 30, ...
// Type 3: 1 * 25 / 50 = 0, 2 * 25 / 50 = 1, 1 * 75 / 25 + 25 = 28, ...
INSTANTIATE_TEST_SUITE_P(
    Types, ReadCmnSchedule,
    ::testing::Values(
        std::pair<int32_t, std::vector<Step>>{
            0, {{1, 0}, {100, 0}, {101, 1}, {125, 25}, {150, 50}, {151, 53}, {152, 56}, {199, 197}, {200, 200}, {201, 201}, {260, 260}}},
        std::pair<int32_t, std::vector<Step>>{7, {{100, 0}, {101, 1}, {150, 50}, {200, 200}}},
        std::pair<int32_t, std::vector<Step>>{-1, {{100, 0}, {101, 1}}},
        std::pair<int32_t, std::vector<Step>>{
            2, {{50, 0}, {51, 0}, {52, 1}, {53, 1}, {54, 2}, {100, 25}, {101, 27}, {102, 30}, {149, 147}, {150, 150}, {151, 151}}},
        std::pair<int32_t, std::vector<Step>>{3, {{25, 0}, {26, 0}, {27, 1}, {75, 25}, {76, 28}, {99, 97}, {100, 100}, {101, 101}}},
        std::pair<int32_t, std::vector<Step>>{4, {{1, 0}, {260, 0}}},
        std::pair<int32_t, std::vector<Step>>{1, {{1, 1}, {2, 2}, {260, 260}}}));

TEST(ReadCmn, FirstReleaseLeansOnThePrior) {
  FrameFeaContainer fea;
  Fill(fea, 101, 0.0f, 0.0f);
  ReadCmn cmn;
  cmn.process(fea, 0, 101, false);
  // a = (200 - 101) * 0.6 / 200 = 0.297; the own mean is 0.
  const float* first = fea.getFea(0);
  EXPECT_NEAR(first[0], -0.297 * 12.7679, 1e-5);
  EXPECT_NEAR(first[23], -0.297 * 16.4931, 1e-5);
  EXPECT_NEAR(first[75], -0.297 * 11.6815, 1e-5);
  EXPECT_NEAR(first[114], -0.297 * 15.364, 1e-5);
  for (int i = 24; i < 75; ++i) EXPECT_EQ(first[i], 0.0f) << i;
  for (int i = 0; i < 115; ++i) EXPECT_EQ(fea.getFea(1)[i], 0.0f) << "frame 1 still waits, index " << i;
}

TEST(ReadCmn, OwnMeanHasTheRestOfTheWeight) {
  FrameFeaContainer fea;
  Fill(fea, 101, 10.0f, 0.0f);
  ReadCmn cmn;
  cmn.process(fea, 0, 101, false);
  EXPECT_NEAR(fea.getFea(0)[0], 10.0 - (0.297 * 12.7679 + 0.703 * 10.0), 1e-5);
}

TEST(ReadCmn, FromTheThirdThresholdTheRunningMeanAloneCounts) {
  FrameFeaContainer fea;
  Fill(fea, 201, 8.0f, 0.0f);
  ReadCmn cmn;
  cmn.process(fea, 0, 201, false);
  // Sums of eights are exact, and so is their mean: 1608 / 201.
  EXPECT_EQ(fea.getFea(199)[0], 0.0f);
  EXPECT_EQ(fea.getFea(200)[80], 0.0f);
  EXPECT_EQ(fea.getFea(200)[40], 8.0f);
}

TEST(ReadCmn, FlushReleasesAllWithThePriorOfTheCount) {
  FrameFeaContainer fea;
  Fill(fea, 2, 1.0f, 2.0f);  // 1 and 3
  ReadCmn cmn;
  cmn.process(fea, 0, 2, true);
  EXPECT_EQ(Take(cmn), (std::vector<int32_t>{0, 1}));
  EXPECT_EQ(cmn.nCount, 2);
  EXPECT_EQ(cmn.nLastFrame, 1);
  // a = 198 * 0.6 / 200 = 0.594, b = 0.406, own mean 2.
  EXPECT_NEAR(fea.getFea(0)[0], 1.0 - (0.594 * 12.7679 + 0.406 * 2.0), 1e-5);
  EXPECT_NEAR(fea.getFea(1)[0], 3.0 - (0.594 * 12.7679 + 0.406 * 2.0), 1e-5);
}

TEST(ReadCmn, FlushOnNothingWaitingChangesNothing) {
  FrameFeaContainer fea;
  Fill(fea, 3, 4.0f, 0.0f);
  ReadCmn cmn;
  cmn.process(fea, 0, 3, true);
  Take(cmn);
  const float before = fea.getFea(1)[0];
  cmn.process(fea, 3, 3, true);
  EXPECT_TRUE(cmn.ready.empty());
  EXPECT_EQ(fea.getFea(1)[0], before);
  EXPECT_EQ(cmn.nCount, 3);
}

TEST(ReadCmn, TypeFourTakesTheMeanOfEverythingAtTheFlush) {
  FrameFeaContainer fea;
  Fill(fea, 3, 1.0f, 3.0f);  // 1, 4, 7: mean 4
  ReadCmn cmn;
  cmn.setup(4);
  cmn.process(fea, 0, 3, true);
  EXPECT_EQ(fea.getFea(0)[0], -3.0f);
  EXPECT_EQ(fea.getFea(1)[75], 0.0f);
  EXPECT_EQ(fea.getFea(2)[114], 3.0f);
  EXPECT_EQ(fea.getFea(2)[74], 7.0f);
}

TEST(ReadCmn, SecondSentenceCountsOnFromTheFirst) {
  FrameFeaContainer fea;
  Fill(fea, 200, 1.0f, 0.0f);
  ReadCmn cmn;
  cmn.process(fea, 10, 70, true);  // 60 frames
  EXPECT_EQ(Take(cmn).size(), 60u);
  cmn.process(fea, 100, 140, false);  // 40 more make 100: nothing yet
  EXPECT_TRUE(Take(cmn).empty());
  cmn.process(fea, 140, 180, false);  // at 140 the ramp stands at 40, below the 60 that have gone
  EXPECT_TRUE(Take(cmn).empty());
  cmn.process(fea, 180, 191, false);  // 151: 53
  EXPECT_TRUE(Take(cmn).empty());
  cmn.process(fea, 191, 194, false);  // 154: 4 * 150 / 50 + 50 = 62
  EXPECT_EQ(Take(cmn), (std::vector<int32_t>{100, 101}));
}

TEST(ReadCmn, SwitchedOffLeavesTheFramesAndClearsItsMeans) {
  FrameFeaContainer fea;
  Fill(fea, 5, -3.5f, 1.25f);
  ReadCmn cmn;
  cmn.setup(1);
  EXPECT_EQ(cmn.bEnable, 0);
  EXPECT_EQ(cmn.nFirst, 100);
  cmn.process(fea, 0, 5, true);
  EXPECT_EQ(Take(cmn), (std::vector<int32_t>{0, 1, 2, 3, 4}));
  for (int f = 0; f < 5; ++f) {
    for (int i = 0; i < 115; ++i) EXPECT_EQ(fea.getFea(f)[i], -3.5f + 1.25f * static_cast<float>(f));
  }
  EXPECT_EQ(cmn.prior24[0], 0.0f);
  EXPECT_EQ(cmn.prior40[39], 0.0f);
  EXPECT_EQ(cmn.sum24[5], 0.0f);
}

TEST(ReadCmn, ResetRestoresTheDefaults) {
  FrameFeaContainer fea;
  Fill(fea, 30, 1.0f, 0.0f);
  ReadCmn cmn;
  cmn.setup(3);
  cmn.process(fea, 0, 30, true);
  cmn.setup(1);
  cmn.process(fea, 0, 1, false);
  cmn.takeReady(cmn.taken);
  cmn.reset();
  EXPECT_EQ(cmn.bEnable, 1);
  EXPECT_EQ(cmn.nLastFrame, -1);
  EXPECT_EQ(cmn.nCount, 0);
  EXPECT_EQ(cmn.nDone, 0);
  EXPECT_TRUE(cmn.pending.empty());
  EXPECT_TRUE(cmn.ready.empty());
  EXPECT_TRUE(cmn.taken.empty());
  EXPECT_EQ(cmn.nFirst, 100);
  EXPECT_EQ(cmn.nSecond, 150);
  EXPECT_EQ(cmn.nThird, 200);
  EXPECT_EQ(cmn.nLag, 50);
  EXPECT_EQ(cmn.fPriorWeight, 0.6f);
  EXPECT_EQ(cmn.prior24[0], 12.7679f);
  EXPECT_EQ(cmn.prior24[23], 16.4931f);
  EXPECT_EQ(cmn.prior40[0], 11.6815f);
  EXPECT_EQ(cmn.prior40[39], 15.364f);
  EXPECT_EQ(cmn.sum24[0], 0.0f);
  EXPECT_EQ(cmn.sum40[0], 0.0f);
}

TEST(ReadCmn, TakeReadyKeepsWhatTheReaderStillHolds) {
  FrameFeaContainer fea;
  Fill(fea, 6, 1.0f, 0.0f);
  ReadCmn cmn;
  cmn.setup(1);
  FrameIndexQueue list;
  cmn.process(fea, 0, 3, false);
  cmn.takeReady(list);
  list.pop_front();
  cmn.process(fea, 3, 6, false);
  cmn.takeReady(list);
  ASSERT_EQ(list.size(), 5u);
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(list[i], static_cast<int32_t>(i + 1));
  EXPECT_TRUE(cmn.ready.empty());
}

TEST(ReadCmn, FramesThatAreGonePassWithoutTheirValues) {
  FrameFeaContainer fea;
  Fill(fea, 4, 2.0f, 0.0f);
  fea.freeFea(1);
  ReadCmn cmn;
  cmn.setup(4);
  cmn.process(fea, 0, 6, true);  // two frames beyond the end as well
  EXPECT_EQ(Take(cmn).size(), 6u);
  EXPECT_EQ(fea.getFea(0)[0], 1.0f);  // the sum of three twos over a count of six
}

TEST(ReadCmn, SentencesOfASessionEqualTheReferenceNumbers) {
  const int columns[8] = {0, 11, 23, 24, 74, 75, 95, 114};
  const auto load = [](const std::string& name) {
    std::ifstream in(std::string(WVAD_TEST_DATA_DIR) + "/session/read_" + name + ".f32", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<float> floats(bytes.size() / sizeof(float));
    std::memcpy(floats.data(), bytes.data(), floats.size() * sizeof(float));
    return floats;
  };
  const std::vector<float> plain = load("plain");
  ASSERT_EQ(plain.size(), 771u * 8);
  for (const int32_t type : {0, 3, 4}) {
    const std::vector<float> expected = load("cmn" + std::to_string(type));
    ASSERT_EQ(expected.size(), plain.size());
    FrameFeaContainer fea;
    ReadCmn cmn;
    cmn.setup(type);
    std::ifstream calls(std::string(WVAD_TEST_DATA_DIR) + "/session/read_calls.txt");
    size_t in = 0, out = 0;
    int32_t from, to, flush;
    while (calls >> from >> to >> flush) {
      while (static_cast<int32_t>(fea.frames.size()) < to) {
        float* frame = fea.addFrame();
        std::fill(frame, frame + 115, 0.0f);
        if (static_cast<int32_t>(fea.frames.size()) <= from) continue;  // between sentences
        for (size_t c = 0; c < 8; ++c) frame[columns[c]] = plain[in * 8 + c];
        ++in;
      }
      cmn.process(fea, from, to, flush != 0);
      for (const int32_t f : Take(cmn)) {
        for (size_t c = 0; c < 8; ++c) {
          EXPECT_NEAR(fea.getFea(f)[columns[c]], expected[out * 8 + c], 1e-5)
              << "type " << type << " frame " << f << " column " << columns[c];
        }
        ++out;
      }
    }
    EXPECT_EQ(out, 771u) << "type " << type;
  }
}

TEST(FrameIndexQueue, GrowsAndKeepsItsOrderAcrossTheSeam) {
  FrameIndexQueue queue;
  int32_t in = 0, out = 0;
  for (int round = 0; round < 2000; ++round) {
    for (int k = 0; k < 3; ++k) queue.push_back(in++);
    EXPECT_EQ(queue.front(), out);
    for (int k = 0; k < 2; ++k, queue.pop_front()) ASSERT_EQ(queue.front(), out++);
  }
  EXPECT_EQ(queue.size(), 2000u);
  for (size_t i = 0; i < queue.size(); ++i) ASSERT_EQ(queue[i], out + static_cast<int32_t>(i));
}

}  // namespace
}  // namespace TSEG
