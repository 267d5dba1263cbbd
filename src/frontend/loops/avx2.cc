// SPDX-License-Identifier: Apache-2.0
//
// The loops for AVX2, and sums by places on eight lanes.
#if !defined(__AVX2__)
#error "this file needs -mavx2"
#endif

#include <immintrin.h>

#include "frontend/loops/plain.h"

namespace TSEG::loops {
namespace {

// A lane that takes nothing adds zero, which changes no sum that is not below zero.
void SumPlaces(const float* table, const Places* places, const uint8_t* counts, int32_t blocks, float* sums) {
  for (int32_t b = 0; b < blocks; ++b) {
    __m256 sum = _mm256_setzero_ps();
    for (const Places* end = places + counts[b]; places != end; ++places) {
      const __m256i lane = _mm256_cvtepi8_epi32(_mm_loadu_si64(places->lane));
      const __m256 taken = _mm256_permutevar8x32_ps(_mm256_loadu_ps(table + places->first), lane);
      sum = _mm256_add_ps(_mm256_blendv_ps(taken, _mm256_setzero_ps(), _mm256_castsi256_ps(lane)), sum);
    }
    _mm256_storeu_ps(sums + 8 * b, sum);
  }
}

}  // namespace

const Loops avx2::kLoops = {Sum, Take, Window, Power, Magnitude, SumPlaces};

}  // namespace TSEG::loops
