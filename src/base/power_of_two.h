// SPDX-License-Identifier: Apache-2.0
//
// Powers of two as doubles. A product with one is exact wherever the result is a normal number, so it takes the place of `std::ldexp` in
// loops over values, which a call for each of them would cost more than all else.
#ifndef WVAD_BASE_POWER_OF_TWO_H_
#define WVAD_BASE_POWER_OF_TWO_H_

#include <cstdint>

namespace TSEG {

// 2 to the `n`, -1022 to 1023. By the built-in that std::bit_cast is made of: libc++ 13 has no std::bit_cast.
constexpr double PowerOfTwo(int32_t n) { return __builtin_bit_cast(double, static_cast<uint64_t>(1023 + n) << 52); }

}  // namespace TSEG

#endif  // WVAD_BASE_POWER_OF_TWO_H_
