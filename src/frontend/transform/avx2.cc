// SPDX-License-Identifier: Apache-2.0
//
// The transform on the eight lanes of AVX2. Rows of eight are made of halves as they are loaded, so that lanes move within a half alone.
#ifndef __AVX2__
#error "this file needs -mavx2"
#endif

#include "frontend/transform/transform.h"

namespace TSEG::transform {
namespace {

#define WVAD_MOVE __builtin_shufflevector

struct Lanes {
  typedef float V __attribute__((vector_size(32)));
  typedef float Anywhere __attribute__((vector_size(32), aligned(4), may_alias));
  typedef float Half __attribute__((vector_size(16), aligned(4), may_alias));

  static V Load(const float* p) { return *reinterpret_cast<const Anywhere*>(p); }
  static void Store(float* p, V v) { *reinterpret_cast<Anywhere*>(p) = v; }
  static V All(float x) { return V{x, x, x, x, x, x, x, x}; }
  static V LoadHalves(const float* low, const float* high) {
    return WVAD_MOVE(*reinterpret_cast<const Half*>(low), *reinterpret_cast<const Half*>(high), 0, 1, 2, 3, 4, 5, 6, 7);
  }
  static void StoreHalves(float* low, float* high, V v) {
    *reinterpret_cast<Half*>(low) = WVAD_MOVE(v, v, 0, 1, 2, 3);
    *reinterpret_cast<Half*>(high) = WVAD_MOVE(v, v, 4, 5, 6, 7);
  }
  static void LoadPairs(const float* p, V* even, V* odd) {
    const V first = LoadHalves(p, p + 8);
    const V second = LoadHalves(p + 4, p + 12);
    *even = WVAD_MOVE(first, second, 0, 2, 8, 10, 4, 6, 12, 14);
    *odd = WVAD_MOVE(first, second, 1, 3, 9, 11, 5, 7, 13, 15);
  }
  static void StorePairs(float* p, V even, V odd) {
    StoreHalves(p, p + 8, WVAD_MOVE(even, odd, 0, 8, 1, 9, 4, 12, 5, 13));
    StoreHalves(p + 4, p + 12, WVAD_MOVE(even, odd, 2, 10, 3, 11, 6, 14, 7, 15));
  }
  // Four columns of the eight rows: rows 0 to 3 in the low halves, 4 to 7 in the high ones.
  static void LoadFourColumns(const float* p, int32_t stride, V* v) {
    const V a = LoadHalves(p, p + 4 * stride), b = LoadHalves(p + stride, p + 5 * stride);
    const V c = LoadHalves(p + 2 * stride, p + 6 * stride), d = LoadHalves(p + 3 * stride, p + 7 * stride);
    const V ab01 = WVAD_MOVE(a, b, 0, 8, 1, 9, 4, 12, 5, 13), ab23 = WVAD_MOVE(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
    const V cd01 = WVAD_MOVE(c, d, 0, 8, 1, 9, 4, 12, 5, 13), cd23 = WVAD_MOVE(c, d, 2, 10, 3, 11, 6, 14, 7, 15);
    v[0] = WVAD_MOVE(ab01, cd01, 0, 1, 8, 9, 4, 5, 12, 13);
    v[1] = WVAD_MOVE(ab01, cd01, 2, 3, 10, 11, 6, 7, 14, 15);
    v[2] = WVAD_MOVE(ab23, cd23, 0, 1, 8, 9, 4, 5, 12, 13);
    v[3] = WVAD_MOVE(ab23, cd23, 2, 3, 10, 11, 6, 7, 14, 15);
  }
  static void LoadTransposed(const float* p, int32_t stride, V* v) {
    LoadFourColumns(p, stride, v);
    LoadFourColumns(p + 4, stride, v + 4);
  }
  static V Reversed(V v) { return WVAD_MOVE(v, v, 7, 6, 5, 4, 3, 2, 1, 0); }
};

}  // namespace
}  // namespace TSEG::transform

#include "frontend/transform/lanes.h"

namespace TSEG::transform::avx2 {

void Transform(const Plan& plan, const float* x, float* out) { TransformInLanes(plan, x, out); }

}  // namespace TSEG::transform::avx2
