// SPDX-License-Identifier: Apache-2.0
//
// Integer arithmetic with a stated overflow: wrapping, saturating, and the cuts from floating point to integer.
//
// In C++ the overflow of a signed integer is undefined, and so is the conversion of a float that does not fit; the results of this
// engine depend on both. All of them go through here. Nothing allocates, nothing fails.
#ifndef WVAD_BASE_WRAP_H_
#define WVAD_BASE_WRAP_H_

#include <cmath>
#include <cstdint>
#include <limits>

namespace TSEG {

// The low 16 or 32 bits of `v`, read as two's complement.
constexpr int16_t Low16(int64_t v) { return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint64_t>(v) & 0xFFFFu)); }
constexpr int32_t Low32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v) & 0xFFFFFFFFu)); }

constexpr int32_t WrapAdd32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
constexpr int32_t WrapSub32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }
constexpr int32_t WrapMul32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }
constexpr int16_t WrapAdd16(int16_t a, int16_t b) { return Low16(static_cast<int64_t>(a) + b); }

constexpr int16_t Saturate16(int64_t v) { return static_cast<int16_t>(v > 32767 ? 32767 : (v < -32768 ? -32768 : v)); }

// `v` cut toward zero to 64 bits. What does not fit, not-a-number among it, gives the lowest 64-bit value, as the processor's
// own conversion does.
inline int64_t CutToInt64(double v) {
  if (!(v > -9223372036854775808.0 && v < 9223372036854775808.0)) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(v);
}

// `v` cut toward zero, then the low 32 or 16 bits.
inline int32_t CutLow32(double v) { return Low32(CutToInt64(v)); }
inline int16_t CutLow16(double v) { return Low16(CutToInt64(v)); }

}  // namespace TSEG

#endif  // WVAD_BASE_WRAP_H_
