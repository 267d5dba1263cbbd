// SPDX-License-Identifier: Apache-2.0
//
// Pages of memory, straight from the system.
#include <windows.h>

#include "platform/platform.h"

namespace TSEG::platform {

void* TakePages(size_t bytes) { return ::VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE); }

// The system knows how many they are, and takes no other number.
void GiveBackPages(void* pages, size_t) { ::VirtualFree(pages, 0, MEM_RELEASE); }

}  // namespace TSEG::platform
