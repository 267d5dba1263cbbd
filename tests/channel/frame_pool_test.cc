// SPDX-License-Identifier: Apache-2.0
//
// The frame pools and the queue of pointers.
#include "channel/frame_pool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <vector>

#include "frontend/feature_records.h"

namespace TSEG {
namespace {

TEST(FramePool, PiecesLieOneAfterAnotherInABlock) {
  FramePool pool(2048, 115, sizeof(float));
  EXPECT_EQ(pool.block_capacity(), 1955);  // 17 pieces of 115
  float* first = static_cast<float*>(pool.Take());
  for (int i = 1; i < 17; ++i) EXPECT_EQ(static_cast<float*>(pool.Take()), first + 115 * i);
  EXPECT_EQ(pool.blocks(), 1u);
  pool.Take();
  EXPECT_EQ(pool.blocks(), 2u);
}

TEST(FramePool, ReleasedPiecesComeBeforeTheCurrentBlockAndThatBeforeANewOne) {
  FramePool pool(4, 1, 8);
  void* a = pool.Take();
  void* b = pool.Take();
  pool.Give(a);
  pool.Give(b);
  EXPECT_EQ(pool.Take(), b);
  EXPECT_EQ(pool.Take(), a);
  pool.Give(nullptr);
  EXPECT_EQ(pool.released(), 0u);
  std::set<void*> out{a, b};
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(out.insert(pool.Take()).second);
  EXPECT_EQ(pool.blocks(), 1u);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(out.insert(pool.Take()).second);
  EXPECT_EQ(pool.blocks(), 2u);
}

TEST(FramePool, FewFramesAtATimeStayWithinTheFirstPieces) {
  FramePool pool(2048, 1, 8);
  std::set<void*> touched;
  for (int i = 0; i < 10000; ++i) {
    void* first = pool.Take();
    void* second = pool.Take();
    touched.insert({first, second});
    pool.Give(first);
    pool.Give(second);
  }
  EXPECT_EQ(touched.size(), 2u);
}

TEST(FramePool, ResetKeepsTheFirstBlock) {
  FramePool pool(4, 1, 8);
  void* first = pool.Take();
  std::vector<void*> pieces;
  for (int i = 0; i < 20; ++i) pieces.push_back(pool.Take());
  for (void* p : pieces) pool.Give(p);
  pool.Reset();
  EXPECT_EQ(pool.blocks(), 1u);
  EXPECT_EQ(pool.released(), 0u);
  EXPECT_EQ(pool.Take(), first);
}

TEST(FramePool, NewStrideCutsEveryBlockAnew) {
  FramePool pool(320 * 2048, 320, 1);
  uint8_t* first = static_cast<uint8_t*>(pool.Take());
  EXPECT_EQ(static_cast<uint8_t*>(pool.Take()), first + 320);
  pool.SetStride(120);
  EXPECT_EQ(pool.block_capacity(), 655320);  // 5461 pieces of 120
  EXPECT_EQ(static_cast<uint8_t*>(pool.Take()), first);
  EXPECT_EQ(static_cast<uint8_t*>(pool.Take()), first + 120);
  for (int i = 2; i < 5461; ++i) pool.Take();
  EXPECT_EQ(pool.blocks(), 1u);
  pool.Take();
  EXPECT_EQ(pool.blocks(), 2u);
  pool.SetStride(320);
  std::set<void*> pieces;
  for (int i = 0; i < 4096; ++i) {
    void* piece = pool.Take();
    std::memset(piece, 0xA5, 320);
    EXPECT_TRUE(pieces.insert(piece).second);
  }
  EXPECT_EQ(pool.blocks(), 2u);
}

TEST(FramePool, StrideAboveTheCapacityStillGivesWholePieces) {
  FramePool pool(100, 10, 4);
  pool.SetStride(150);
  std::memset(pool.Take(), 1, 600);
  std::memset(pool.Take(), 1, 600);
  pool.SetStride(0);
  EXPECT_EQ(pool.stride(), 1);
  std::memset(pool.Take(), 1, 4);
}

TEST(RecordPool, RecordsAreMade32AtATimeAndRecycled) {
  RecordPool<StaticFeatureFB> pool;
  EXPECT_EQ(pool.blocks(), 0u);
  std::set<StaticFeatureFB*> out;
  for (int i = 0; i < 32; ++i) out.insert(pool.Take());
  EXPECT_EQ(out.size(), 32u);
  EXPECT_EQ(pool.blocks(), 1u);
  StaticFeatureFB* one = *out.begin();
  pool.Give(one);
  EXPECT_EQ(pool.Take(), one);
  EXPECT_EQ(pool.blocks(), 1u);
  EXPECT_TRUE(out.insert(pool.Take()).second);
  EXPECT_EQ(pool.blocks(), 2u);
  pool.Reset();
  EXPECT_EQ(pool.blocks(), 1u);
  EXPECT_EQ(pool.available(), 32u);
  EXPECT_EQ(out.count(pool.Take()), 1u);
}

TEST(RecordPool, ResetOfAnUnusedPoolMakesNothing) {
  RecordPool<StaticFeatureFB> pool;
  pool.Reset();
  EXPECT_EQ(pool.blocks(), 0u);
  EXPECT_NE(pool.Take(), nullptr);
}

TEST(PointerQueue, KeepsItsOrderThroughWrapAndGrowth) {
  std::vector<int> numbers(1000);
  for (int i = 0; i < 1000; ++i) numbers[static_cast<size_t>(i)] = i;
  PointerQueue<int> queue;
  size_t in = 0, out = 0;
  for (size_t round = 0; in < 1000; ++round) {
    const size_t burst = round < 20 ? 5 : 90;
    for (size_t i = 0; i < burst && in < 1000; ++i) queue.push_back(&numbers[in++]);
    EXPECT_EQ(queue.size(), in - out);
    for (size_t i = 0; i < queue.size(); ++i) EXPECT_EQ(*queue[i], static_cast<int>(out + i));
    EXPECT_EQ(*queue.front(), static_cast<int>(out));
    EXPECT_EQ(*queue.back(), static_cast<int>(in - 1));
    for (size_t i = 0; i < burst / 2; ++i) {
      queue.pop_front();
      ++out;
    }
  }
  queue.clear();
  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(queue.size(), 0u);
}

}  // namespace
}  // namespace TSEG
