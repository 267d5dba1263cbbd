// SPDX-License-Identifier: Apache-2.0
//
// The ring of records: stream indices, clamping, and the ways in which misuse ends the process.
#include "frontend/fix_size_vec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/log_capture.h"

namespace TSEG {
namespace {

using testing_support::LogCapture;

StaticFeatureFB Static(float mark) {
  StaticFeatureFB record;
  record.afFb40[0] = mark;
  record.fEnergy = -mark;
  return record;
}

DynamicFeatureFB Dynamic(float mark) {
  DynamicFeatureFB record;
  record.afCmn24[0] = mark;
  return record;
}

TEST(FixSizeVec, StreamIndexOutlivesTheWrap) {
  FixSizeVec<StaticFeatureFB> ring;
  EXPECT_EQ(ring.capacity(), 256u);
  EXPECT_TRUE(ring.empty());
  for (int i = 0; i < 1000; ++i) {
    ring.push_back(Static(static_cast<float>(i)));
    if (ring.size() > 200) ring.pop_front();
  }
  EXPECT_EQ(ring.size(), 200u);
  EXPECT_EQ(ring.nHead, 800u);
  EXPECT_EQ(ring.nTail, 1000u);
  for (int i = 800; i < 1000; ++i) {
    EXPECT_EQ(ring.at(i).afFb40[0], static_cast<float>(i));
    EXPECT_EQ(ring.at(i).fEnergy, static_cast<float>(-i));
  }
}

TEST(FixSizeVec, ElementsKeepTheirIndexWhenTheRingGrows) {
  FixSizeVec<StaticFeatureFB> ring;
  // From a head in the middle of the slots, so that the elements wrap at each size.
  for (int i = 0; i < 11; ++i) ring.push_back(Static(static_cast<float>(i)));
  for (int i = 0; i < 11; ++i) ring.pop_front();
  for (int i = 11; i < 11 + 256; ++i) {
    ring.push_back(Static(static_cast<float>(i)));
    for (int k = 11; k <= i; ++k) ASSERT_EQ(ring.at(k).afFb40[0], static_cast<float>(k)) << "with " << i - 10 << " elements";
  }
  EXPECT_TRUE(ring.full());
  EXPECT_EQ(ring.capacity(), 256u);
}

TEST(FixSizeVec, IndexIsClampedAtBothEnds) {
  FixSizeVec<DynamicFeatureFB> ring;
  for (int i = 0; i < 10; ++i) ring.push_back(Dynamic(static_cast<float>(i)));
  ring.pop_front();
  ring.pop_front();
  EXPECT_EQ(ring.at(-1).afCmn24[0], 2.0f);
  EXPECT_EQ(ring.at(-100).afCmn24[0], 2.0f);
  EXPECT_EQ(ring.at(2).afCmn24[0], 2.0f);
  EXPECT_EQ(ring.at(9).afCmn24[0], 9.0f);
  EXPECT_EQ(ring.at(10).afCmn24[0], 9.0f);
  EXPECT_EQ(ring.at(100000).afCmn24[0], 9.0f);
}

TEST(FixSizeVec, ClearZeroesBothCounters) {
  FixSizeVec<DynamicFeatureFB> ring;
  for (int i = 0; i < 300; ++i) {
    ring.push_back(Dynamic(1));
    ring.pop_front();
  }
  ring.clear();
  EXPECT_EQ(ring.nHead, 0u);
  EXPECT_EQ(ring.nTail, 0u);
  ring.push_back(Dynamic(7));
  EXPECT_EQ(ring.at(0).afCmn24[0], 7.0f);
}

TEST(FixSizeVec, FullRingTakes256) {
  FixSizeVec<StaticFeatureFB> ring;
  for (int i = 0; i < 256; ++i) ring.push_back(Static(static_cast<float>(i)));
  EXPECT_TRUE(ring.full());
  EXPECT_EQ(ring.at(0).afFb40[0], 0.0f);
  EXPECT_EQ(ring.at(255).afFb40[0], 255.0f);
}

TEST(FixSizeVec, SpareSlotJoinsWhenItIsPushed) {
  FixSizeVec<StaticFeatureFB> ring;
  ring.push_back(Static(1));
  ring.spare() = Static(2);
  EXPECT_EQ(ring.size(), 1u);
  EXPECT_EQ(ring.at(100).afFb40[0], 1.0f);
  ring.push_spare();
  EXPECT_EQ(ring.size(), 2u);
  EXPECT_EQ(ring.at(1).afFb40[0], 2.0f);
}

TEST(FixSizeVecDeathTest, PushOnAFullRingStopsTheProcess) {
  FixSizeVec<StaticFeatureFB> ring;
  for (int i = 0; i < 256; ++i) ring.push_back(Static(0));
  EXPECT_DEATH(ring.push_back(Static(0)), "");
  FixSizeVec<DynamicFeatureFB> other;
  for (int i = 0; i < 256; ++i) other.push_back(Dynamic(0));
  EXPECT_DEATH(other.push_back(Dynamic(0)), "");
  EXPECT_DEATH(other.next_slot(), "");
  EXPECT_DEATH(other.spare(), "");
  EXPECT_DEATH(other.push_spare(), "");
}

TEST(FixSizeVecDeathTest, PopOnAnEmptyRingStopsTheProcess) {
  FixSizeVec<StaticFeatureFB> ring;
  EXPECT_DEATH(ring.pop_front(), "");
  ring.push_back(Static(0));
  ring.pop_front();
  EXPECT_DEATH(ring.pop_front(), "");
}

TEST(FixSizeVecDeathTest, PoppedIndexStopsTheProcess) {
  FixSizeVec<DynamicFeatureFB> ring;
  for (int i = 0; i < 3; ++i) ring.push_back(Dynamic(0));
  ring.pop_front();
  ring.pop_front();
  EXPECT_DEATH(ring.at(1), "");
}

TEST(FixSizeVec, WithoutTheTrapMisuseIsLoggedAndIgnored) {
  const LogCapture log(kLogErr);
  FixSizeVec<DynamicFeatureFB, false> dynamic;
  FixSizeVec<StaticFeatureFB, false> fixed;
  dynamic.pop_front();
  fixed.pop_front();
  for (int i = 0; i < 257; ++i) dynamic.push_back(Dynamic(static_cast<float>(i)));
  for (int i = 0; i < 257; ++i) fixed.push_back(Static(static_cast<float>(i)));
  EXPECT_EQ(dynamic.size(), 256u);
  EXPECT_EQ(fixed.size(), 256u);
  EXPECT_EQ(fixed.at(0).afFb40[0], 0.0f);
  EXPECT_THAT(log.Lines(), testing::ElementsAre("FixSizeVec<struct TSEG::DynamicFeatureFB>::pop_front | container should not empty",
                                                "FixSizeVec<class TSEG::StaticFeatureFB>::pop_front | container should not empty",
                                                "FixSizeVec<struct TSEG::DynamicFeatureFB>::push_back | container is full, size = 256",
                                                "FixSizeVec<class TSEG::StaticFeatureFB>::push_back | container is full, size = 256"));
}

}  // namespace
}  // namespace TSEG
