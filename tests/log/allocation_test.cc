// SPDX-License-Identifier: Apache-2.0
//
// A line in the narrow form takes nothing from the heap.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "log/log.h"
#include "log_fixture.h"

namespace {
std::atomic<long> g_allocations{0};

void* Allocate(size_t size) {
  g_allocations.fetch_add(1);
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
}  // namespace

void* operator new(size_t size) { return Allocate(size); }
void* operator new[](size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }

namespace TSEG {
namespace {

TEST_F(LogTest, NarrowLinesAllocateNothing) {
  cfg.filter.include = {"line"};
  Open();
  logger.log(kLogErr, "first line");
  const long before = g_allocations;
  for (int i = 0; i < 100; ++i) {
    logger.log_msg_i("subject", kLogErr, 0, "another line");
    logger.log_msg_i("subject", kLogInf, 0, "a line of a level that is off");
    FakeTime::Pass(100);
  }
  EXPECT_EQ(g_allocations - before, 0);
  EXPECT_GT(Text().size(), 5000u);
}

}  // namespace
}  // namespace TSEG
