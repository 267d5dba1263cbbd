// SPDX-License-Identifier: Apache-2.0
//
// Pages of memory. The memory of a module grows and never shrinks, so there is nothing to give back but to the allocator.
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace TSEG::platform {

void* TakePages(size_t bytes) {
  void* pages = nullptr;
  if (::posix_memalign(&pages, 4096, bytes) != 0) return nullptr;
  return std::memset(pages, 0, bytes);
}

void GiveBackPages(void* pages, size_t) { std::free(pages); }

}  // namespace TSEG::platform
