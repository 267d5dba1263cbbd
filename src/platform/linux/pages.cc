// SPDX-License-Identifier: Apache-2.0
//
// Pages of memory. Straight from the kernel and not from malloc, which after the first large piece was freed takes the next ones from its
// heap: that is cleared by hand, page by page, and goes back to the system only from its end.
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

#if defined(__SANITIZE_ADDRESS__)
#define WVAD_PAGES_FROM_MALLOC
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WVAD_PAGES_FROM_MALLOC
#endif
#endif

namespace TSEG::platform {

#if defined(WVAD_PAGES_FROM_MALLOC)
// The sanitizer watches the ends of what its own allocator gives, and knows nothing of pages. What is more than it can give ends the
// process instead of giving null.
void* TakePages(size_t bytes) {
  constexpr size_t kMostBytes = size_t{1} << 39;
  if (bytes > kMostBytes) return nullptr;
  void* pages = nullptr;
  if (::posix_memalign(&pages, 4096, bytes) != 0) return nullptr;
  return std::memset(pages, 0, bytes);
}

void GiveBackPages(void* pages, size_t) { std::free(pages); }
#else
void* TakePages(size_t bytes) {
  void* pages = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

void GiveBackPages(void* pages, size_t bytes) { ::munmap(pages, bytes); }
#endif

}  // namespace TSEG::platform
