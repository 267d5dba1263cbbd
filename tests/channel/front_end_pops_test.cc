// SPDX-License-Identifier: Apache-2.0
//
// The three pops on rings that the test fills by hand: a frame carries its number, so that a block tells which frames it was made of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "channel/front_end_channel.h"

namespace TSEG {
namespace {

using testing::ElementsAre;

void PutDynamic(FrontEndChannel* channel, int count) {
  for (int i = 0; i < count; ++i) {
    DynamicFeatureFB frame;
    const float mark = static_cast<float>(channel->nDeltaDone);
    frame.afCmn24[0] = mark;
    frame.afDelta24[0] = mark + 0.25f;
    frame.afAccel24[23] = mark + 0.5f;
    frame.fPitch = -1.0f;
    frame.fPitchDelta = mark + 0.125f;
    frame.fPitchAccel = mark + 0.625f;
    frame.fPitchAux = mark + 0.75f;
    frame.fEnergy = -1.0f;
    frame.afRaw24[0] = frame.afRaw40[0] = -1.0f;
    channel->vecDynamic.push_back(frame);
    ++channel->nDeltaDone;
    channel->nFramesIn = channel->nDeltaDone;
  }
}

void PutStatic(FrontEndChannel* channel, int count) {
  for (int i = 0; i < count; ++i) {
    StaticFeatureFB frame;
    frame.afFb40[0] = static_cast<float>(channel->nFramesIn);
    frame.afFb40[39] = static_cast<float>(channel->nFramesIn) + 0.5f;
    frame.afFb40Cmn[0] = -1.0f;
    channel->vecStatic.push_back(frame);
    ++channel->nFramesIn;
  }
}

// The frame numbers in a block of `places` vectors of `width`.
std::vector<int> Numbers(const float* block, size_t places, size_t width) {
  std::vector<int> numbers;
  for (size_t j = 0; j < places; ++j) numbers.push_back(static_cast<int>(block[j * width]));
  return numbers;
}

TEST(PopDnnBlock, FirstBlockHoldsFrame0SixTimes) {
  FrontEndChannel channel;
  PutDynamic(&channel, 6);
  uint8_t eof = 0;
  const float* block = PopDnnBlock(&channel, false, &eof);
  ASSERT_NE(block, nullptr);
  EXPECT_THAT(Numbers(block, 11, 75), ElementsAre(0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5));
  EXPECT_EQ(channel.vecDynamic.nHead, 0u);
  EXPECT_EQ(PopDnnBlock(&channel, false, &eof), nullptr);
  EXPECT_EQ(channel.nCursor, 1);
  EXPECT_EQ(eof, 0);
}

TEST(PopDnnBlock, VectorIsMeanFreeThenDifferencesThenPitch) {
  FrontEndChannel channel;
  PutDynamic(&channel, 12);
  uint8_t eof = 0;
  for (int i = 0; i < 6; ++i) PopDnnBlock(&channel, false, &eof);
  const float* block = PopDnnBlock(&channel, false, &eof);  // around frame 6: frames 1 to 11
  ASSERT_NE(block, nullptr);
  EXPECT_THAT(Numbers(block, 11, 75), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
  const float* frame3 = block + 2 * 75;
  EXPECT_EQ(frame3[0], 3.0f);
  EXPECT_EQ(frame3[24], 3.25f);
  EXPECT_EQ(frame3[71], 3.5f);
  EXPECT_EQ(frame3[72], 3.125f);
  EXPECT_EQ(frame3[73], 3.625f);
  EXPECT_EQ(frame3[74], 3.75f);
}

TEST(PopDnnBlock, TooFewFramesLeaveTheCursor) {
  FrontEndChannel channel;
  PutDynamic(&channel, 5);
  uint8_t eof = 0;
  EXPECT_EQ(PopDnnBlock(&channel, false, &eof), nullptr);
  EXPECT_EQ(channel.nCursor, 0);
  EXPECT_EQ(channel.vecDynamic.size(), 5u);
}

TEST(PopDnnBlock, LastBlockRepeatsTheLastFrame) {
  FrontEndChannel channel;
  PutDynamic(&channel, 20);
  uint8_t eof = 0;
  std::vector<std::vector<int>> blocks;
  while (const float* block = PopDnnBlock(&channel, true, &eof)) {
    blocks.push_back(Numbers(block, 11, 75));
    EXPECT_EQ(eof, blocks.size() == 20 ? 1 : 0);
  }
  ASSERT_EQ(blocks.size(), 20u);
  EXPECT_THAT(blocks[18], ElementsAre(13, 14, 15, 16, 17, 18, 19, 19, 19, 19, 19));
  EXPECT_THAT(blocks[19], ElementsAre(14, 15, 16, 17, 18, 19, 19, 19, 19, 19, 19));
  EXPECT_EQ(channel.vecDynamic.nHead, 20u);
}

TEST(PopDnnBlock, ShortSessionsDropAllButTheirFirstFrames) {
  // Of n frames n - 5 have been dropped on the way; of the five last pops those with n + i - 5 above 0 happen.
  for (const int n : {1, 2, 4, 5, 6}) {
    FrontEndChannel channel;
    PutDynamic(&channel, n);
    uint8_t eof = 0;
    int blocks = 0;
    while (PopDnnBlock(&channel, true, &eof) != nullptr) ++blocks;
    EXPECT_EQ(blocks, n);
    EXPECT_EQ(eof, 1) << n;
    EXPECT_EQ(channel.vecDynamic.size(), n < 6 ? 1u : 0u) << n;
  }
}

TEST(PopLstmBlock75, SixFramesGiveAFullBlockAndAPaddedOne) {
  FrontEndChannel channel;
  PutDynamic(&channel, 6);
  uint8_t eof = 0;
  int32_t padded = 0;
  const float* block = PopLstmBlock75(&channel, true, &eof, &padded);
  ASSERT_NE(block, nullptr);
  EXPECT_THAT(Numbers(block, 4, 75), ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(eof, 0);
  EXPECT_EQ(padded, 0);
  block = PopLstmBlock75(&channel, true, &eof, &padded);
  ASSERT_NE(block, nullptr);
  EXPECT_THAT(Numbers(block, 4, 75), ElementsAre(4, 5, 5, 5));
  EXPECT_EQ(block[3 * 75 + 74], 5.75f);
  EXPECT_EQ(eof, 1);
  EXPECT_EQ(padded, 2);
  EXPECT_EQ(channel.nCursor, 6);
  EXPECT_TRUE(channel.vecDynamic.empty());
}

TEST(PopLstmBlock75, FiveFramesStayHeldBack) {
  FrontEndChannel channel;
  PutDynamic(&channel, 8);
  uint8_t eof = 0;
  int32_t padded = 0;
  EXPECT_EQ(PopLstmBlock75(&channel, false, &eof, &padded), nullptr);
  PutDynamic(&channel, 1);
  EXPECT_NE(PopLstmBlock75(&channel, false, &eof, &padded), nullptr);
  EXPECT_EQ(PopLstmBlock75(&channel, false, &eof, &padded), nullptr);
  EXPECT_EQ(eof, 0);
  EXPECT_EQ(channel.vecDynamic.nHead, 4u);
}

TEST(PopLstmBlock75, WholeBlocksEndWithEofAndThenNothing) {
  FrontEndChannel channel;
  PutDynamic(&channel, 8);
  uint8_t eof = 0;
  int32_t padded = 0;
  EXPECT_NE(PopLstmBlock75(&channel, true, &eof, &padded), nullptr);
  EXPECT_EQ(eof, 0);
  EXPECT_NE(PopLstmBlock75(&channel, true, &eof, &padded), nullptr);
  EXPECT_EQ(eof, 1);
  eof = 0;
  EXPECT_EQ(PopLstmBlock75(&channel, true, &eof, &padded), nullptr);
  EXPECT_EQ(eof, 1);
  EXPECT_EQ(padded, 0);
}

TEST(PopLstmBlock40, MissingFramesAreZeros) {
  FrontEndChannel channel;
  PutStatic(&channel, 6);
  uint8_t eof = 0;
  int32_t padded = 0;
  const float* block = PopLstmBlock40(&channel, true, &eof, &padded);
  ASSERT_NE(block, nullptr);
  EXPECT_THAT(Numbers(block, 4, 40), ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(block[39], 0.5f);
  block = PopLstmBlock40(&channel, true, &eof, &padded);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[0], 4.0f);
  EXPECT_EQ(block[40], 5.0f);
  for (size_t i = 80; i < 160; ++i) EXPECT_EQ(block[i], 0.0f) << i;
  EXPECT_EQ(eof, 1);
  EXPECT_EQ(padded, 2);
  EXPECT_EQ(channel.nCursor, 6);
  EXPECT_TRUE(channel.vecStatic.empty());
}

TEST(PopLstmBlock40, FiveFramesStayHeldBackThoughNoneIsNeeded) {
  FrontEndChannel channel;
  PutStatic(&channel, 8);
  uint8_t eof = 0;
  int32_t padded = 0;
  EXPECT_EQ(PopLstmBlock40(&channel, false, &eof, &padded), nullptr);
  PutStatic(&channel, 1);
  EXPECT_NE(PopLstmBlock40(&channel, false, &eof, &padded), nullptr);
  EXPECT_EQ(channel.vecStatic.nHead, 4u);
  EXPECT_EQ(PopLstmBlock40(&channel, true, &eof, &padded) != nullptr, true);
  EXPECT_EQ(eof, 0);
  EXPECT_NE(PopLstmBlock40(&channel, true, &eof, &padded), nullptr);
  EXPECT_EQ(padded, 3);
  EXPECT_EQ(eof, 1);
}

// Numbers of the frames of each block of a session of `n` frames that come one by one, with those held back by then; the last push brings
// the last frame.
struct SessionBlocks {
  std::vector<std::vector<int>> blocks;
  std::vector<int> held_back;
  std::vector<int> ends;
  int32_t padded = 0;
};

SessionBlocks Blocks(int n, bool wide, bool early) {
  FrontEndChannel channel;
  channel.bPopsEarly = early;
  SessionBlocks session;
  const size_t width = wide ? 75 : 40;
  for (int frame = 0; frame < n; ++frame) {
    wide ? PutDynamic(&channel, 1) : PutStatic(&channel, 1);
    const bool last = frame == n - 1;
    uint8_t eof = 0;
    while (const float* block =
               wide ? PopLstmBlock75(&channel, last, &eof, &session.padded) : PopLstmBlock40(&channel, last, &eof, &session.padded)) {
      session.blocks.push_back(Numbers(block, 4, width));
      session.held_back.push_back(frame + 1 - channel.nCursor);
      session.ends.push_back(eof);
      if (eof != 0) break;
    }
  }
  return session;
}

TEST(PopsEarly, GiveTheSameBlocksSoonerWhateverTheLength) {
  for (const bool wide : {true, false}) {
    for (int n = 1; n <= 30; ++n) {
      const SessionBlocks usual = Blocks(n, wide, false);
      const SessionBlocks early = Blocks(n, wide, true);
      EXPECT_EQ(early.blocks, usual.blocks) << n;
      EXPECT_EQ(early.ends, usual.ends) << n;
      EXPECT_EQ(early.padded, usual.padded) << n;
      EXPECT_EQ(early.ends.back(), 1) << n;  // the end is found, whole blocks or not
    }
    // The first block of a long session leaves behind it what the other differences, or the end, want.
    EXPECT_EQ(Blocks(30, wide, false).held_back[0], 5);
    EXPECT_EQ(Blocks(30, wide, true).held_back[0], wide ? 2 : 1);
  }
}

}  // namespace
}  // namespace TSEG
