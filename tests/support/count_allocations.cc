// SPDX-License-Identifier: Apache-2.0
//
// Counting replacements of operator new. In a file of their own, so that the compiler sees no call of new beside free.
#include "support/count_allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> g_allocations{0};
}

namespace TSEG::testing_support {
long CountAllocations() { return g_allocations; }
}  // namespace TSEG::testing_support

void* operator new(size_t n) {
  ++g_allocations;
  if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
  throw std::bad_alloc();
}
void* operator new(size_t n, std::align_val_t alignment) {
  ++g_allocations;
  const size_t a = static_cast<size_t>(alignment);
  if (void* p = std::aligned_alloc(a, (n + a) / a * a)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { std::free(p); }
