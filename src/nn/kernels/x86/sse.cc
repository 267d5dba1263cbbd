// SPDX-License-Identifier: Apache-2.0
//
// The SSE level: GemvFloatSse on 128-bit vectors, which every 64-bit processor has. Four rows go side by side, each with the lanes and the
// order of the reference.
#ifndef __SSE2__
#error "this file needs -msse2"
#endif

#include <emmintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace sse {
namespace {

// The four lanes in their order in double, rounded once.
float SumOfLanes(__m128 v) {
  float lane[4];
  _mm_storeu_ps(lane, v);
  return static_cast<float>(static_cast<double>(lane[0]) + static_cast<double>(lane[1]) + static_cast<double>(lane[2]) +
                            static_cast<double>(lane[3]));
}

void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~3;
  int32_t r = 0;
  for (; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m128 sum0 = _mm_setzero_ps(), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 4) {
      const __m128 v = _mm_loadu_ps(x + j);
      sum0 = _mm_add_ps(sum0, _mm_mul_ps(v, _mm_loadu_ps(weights + j)));
      sum1 = _mm_add_ps(sum1, _mm_mul_ps(v, _mm_loadu_ps(weights + stride + j)));
      sum2 = _mm_add_ps(sum2, _mm_mul_ps(v, _mm_loadu_ps(weights + 2 * stride + j)));
      sum3 = _mm_add_ps(sum3, _mm_mul_ps(v, _mm_loadu_ps(weights + 3 * stride + j)));
    }
    y[r] = SumOfLanes(sum0);
    y[r + 1] = SumOfLanes(sum1);
    y[r + 2] = SumOfLanes(sum2);
    y[r + 3] = SumOfLanes(sum3);
  }
  for (; r < rows; ++r, weights += stride) {
    __m128 sum = _mm_setzero_ps();
    for (int32_t j = 0; j < whole_cols; j += 4) sum = _mm_add_ps(sum, _mm_mul_ps(_mm_loadu_ps(x + j), _mm_loadu_ps(weights + j)));
    y[r] = SumOfLanes(sum);
  }
}

}  // namespace

constinit const KernelLevel kLevel = {
    .name = "sse",
    .base = &ref::kLevel,
    .needs = {.leaf1Edx = kLeaf1EdxSse | kLeaf1EdxSse2},
    .lstm = {.gemv_float_sse = GemvFloatSse},
};

}  // namespace sse
}  // namespace TSEG
