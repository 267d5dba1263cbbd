// SPDX-License-Identifier: Apache-2.0
//
// The activations of the recurrent network on 512-bit vectors. Built with flags of its own, so it includes no header with inline functions.
//
// The exponential here is good to some units in the last place of a double. Wherever that could show in the single that is made of it, the
// values go through the reference, so the singles are those of the C library's exponential.
#if !defined(__AVX512F__) || !defined(__AVX512BW__) || !defined(__AVX512DQ__) || !defined(__AVX512VL__) || !defined(__AVX512VNNI__)
#error "this file needs the flags of the avx512 level"
#endif

#include <immintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace avx512 {
namespace {

constexpr double kExpLimit = 700.0;    // |x| up to which Exp8 is used
constexpr double kExpError = 0x1p-49;  // more than the relative error of Exp8 and of the library's together

__m512d Flipped(__m512d x) { return _mm512_xor_pd(x, _mm512_set1_pd(-0.0)); }

// exp(x) for |x| <= kExpLimit: 2^(k/8) * exp(r) with |r| <= ln(2) / 16, the first from a table, exp(r) by its series. Exact at 0.
__m512d Exp8(__m512d x) {
  // Adding this leaves k, rounded to the nearest, in the low bits of the sum.
  const __m512d shifter = _mm512_set1_pd(0x1.8p52);
  const __m512d moved = _mm512_fmadd_pd(x, _mm512_set1_pd(0x1.71547652b82fep+3), shifter);
  const __m512d k = _mm512_sub_pd(moved, shifter);
  // ln(2) / 8 in two parts.
  __m512d r = _mm512_fnmadd_pd(k, _mm512_set1_pd(0x1.62e42fefa39efp-4), x);
  r = _mm512_fnmadd_pd(k, _mm512_set1_pd(0x1.abc9e3b39803fp-59), r);
  // 2^(i/8) for i = 0..7; the index is the low three bits of k.
  const __m512d eighths = _mm512_setr_pd(1.0, 0x1.172b83c7d517bp+0, 0x1.306fe0a31b715p+0, 0x1.4bfdad5362a27p+0, 0x1.6a09e667f3bcdp+0,
                                         0x1.8ace5422aa0dbp+0, 0x1.ae89f995ad3adp+0, 0x1.d5818dcfba487p+0);
  const __m512d power = _mm512_permutexvar_pd(_mm512_castpd_si512(moved), eighths);
  __m512d series = _mm512_set1_pd(1.0 / 5040);
  series = _mm512_fmadd_pd(series, r, _mm512_set1_pd(1.0 / 720));
  series = _mm512_fmadd_pd(series, r, _mm512_set1_pd(1.0 / 120));
  series = _mm512_fmadd_pd(series, r, _mm512_set1_pd(1.0 / 24));
  series = _mm512_fmadd_pd(series, r, _mm512_set1_pd(1.0 / 6));
  series = _mm512_fmadd_pd(series, r, _mm512_set1_pd(0.5));
  series = _mm512_fmadd_pd(series, r, _mm512_set1_pd(1.0));
  series = _mm512_fmadd_pd(_mm512_mul_pd(series, r), power, power);
  return _mm512_scalef_pd(series, _mm512_mul_pd(k, _mm512_set1_pd(0.125)));  // by 2 to the whole part of k / 8
}

// Which of `x` may go through Exp8.
__mmask8 InExpRange(__m512d x) { return _mm512_cmp_pd_mask(_mm512_abs_pd(x), _mm512_set1_pd(kExpLimit), _CMP_LE_OQ); }

}  // namespace

void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const __m512d kept = _mm512_mul_pd(_mm512_cvtps_pd(_mm256_loadu_ps(f + k)), _mm512_cvtps_pd(_mm256_loadu_ps(c + k)));
    const __m512d added = _mm512_mul_pd(_mm512_cvtps_pd(_mm256_loadu_ps(i + k)), _mm512_cvtps_pd(_mm256_loadu_ps(g + k)));
    _mm256_storeu_ps(c + k, _mm512_cvtpd_ps(_mm512_add_pd(kept, added)));
  }
  if (k < n) avx2::CellUpdate(f + k, i + k, g + k, c + k, n - k);
}

void Sigmoid(float* x, int32_t n) {
  const __m512d one = _mm512_set1_pd(1.0);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const __m512d arg = Flipped(_mm512_cvtps_pd(_mm256_loadu_ps(x + k)));
    const __m512d exact = Exp8(arg);
    const __m256 low = _mm512_cvtpd_ps(_mm512_mul_pd(exact, _mm512_set1_pd(1.0 - kExpError)));
    const __m256 high = _mm512_cvtpd_ps(_mm512_mul_pd(exact, _mm512_set1_pd(1.0 + kExpError)));
    if ((InExpRange(arg) & _mm256_cmp_ps_mask(low, high, _CMP_EQ_OQ)) != 0xFF) {
      ref::Sigmoid(x + k, 8);
      continue;
    }
    _mm256_storeu_ps(x + k, _mm512_cvtpd_ps(_mm512_div_pd(one, _mm512_add_pd(_mm512_cvtps_pd(low), one))));
  }
  if (k < n) avx2::Sigmoid(x + k, n - k);
}

void Tanh(float* x, int32_t n) {
  const __m512d one = _mm512_set1_pd(1.0);
  const __m512d error = _mm512_set1_pd(2 * kExpError);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const __m512d arg = _mm512_mul_pd(_mm512_cvtps_pd(_mm256_loadu_ps(x + k)), _mm512_set1_pd(-2.0));
    const __m512d y = _mm512_sub_pd(_mm512_div_pd(_mm512_set1_pd(2.0), _mm512_add_pd(Exp8(arg), one)), one);
    // The single is certain where the whole range of error rounds to it, and at 0, where the exponential is exact.
    const __m256 low = _mm512_cvtpd_ps(_mm512_sub_pd(y, error));
    const __m256 high = _mm512_cvtpd_ps(_mm512_add_pd(y, error));
    const __mmask8 zero = _mm256_cmp_ps_mask(_mm256_loadu_ps(x + k), _mm256_setzero_ps(), _CMP_EQ_OQ);
    if ((InExpRange(arg) & (_mm256_cmp_ps_mask(low, high, _CMP_EQ_OQ) | zero)) != 0xFF) {
      ref::Tanh(x + k, 8);
      continue;
    }
    _mm256_storeu_ps(x + k, _mm512_cvtpd_ps(y));
  }
  if (k < n) avx2::Tanh(x + k, n - k);
}

}  // namespace avx512
}  // namespace TSEG
