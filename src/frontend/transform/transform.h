// SPDX-License-Identifier: Apache-2.0
//
// The transform of real input that this tree brings itself: 256, 512 or 1024 points in single precision, defined to the bit.
//
// `ref::` is the definition, in plain loops; the other forms do the same operations on the same values, several at a time, and give the
// same bits faster. Every operation is a single addition, subtraction or product of floats, rounded once, and the factors come from a table
// that the compiler computes, so that every processor with IEEE floats gives the same floats. That takes -ffp-contract=off: fused, a
// product would lose its rounding, and which products are fused differs between compilers and processors.
//
// The steps, for `size` real points x, after Cooley and Tukey (1965) with the columns side by side as of Stockham:
//
//   points   n = size / 2 complex values z[j] = x[2j] + i * x[2j + 1], as a matrix of n / 8 rows and 8 columns
//   columns  the transform of each column, in two passes of radix 4 or 8: rows = first * second
//   rows     row k times exp(-2*pi*i*k*c / n) in column c, then the transform of its 8 values: Z[k + rows * j]
//   split    Z is the transform of even and odd points at once; X[k] and X[n - k] come out of Z[k] and Z[n - k]
//
// Lanes hold columns in the first two steps, rows in the third, neighbouring results in the last: nowhere is a sum taken across lanes.
//
// This header includes C headers alone and holds no inline function, so that files built for one instruction level share no code with
// others.
#ifndef WVAD_FRONTEND_TRANSFORM_TRANSFORM_H_
#define WVAD_FRONTEND_TRANSFORM_TRANSFORM_H_

#include <stdint.h>

namespace TSEG::transform {

constexpr int32_t kColumns = 8;
constexpr int32_t kMostPoints = 512;  // complex

// What the passes of one size need. Factors are exp(-2*pi*i*t), real part and imaginary part rounded to single, no zero negative.
struct Plan {
  int32_t points;  // complex, half of the size
  int32_t rows;    // points / 8
  int32_t first;   // radices of the columns, 4 or 8
  int32_t second;
  const float* first_turns;  // [second][first - 1][2]: t = p * h / rows for p from 0, h from 1; real, imaginary
  const float* row_turns;    // [7][2][rows]: t = k * c / points for c from 1, k from 0; all real parts, all imaginary ones
  const float* split_turns;  // [2][points / 2]: half of exp(...), t = k / size; all real parts, all imaginary ones
};

// Of a size in real points; null for one that is none of the three.
const Plan* PlanOf(int32_t size);

// Transforms `x` [2 * points], which keeps its values, to `out` [2 * (points + 1)]: real and imaginary part of each result in turn. Both on
// 64 bytes. Needs some 9 KiB of stack; no allocation, no failure path.
using Form = void(const Plan& plan, const float* x, float* out);

namespace ref {
Form Transform;
}
// Four lanes, by the compiler's own vectors: SSE2, NEON, the vectors of WebAssembly, or plain code where there are none.
namespace vec4 {
Form Transform;
}
// Eight lanes. Built for 64-bit x86 alone.
namespace avx2 {
Form Transform;
}

// The fastest form that this processor runs, or one of those up to the level that WVAD_FORCE_KERNELS names ("ref" and so on, as for the
// kernels of the networks; for tests and benchmarks).
Form* FormOfThisProcessor();

}  // namespace TSEG::transform

#endif  // WVAD_FRONTEND_TRANSFORM_TRANSFORM_H_
