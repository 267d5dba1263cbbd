// SPDX-License-Identifier: Apache-2.0
#include "wvad/in_order.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace TSEG::tool {
namespace {

TEST(InOrder, ThingsAreFinishedInTheirOrderHoweverLongTheyTake) {
  for (const size_t workers : {1U, 3U, 8U}) {
    std::vector<size_t> finished;
    std::vector<std::atomic<int>> done(40);
    InOrderWork work;
    work.work = [&](size_t worker, size_t index) {
      EXPECT_LT(worker, workers);
      // The first of each five takes longest.
      if (index % 5 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(3));
      ++done[index];
    };
    work.finish = [&](size_t index) {
      EXPECT_EQ(done[index], 1);
      finished.push_back(index);
      return true;
    };
    work.abandon = [] { ADD_FAILURE() << "nothing ended early"; };
    WorkInOrder(done.size(), workers, work);
    ASSERT_EQ(finished.size(), done.size());
    for (size_t i = 0; i < finished.size(); ++i) EXPECT_EQ(finished[i], i);
  }
}

TEST(InOrder, NobodyRunsFarAheadOfWhatIsFinished) {
  std::atomic<size_t> furthest = 0;
  size_t finished = 0;
  InOrderWork work;
  work.work = [&](size_t, size_t index) {
    for (size_t seen = furthest; seen < index && !furthest.compare_exchange_weak(seen, index);) {
    }
  };
  work.finish = [&](size_t) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_LT(furthest, finished + 8);
    ++finished;
    return true;
  };
  work.abandon = [] {};
  WorkInOrder(100, 2, work);
  EXPECT_EQ(finished, 100U);
}

TEST(InOrder, EndingEarlyAbandonsOnceAndBeginsNothingMore) {
  for (const bool thrown : {false, true}) {
    std::atomic<int> begun = 0;
    std::atomic<bool> abandoned = false;
    int calls = 0;
    InOrderWork work;
    work.work = [&](size_t, size_t index) {
      ++begun;
      // What is long comes to an end when it is told to.
      while (index > 2 && !abandoned) std::this_thread::yield();
    };
    work.finish = [&](size_t index) {
      if (index == 2 && thrown) throw std::runtime_error("no room");
      return index < 2;
    };
    work.abandon = [&] {
      abandoned = true;
      ++calls;
    };
    if (thrown) {
      EXPECT_THROW(WorkInOrder(1000, 3, work), std::runtime_error);
    } else {
      WorkInOrder(1000, 3, work);
    }
    EXPECT_EQ(calls, 1);
    EXPECT_LE(begun, 2 + 12 + 1);
  }
}

TEST(InOrder, NothingIsNoWork) {
  InOrderWork work;
  WorkInOrder(0, 4, work);
}

}  // namespace
}  // namespace TSEG::tool
