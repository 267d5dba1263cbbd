// SPDX-License-Identifier: Apache-2.0
//
// The transform on four lanes, by the vectors that g++ and clang have for every processor.
#include "frontend/transform/transform.h"

namespace TSEG::transform {
namespace {

#define WVAD_MOVE __builtin_shufflevector

struct Lanes {
  typedef float V __attribute__((vector_size(16)));
  typedef float Anywhere __attribute__((vector_size(16), aligned(4), may_alias));

  static V Load(const float* p) { return *reinterpret_cast<const Anywhere*>(p); }
  static void Store(float* p, V v) { *reinterpret_cast<Anywhere*>(p) = v; }
  static V All(float x) { return V{x, x, x, x}; }
  static void LoadPairs(const float* p, V* even, V* odd) {
    const V low = Load(p);
    const V high = Load(p + 4);
    *even = WVAD_MOVE(low, high, 0, 2, 4, 6);
    *odd = WVAD_MOVE(low, high, 1, 3, 5, 7);
  }
  static void StorePairs(float* p, V even, V odd) {
    Store(p, WVAD_MOVE(even, odd, 0, 4, 1, 5));
    Store(p + 4, WVAD_MOVE(even, odd, 2, 6, 3, 7));
  }
  static void LoadTransposed(const float* p, int32_t stride, V* v) {
    const V a = Load(p), b = Load(p + stride), c = Load(p + 2 * stride), d = Load(p + 3 * stride);
    const V ab01 = WVAD_MOVE(a, b, 0, 4, 1, 5), ab23 = WVAD_MOVE(a, b, 2, 6, 3, 7);
    const V cd01 = WVAD_MOVE(c, d, 0, 4, 1, 5), cd23 = WVAD_MOVE(c, d, 2, 6, 3, 7);
    v[0] = WVAD_MOVE(ab01, cd01, 0, 1, 4, 5);
    v[1] = WVAD_MOVE(ab01, cd01, 2, 3, 6, 7);
    v[2] = WVAD_MOVE(ab23, cd23, 0, 1, 4, 5);
    v[3] = WVAD_MOVE(ab23, cd23, 2, 3, 6, 7);
  }
  static V Reversed(V v) { return WVAD_MOVE(v, v, 3, 2, 1, 0); }
};

}  // namespace
}  // namespace TSEG::transform

#include "frontend/transform/lanes.h"

namespace TSEG::transform::vec4 {

void Transform(const Plan& plan, const float* x, float* out) { TransformInLanes(plan, x, out); }

}  // namespace TSEG::transform::vec4
