// SPDX-License-Identifier: Apache-2.0
#include "strain/live_bytes.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int64_t> g_live{0};

}  // namespace

#if !defined(WVAD_STRAIN_SANITIZED)
namespace {

void* Counted(void* p) {
  if (p == nullptr) throw std::bad_alloc();
  g_live += static_cast<int64_t>(::malloc_usable_size(p));
  return p;
}

void Release(void* p) {
  if (p == nullptr) return;
  g_live -= static_cast<int64_t>(::malloc_usable_size(p));
  std::free(p);
}

size_t Rounded(size_t n, std::align_val_t alignment) {
  const size_t step = static_cast<size_t>(alignment);
  return (n + step - 1) / step * step;
}

}  // namespace

void* operator new(size_t n) { return Counted(std::malloc(n == 0 ? 1 : n)); }
void* operator new[](size_t n) { return Counted(std::malloc(n == 0 ? 1 : n)); }
void* operator new(size_t n, std::align_val_t a) { return Counted(std::aligned_alloc(static_cast<size_t>(a), Rounded(n == 0 ? 1 : n, a))); }
void* operator new[](size_t n, std::align_val_t a) {
  return Counted(std::aligned_alloc(static_cast<size_t>(a), Rounded(n == 0 ? 1 : n, a)));
}
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, size_t) noexcept { Release(p); }
void operator delete[](void* p, size_t) noexcept { Release(p); }
void operator delete(void* p, std::align_val_t) noexcept { Release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { Release(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { Release(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { Release(p); }
#endif

namespace TSEG::testing_support {

MemoryInUse MeasureMemory() {
  const struct mallinfo2 info = ::mallinfo2();
  return {g_live, static_cast<int64_t>(info.uordblks + info.hblkhd)};
}

}  // namespace TSEG::testing_support
