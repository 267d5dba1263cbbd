// SPDX-License-Identifier: Apache-2.0
//
// Structs across the border whose first field is their size: a client may have been compiled with an older or a newer header.
#ifndef WVAD_STREAM_SIZED_STRUCT_H_
#define WVAD_STREAM_SIZED_STRUCT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "stream/refusal.h"

namespace TSEG::stream {

// The size that the struct had when it first appeared: no client has a smaller one. A struct that grows gets a row of its own here.
template <typename T>
constexpr size_t kFirstSize = sizeof(T);

inline void CheckSize(size_t size, size_t first, const char* what) {
  if (size < first) {
    throw Refusal(WVAD_E_SIZE, std::string(what) + ": size is " + std::to_string(size) + ", at least " + std::to_string(first) +
                                   " is needed; set it to sizeof");
  }
}

template <typename T>
uint32_t SizeOf(const T* in) {
  static_assert(std::is_trivially_copyable_v<T> && offsetof(T, size) == 0);
  uint32_t size = 0;
  std::memcpy(&size, in, sizeof size);
  return size;
}

// A copy of what the client hands in, of this library's size; fields that the client does not know keep their value in `initial`.
template <typename T>
T TakeIn(const T* in, T initial, const char* what) {
  const size_t size = SizeOf(in);
  CheckSize(size, kFirstSize<T>, what);
  const auto* bytes = reinterpret_cast<const unsigned char*>(in);
  // Bounded: a size field that was never set must not lead far away.
  constexpr size_t kLargest = 4096;
  if (size > kLargest) throw Refusal(WVAD_E_SIZE, std::string(what) + ": size is " + std::to_string(size) + "; set it to sizeof");
  for (size_t i = sizeof(T); i < size; ++i) {
    if (bytes[i] != 0) throw Refusal(WVAD_E_SIZE, std::string(what) + ": fields are in use that this version does not know");
  }
  std::memcpy(&initial, in, std::min(size, sizeof(T)));
  initial.size = sizeof(T);
  return initial;
}

// Hands out as much of `value` as the client knows; its size field stays, and what this library does not know stays untouched.
template <typename T>
void HandOut(T* out, const T& value, const char* what) {
  const uint32_t size = SizeOf(out);
  CheckSize(size, kFirstSize<T>, what);
  std::memcpy(out, &value, std::min<size_t>(size, sizeof(T)));
  std::memcpy(out, &size, sizeof size);
}

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_SIZED_STRUCT_H_
