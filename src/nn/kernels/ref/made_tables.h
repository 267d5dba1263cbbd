// SPDX-License-Identifier: Apache-2.0
//
// What the tables of the activations are made of, at compile time: a table costs a process the pages that it looks at, and no instruction.
//
// The exponential here is good to a unit or two in the last place of a double, and rounded to single at once, as the definition does with
// that of the C library. Where the two could differ is a matter of every entry: tests compare them all with the definition.
#ifndef WVAD_NN_KERNELS_REF_MADE_TABLES_H_
#define WVAD_NN_KERNELS_REF_MADE_TABLES_H_

#include <cstdint>

#include "base/power_of_two.h"

namespace TSEG::ref {

// exp(x) for |x| < 700: 2^k * exp(r) with |r| <= ln(2) / 2, exp(r) by its series.
constexpr double MadeExp(double x) {
  const auto k = static_cast<int32_t>(x * 0x1.71547652b82fep+0 + (x < 0 ? -0.5 : 0.5));
  // ln(2) in two parts, the first with so few bits that its product with k is exact.
  const double r = (x - k * 0x1.62e42feep-1) - k * 0x1.a39ef35793c76p-33;
  double series = 1.0 / 6227020800 * r + 1.0 / 479001600;
  series = ((series * r + 1.0 / 39916800) * r + 1.0 / 3628800) * r + 1.0 / 362880;
  series = ((series * r + 1.0 / 40320) * r + 1.0 / 5040) * r + 1.0 / 720;
  series = ((series * r + 1.0 / 120) * r + 1.0 / 24) * r + 1.0 / 6;
  return (((series * r + 0.5) * r + 1.0) * r + 1.0) * PowerOfTwo(k);
}

// 1 / (e + 1) in double, rounded to single, with e = exp(-x) as a single.
constexpr float MadeSigmoid(float x) {
  const auto e = static_cast<float>(MadeExp(-static_cast<double>(x)));
  return static_cast<float>(1.0 / (static_cast<double>(e) + 1.0));
}
// 2 / (e + 1) - 1 likewise, with e = exp(-2x) as a single.
constexpr float MadeTanh(float x) {
  const auto e = static_cast<float>(MadeExp(static_cast<double>(x * -2.0f)));
  return static_cast<float>(2.0 / (static_cast<double>(e) + 1.0) - 1.0);
}

}  // namespace TSEG::ref

#endif  // WVAD_NN_KERNELS_REF_MADE_TABLES_H_
