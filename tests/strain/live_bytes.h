// SPDX-License-Identifier: Apache-2.0
//
// How much memory is in use, in figures that equal states have in common.
//
// Linking live_bytes.cc replaces the program's operators new and delete by counting ones, except in a build with a sanitizer, whose own
// operators find more than a count does.
#ifndef WVAD_STRAIN_LIVE_BYTES_H_
#define WVAD_STRAIN_LIVE_BYTES_H_

#include <cstdint>

namespace TSEG::testing_support {

// A sanitizer makes everything several times slower, and holds freed memory back, which leaves nothing to measure.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define WVAD_STRAIN_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define WVAD_STRAIN_SANITIZED 1
#endif
#endif
#if defined(WVAD_STRAIN_SANITIZED)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

struct MemoryInUse {
  int64_t objects = 0;  // bytes out of operator new: exact
  int64_t heap = 0;  // bytes out of malloc, those of libraries in C among them; some KiB of it are what the allocator keeps for each thread
};
MemoryInUse MeasureMemory();

}  // namespace TSEG::testing_support

#endif  // WVAD_STRAIN_LIVE_BYTES_H_
