// SPDX-License-Identifier: Apache-2.0
#include "stream/event_queue.h"

#include <gtest/gtest.h>

namespace TSEG::stream {
namespace {

Event Numbered(int64_t number) {
  Event event(WVAD_EVENT_PROBABILITY, number, number);
  event.audio.assign(3, static_cast<int16_t>(number));
  return event;
}

TEST(EventQueue, GivesEventsInTheirOrderWhileItTurnsAndGrows) {
  EventQueue queue;
  int64_t put = 0;
  int64_t taken = 0;
  const auto expect_next = [&] {
    const Event event = queue.Take();
    ASSERT_EQ(event.record.time, taken);
    ASSERT_EQ(event.audio, std::vector<int16_t>(3, static_cast<int16_t>(taken)));
    ++taken;
  };
  // Three in and two out a round: the ring grows at every place that its beginning can stand at.
  for (int round = 0; round < 300; ++round) {
    for (int i = 0; i < 3; ++i) queue.Put(Numbered(put++));
    for (int i = 0; i < 2; ++i) expect_next();
    ASSERT_EQ(queue.size(), static_cast<size_t>(round + 1));
  }
  while (!queue.empty()) expect_next();
  EXPECT_EQ(taken, 900);
}

TEST(EventQueue, SteadyFlowStaysInTheSameRoom) {
  EventQueue queue;
  for (int i = 0; i < 10; ++i) queue.Put(Numbered(i));
  const size_t room = queue.room();
  for (int i = 0; i < 1000; ++i) {
    queue.Put(Numbered(i));
    queue.Take();
    ASSERT_EQ(queue.room(), room);
  }
}

TEST(EventQueue, RoomForThousandsGoesWithTheLastOfThem) {
  EventQueue queue;
  for (int i = 0; i < 5000; ++i) queue.Put(Numbered(i));
  EXPECT_GE(queue.room(), 5000U);
  while (queue.size() > 1) queue.Take();
  EXPECT_GE(queue.room(), 5000U) << "what waits stays where it is";
  EXPECT_EQ(queue.Take().record.time, 4999);
  EXPECT_EQ(queue.room(), 0U);
  queue.Put(Numbered(7));
  EXPECT_EQ(queue.Take().record.time, 7);
}

TEST(EventQueue, ClearedQueueIsEmptyAndServesOn) {
  EventQueue queue;
  for (int i = 0; i < 20; ++i) queue.Put(Numbered(i));
  queue.Clear();
  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(queue.room(), 0U);
  queue.Put(Numbered(5));
  EXPECT_EQ(queue.size(), 1U);
  EXPECT_EQ(queue.Take().record.time, 5);
}

}  // namespace
}  // namespace TSEG::stream
