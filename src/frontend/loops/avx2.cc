// SPDX-License-Identifier: Apache-2.0
//
// The loops for AVX2, and the logarithm on four doubles at a time with FMA.
//
// glibc's logf works in double, with a table of 16 and fused operations where the processor has them, and rounds once at the end. Log does
// the same operations in the same order, so that its floats are those of that library; a test compares them.
#if !defined(__AVX2__) || !defined(__FMA__)
#error "this file needs -mavx2 -mfma"
#endif

#include <immintrin.h>

#include "frontend/loops/log_table.h"
#include "frontend/loops/plain.h"

namespace TSEG::loops {
namespace {

#ifdef __GLIBC__

__m256d LookUp(const double* table, __m128i at) {
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
  return _mm256_mask_i32gather_pd(_mm256_setzero_pd(), table, at, all, 8);
}

void Log(float* values, int32_t n) {
  for (int32_t i = 0; i < n; i += 4) {
    const __m128i x = _mm_castps_si128(_mm_max_ps(_mm_set1_ps(1.0f), _mm_loadu_ps(values + i)));
    // x = z * 2^k with z from 0.7 to 1.4, in the piece `at` of the table.
    const __m128i above = _mm_sub_epi32(x, _mm_set1_epi32(0x3f330000));
    const __m128i at = _mm_and_si128(_mm_srli_epi32(above, 19), _mm_set1_epi32(15));
    const __m256d k = _mm256_cvtepi32_pd(_mm_srai_epi32(above, 23));
    const __m128i z_bits = _mm_sub_epi32(x, _mm_and_si128(above, _mm_set1_epi32(static_cast<int32_t>(0xff800000u))));
    const __m256d z = _mm256_cvtps_pd(_mm_castsi128_ps(z_bits));
    const __m256d one_over_c = LookUp(kOneOverC, at);
    const __m256d log_of_c = LookUp(kLogOfC, at);
    const __m256d r = _mm256_fmadd_pd(z, one_over_c, _mm256_set1_pd(-1.0));
    const __m256d y0 = _mm256_fmadd_pd(k, _mm256_set1_pd(kLn2), log_of_c);
    const __m256d r2 = _mm256_mul_pd(r, r);
    __m256d y = _mm256_fmadd_pd(_mm256_set1_pd(k3), r, _mm256_set1_pd(k2));
    y = _mm256_fmadd_pd(_mm256_set1_pd(k4), r2, y);
    y = _mm256_fmadd_pd(y, r2, _mm256_add_pd(y0, r));
    _mm_storeu_ps(values + i, _mm256_cvtpd_ps(y));
  }
}

#else

void Log(float* values, int32_t n) {
  for (int32_t i = 0; i < n; ++i) values[i] = LogOfAtLeastOne(values[i]);
}

#endif

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

const Loops avx2::kLoops = {Sum, Take, Window, Power, Magnitude, Log, SumPlaces};

}  // namespace TSEG::loops
