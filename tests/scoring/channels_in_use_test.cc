// SPDX-License-Identifier: Apache-2.0
#include "scoring/channels_in_use.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace TSEG {
namespace {

TEST(ChannelsInUse, BlockOfOneChannelIsItsOwn) {
  FrontEndChannel only;
  const float block = 0;
  const auto pop = [&](FrontEndChannel* channel) { return channel == &only ? &block : nullptr; };
  EXPECT_EQ((ChannelsInUse{&only, nullptr}).PopBlock(pop), &block);
}

TEST(ChannelsInUse, BlockOfTwoChannelsIsThatOfTheSecondAndBothMoveOn) {
  FrontEndChannel first, second;
  const float block_of_first = 0, block_of_second = 0;
  std::vector<FrontEndChannel*> asked;
  const auto pop = [&](FrontEndChannel* channel) {
    asked.push_back(channel);
    return channel == &first ? &block_of_first : &block_of_second;
  };
  EXPECT_EQ((ChannelsInUse{&first, &second}).PopBlock(pop), &block_of_second);
  EXPECT_EQ(asked, (std::vector<FrontEndChannel*>{&first, &second}));
}

TEST(ChannelsInUse, SecondIsNotAskedWhereTheFirstHasNoBlock) {
  FrontEndChannel first, second;
  std::vector<FrontEndChannel*> asked;
  const auto pop = [&](FrontEndChannel* channel) -> const float* {
    asked.push_back(channel);
    return nullptr;
  };
  EXPECT_EQ((ChannelsInUse{&first, &second}).PopBlock(pop), nullptr);
  EXPECT_EQ(asked, (std::vector<FrontEndChannel*>{&first}));
}

TEST(ChannelsInUse, NoBlockWhereOnlyTheFirstHasOne) {
  FrontEndChannel first, second;
  const float block = 0;
  const auto pop = [&](FrontEndChannel* channel) { return channel == &first ? &block : nullptr; };
  EXPECT_EQ((ChannelsInUse{&first, &second}).PopBlock(pop), nullptr);
}

TEST(ChannelsInUse, MoreIsToComeWhereEitherStoppedShort) {
  FrontEndChannel first, second;
  const ChannelsInUse both{&first, &second};
  EXPECT_FALSE(both.MoreToCome());
  second.bMore = true;
  EXPECT_TRUE(both.MoreToCome());
  EXPECT_FALSE((ChannelsInUse{&first, nullptr}).MoreToCome());
  second.bMore = false;
  first.bMore = true;
  EXPECT_TRUE(both.MoreToCome());
}

// Four seconds at 16000 Hz: about 400 frames, more than the 256 of a ring and less than two rings.
std::vector<int16_t> FourSeconds() {
  std::vector<int16_t> samples(64000);
  for (size_t i = 0; i < samples.size(); ++i) {
    const double t = static_cast<double>(i);
    samples[i] = static_cast<int16_t>(6000.0 * std::sin(0.05 * t) * std::sin(0.0007 * t));
  }
  return samples;
}

class WholePush : public ::testing::Test {
 protected:
  void Start(FrontEndChannel* channel) { FrontEndChannelStart(channel, 16000, true, 0, false, 75); }
  void Push(FrontEndChannel* channel, const int16_t* samples, size_t n, bool last) {
    FrontEndPush(channel, samples, static_cast<int>(n), last);
  }
  // Pops everything to be had from `channel` into blocks_.
  void PopAll(FrontEndChannel* channel, bool last) {
    uint8_t eof = 0;
    while (const float* block = PopDnnBlock(channel, last, &eof)) blocks_.insert(blocks_.end(), block, block + kDnnBlockFloats);
  }

  const std::vector<int16_t> audio_ = FourSeconds();
  std::vector<float> blocks_;
};

TEST_F(WholePush, PushThatFitsIsTakenOnceWithItsOwnLast) {
  FrontEndChannel channel;
  for (const bool last : {false, true}) {
    Start(&channel);
    Push(&channel, audio_.data(), 16000, last);
    std::vector<bool> calls;
    TakeWholePush({&channel, nullptr}, last, [&](bool l) { calls.push_back(l); });
    EXPECT_EQ(calls, std::vector<bool>{last});
  }
}

TEST_F(WholePush, LastIsSaidInTheFinalCallAloneAndThePushGoesOnInBetween) {
  FrontEndChannel channel;
  for (const bool last : {false, true}) {
    Start(&channel);
    Push(&channel, audio_.data(), audio_.size(), last);
    std::vector<bool> calls;
    std::vector<int32_t> finished;
    TakeWholePush({&channel, nullptr}, last, [&](bool l) {
      calls.push_back(l);
      finished.push_back(FinishedFrames(channel));
      PopAll(&channel, l);
    });
    EXPECT_EQ(calls, (std::vector<bool>{false, last}));
    // A full ring, of which two frames wait for their right neighbours; then all.
    ASSERT_EQ(finished.size(), 2u);
    EXPECT_EQ(finished[0], 254);
    EXPECT_GT(finished[1], 380);
    EXPECT_FALSE(channel.bMore);
  }
}

TEST_F(WholePush, OnePushOfEverythingGivesTheBlocksOfManySmallOnes) {
  FrontEndChannel channel;
  Start(&channel);
  Push(&channel, audio_.data(), audio_.size(), true);
  TakeWholePush({&channel, nullptr}, true, [&](bool l) { PopAll(&channel, l); });
  const std::vector<float> at_once = std::move(blocks_);
  blocks_.clear();
  Start(&channel);
  for (size_t at = 0; at < audio_.size(); at += 400) {
    const bool last = at + 400 == audio_.size();
    Push(&channel, audio_.data() + at, 400, last);
    TakeWholePush({&channel, nullptr}, last, [&](bool l) { PopAll(&channel, l); });
  }
  EXPECT_EQ(blocks_.size(), static_cast<size_t>(FinishedFrames(channel)) * kDnnBlockFloats);  // a block for each frame
  EXPECT_TRUE(at_once == blocks_);
}

TEST_F(WholePush, GoesOnWhereOnlyTheSecondChannelStoppedShort) {
  FrontEndChannel first, second;
  Start(&first);
  Start(&second);
  Push(&first, audio_.data(), 400, true);
  Push(&second, audio_.data(), audio_.size(), true);
  std::vector<bool> calls;
  TakeWholePush({&first, &second}, true, [&](bool l) {
    calls.push_back(l);
    PopAll(&second, l);
  });
  EXPECT_EQ(calls, (std::vector<bool>{false, true}));
  EXPECT_EQ(blocks_.size(), static_cast<size_t>(FinishedFrames(second)) * kDnnBlockFloats);
}

}  // namespace
}  // namespace TSEG
