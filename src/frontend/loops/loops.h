// SPDX-License-Identifier: Apache-2.0
//
// The loops of the front end over the values of one frame, each built once for every instruction level that has a use for it.
//
// Every level gives the same floats: no operation is fused with another, and each value is worked out by itself. As with the transform this
// header uses C headers alone and holds no inline function, so that a file built for one level shares no code with others.
#ifndef WVAD_FRONTEND_LOOPS_LOOPS_H_
#define WVAD_FRONTEND_LOOPS_LOOPS_H_

#include <stdint.h>

namespace TSEG::loops {

// Eight places in a table: of `first` and the seven values behind it, lane j takes the one at lane[j], or none if that is negative.
struct Places {
  uint16_t first;
  int8_t lane[8];
};

struct Loops {
  // The sum of `n` samples, of which there are no more than 65536.
  int32_t (*sum)(const int16_t* samples, int32_t n);
  // `samples` [n] less `mean` to `x` [n].
  void (*take)(const int16_t* samples, int32_t n, float mean, float* x);
  // `x` [n], each value less `emphasis` times the one before it, times `w` [n] to `y` [n]. The value before the first is the first.
  void (*window)(const float* x, int32_t n, float emphasis, const float* w, float* y);
  // Squares of the absolute values of `n` complex numbers, real and imaginary part in turn.
  void (*power)(const float* spectrum, int32_t n, float* squares);
  // The absolute values themselves.
  void (*magnitude)(const float* spectrum, int32_t n, float* values);
  // Sums by places: sums[8 * b + j] is what lane j takes by the count[b] places of block b, in their order. The places of the blocks follow
  // each other; no value of the table is below zero. Null at a level for which that is no gain.
  void (*sum_places)(const float* table, const Places* places, const uint8_t* counts, int32_t blocks, float* sums);
};

// By what the compiler builds for every processor of the kind.
namespace base {
extern const Loops kLoops;
}
// AVX2. Built for 64-bit x86 alone.
namespace avx2 {
extern const Loops kLoops;
}

// The fastest ones that this processor runs, or those up to the level that WVAD_FORCE_KERNELS names.
const Loops& LoopsOfThisProcessor();

}  // namespace TSEG::loops

#endif  // WVAD_FRONTEND_LOOPS_LOOPS_H_
