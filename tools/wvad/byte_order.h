// SPDX-License-Identifier: Apache-2.0
//
// Numbers of up to eight bytes as containers write them.
#ifndef WVAD_WVAD_BYTE_ORDER_H_
#define WVAD_WVAD_BYTE_ORDER_H_

#include <cstddef>
#include <cstdint>

namespace TSEG::tool {

// The most significant byte last.
inline uint64_t Little(const unsigned char* bytes, size_t count) {
  uint64_t value = 0;
  for (size_t i = count; i > 0; --i) value = value << 8 | bytes[i - 1];
  return value;
}

// The most significant byte first.
inline uint64_t Big(const unsigned char* bytes, size_t count) {
  uint64_t value = 0;
  for (size_t i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_BYTE_ORDER_H_
