// SPDX-License-Identifier: Apache-2.0
//
// Quantisers, activations and vector helpers of the recurrent network on 256-bit vectors. Built with flags of its own, so it includes no
// header with inline functions.
//
// The exponential here is good to some units in the last place of a double. Wherever that could show in the single that is made of it, the
// values go through the reference, so the singles are those of the C library's exponential.
#ifndef __AVX2__
#error "this file needs -mavx2"
#endif

#include <immintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace avx2 {
namespace {

__m256i Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
void Store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
__m128i LowHalf(__m256i v) { return _mm256_castsi256_si128(v); }

// x * s rounded half away from zero, held within low..high; not-a-number gives low. The part behind the point is exact, so no sum is
// rounded.
__m256i Quantise(__m256 x, __m256 s, __m256 low, __m256 high) {
  const __m256 sign_bit = _mm256_set1_ps(-0.0f);
  const __m256 y = _mm256_mul_ps(x, s);
  const __m256 whole = _mm256_round_ps(y, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m256 rest = _mm256_andnot_ps(sign_bit, _mm256_sub_ps(y, whole));
  const __m256 unit = _mm256_or_ps(_mm256_set1_ps(1.0f), _mm256_and_ps(y, sign_bit));
  const __m256 rounded = _mm256_add_ps(whole, _mm256_and_ps(unit, _mm256_cmp_ps(rest, _mm256_set1_ps(0.5f), _CMP_GE_OQ)));
  return _mm256_cvttps_epi32(_mm256_min_ps(_mm256_max_ps(rounded, low), high));
}

constexpr double kExpLimit = 700.0;    // |x| up to which Exp4 is used
constexpr double kExpError = 0x1p-49;  // more than the relative error of Exp4 and of the library's together

// a * b + c, rounded after each of the two.
__m256d MultiplyAdd(__m256d a, __m256d b, double c) { return _mm256_add_pd(_mm256_mul_pd(a, b), _mm256_set1_pd(c)); }

// exp(x) for |x| <= kExpLimit: 2^k * exp(r) with |r| <= ln(2) / 2, exp(r) by its series. Exact at 0.
__m256d Exp4(__m256d x) {
  const __m256d k = _mm256_round_pd(_mm256_mul_pd(x, _mm256_set1_pd(0x1.71547652b82fep+0)), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  // ln(2) in two parts, the first with so few bits that its product with k is exact.
  __m256d r = _mm256_sub_pd(x, _mm256_mul_pd(k, _mm256_set1_pd(0x1.62e42feep-1)));
  r = _mm256_sub_pd(r, _mm256_mul_pd(k, _mm256_set1_pd(0x1.a39ef35793c76p-33)));
  __m256d series = _mm256_set1_pd(1.0 / 479001600);
  series = MultiplyAdd(series, r, 1.0 / 39916800);
  series = MultiplyAdd(series, r, 1.0 / 3628800);
  series = MultiplyAdd(series, r, 1.0 / 362880);
  series = MultiplyAdd(series, r, 1.0 / 40320);
  series = MultiplyAdd(series, r, 1.0 / 5040);
  series = MultiplyAdd(series, r, 1.0 / 720);
  series = MultiplyAdd(series, r, 1.0 / 120);
  series = MultiplyAdd(series, r, 1.0 / 24);
  series = MultiplyAdd(series, r, 1.0 / 6);
  series = MultiplyAdd(series, r, 0.5);
  series = MultiplyAdd(series, r, 1.0);
  series = MultiplyAdd(series, r, 1.0);
  const __m256i exponent = _mm256_slli_epi64(_mm256_cvtepi32_epi64(_mm256_cvtpd_epi32(k)), 52);
  return _mm256_castsi256_pd(_mm256_add_epi64(_mm256_castpd_si256(series), exponent));
}

// Whether all of `x` may go through Exp4.
bool InExpRange(__m256d x) {
  const __m256d size = _mm256_andnot_pd(_mm256_set1_pd(-0.0), x);
  return _mm256_movemask_pd(_mm256_cmp_pd(size, _mm256_set1_pd(kExpLimit), _CMP_LE_OQ)) == 15;
}

// The 32-bit products of a and b: those of elements 0-3 and 8-11, and of 4-7 and 12-15, as the packing instructions take them.
struct Products {
  __m256i even, odd;
};
Products Multiply(__m256i a, __m256i b) {
  const __m256i low = _mm256_mullo_epi16(a, b);
  const __m256i high = _mm256_mulhi_epi16(a, b);
  return {_mm256_unpacklo_epi16(low, high), _mm256_unpackhi_epi16(low, high)};
}

__m256i RoundScaled(__m256i product) {
  return _mm256_cvtps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(product), _mm256_set1_ps(0.0001220703125f)));
}

}  // namespace

void QuantInt16(float* x, int32_t n, float range) {
  const __m256 s = _mm256_set1_ps(static_cast<float>(32768.0 / static_cast<double>(range)));
  const __m256 low = _mm256_set1_ps(-32768.0f);
  const __m256 high = _mm256_set1_ps(32767.0f);
  int16_t* out = static_cast<int16_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 16 <= n; j += 16) {
    const __m256i y0 = Quantise(_mm256_loadu_ps(x + j), s, low, high);
    const __m256i y1 = Quantise(_mm256_loadu_ps(x + j + 8), s, low, high);
    Store(out + j, _mm256_permute4x64_epi64(_mm256_packs_epi32(y0, y1), 0xD8));
  }
  for (; j < n; ++j) {
    const __m256i y = Quantise(_mm256_broadcast_ss(x + j), s, low, high);
    const __m128i packed = _mm_packs_epi32(LowHalf(y), LowHalf(y));
    __builtin_memcpy(out + j, &packed, sizeof *out);
  }
}

void QuantInt8(float* x, int32_t n, float range) {
  const __m256 s = _mm256_set1_ps(static_cast<float>(128.0 / static_cast<double>(range)));
  const __m256 low = _mm256_set1_ps(-128.0f);
  const __m256 high = _mm256_set1_ps(127.0f);
  int8_t* out = static_cast<int8_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 32 <= n; j += 32) {
    const __m256i y0 = Quantise(_mm256_loadu_ps(x + j), s, low, high);
    const __m256i y1 = Quantise(_mm256_loadu_ps(x + j + 8), s, low, high);
    const __m256i y2 = Quantise(_mm256_loadu_ps(x + j + 16), s, low, high);
    const __m256i y3 = Quantise(_mm256_loadu_ps(x + j + 24), s, low, high);
    const __m256i bytes = _mm256_packs_epi16(_mm256_packs_epi32(y0, y1), _mm256_packs_epi32(y2, y3));
    Store(out + j, _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
  }
  for (; j < n; ++j) {
    const __m256i y = Quantise(_mm256_broadcast_ss(x + j), s, low, high);
    const __m128i packed = _mm_packs_epi16(_mm_packs_epi32(LowHalf(y), LowHalf(y)), _mm_setzero_si128());
    __builtin_memcpy(out + j, &packed, sizeof *out);
  }
}

void VecAdd(float* a, const float* b, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) _mm256_storeu_ps(a + k, _mm256_add_ps(_mm256_loadu_ps(a + k), _mm256_loadu_ps(b + k)));
  for (; k < n; ++k) a[k] = a[k] + b[k];
}

void VecAddWrap16(int16_t* a, const int16_t* b, int32_t n) {
  int32_t k = 0;
  for (; k + 16 <= n; k += 16) Store(a + k, _mm256_add_epi16(Load(a + k), Load(b + k)));
  if (k < n) ref::VecAddWrap16(a + k, b + k, n - k);
}

void VecMulAdd(const float* c, const float* p, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const __m256 product = _mm256_mul_ps(_mm256_loadu_ps(c + k), _mm256_loadu_ps(p + k));
    _mm256_storeu_ps(out + k, _mm256_add_ps(_mm256_loadu_ps(out + k), product));
  }
  for (; k < n; ++k) {
    const float product = c[k] * p[k];
    out[k] = out[k] + product;
  }
}

void VecMul(const float* a, const float* b, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) _mm256_storeu_ps(out + k, _mm256_mul_ps(_mm256_loadu_ps(a + k), _mm256_loadu_ps(b + k)));
  for (; k < n; ++k) out[k] = a[k] * b[k];
}

void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    const __m256d kept = _mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(f + k)), _mm256_cvtps_pd(_mm_loadu_ps(c + k)));
    const __m256d added = _mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(i + k)), _mm256_cvtps_pd(_mm_loadu_ps(g + k)));
    _mm_storeu_ps(c + k, _mm256_cvtpd_ps(_mm256_add_pd(kept, added)));
  }
  if (k < n) ref::CellUpdate(f + k, i + k, g + k, c + k, n - k);
}

void Sigmoid(float* x, int32_t n) {
  const __m256d one = _mm256_set1_pd(1.0);
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    const __m256d arg = _mm256_xor_pd(_mm256_cvtps_pd(_mm_loadu_ps(x + k)), _mm256_set1_pd(-0.0));
    const __m256d exact = Exp4(arg);
    const __m128 low = _mm256_cvtpd_ps(_mm256_mul_pd(exact, _mm256_set1_pd(1.0 - kExpError)));
    const __m128 high = _mm256_cvtpd_ps(_mm256_mul_pd(exact, _mm256_set1_pd(1.0 + kExpError)));
    if (!InExpRange(arg) || _mm_movemask_ps(_mm_cmpeq_ps(low, high)) != 15) {
      ref::Sigmoid(x + k, 4);
      continue;
    }
    _mm_storeu_ps(x + k, _mm256_cvtpd_ps(_mm256_div_pd(one, _mm256_add_pd(_mm256_cvtps_pd(low), one))));
  }
  if (k < n) ref::Sigmoid(x + k, n - k);
}

void Tanh(float* x, int32_t n) {
  const __m256d one = _mm256_set1_pd(1.0);
  const __m256d two = _mm256_set1_pd(2.0);
  const __m256d error = _mm256_set1_pd(2 * kExpError);
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    const __m256d arg = _mm256_mul_pd(_mm256_cvtps_pd(_mm_loadu_ps(x + k)), _mm256_set1_pd(-2.0));
    const __m256d y = _mm256_sub_pd(_mm256_div_pd(two, _mm256_add_pd(Exp4(arg), one)), one);
    // The single is certain where the whole range of error rounds to it, and at 0, where the exponential is exact.
    const __m128 low = _mm256_cvtpd_ps(_mm256_sub_pd(y, error));
    const __m128 high = _mm256_cvtpd_ps(_mm256_add_pd(y, error));
    const __m128 zero = _mm_cmpeq_ps(_mm_loadu_ps(x + k), _mm_setzero_ps());
    if (!InExpRange(arg) || _mm_movemask_ps(_mm_or_ps(_mm_cmpeq_ps(low, high), zero)) != 15) {
      ref::Tanh(x + k, 4);
      continue;
    }
    _mm_storeu_ps(x + k, _mm256_cvtpd_ps(y));
  }
  if (k < n) ref::Tanh(x + k, n - k);
}

void PeepholeFixed(const int16_t* t, const int16_t* p, int16_t* out, int32_t n, int32_t shift) {
  const __m128i count = _mm_cvtsi32_si128(shift);
  int32_t k = 0;
  for (; k + 16 <= n; k += 16) {
    const Products products = Multiply(Load(t + k), Load(p + k));
    const __m256i term = _mm256_packs_epi32(_mm256_sra_epi32(products.even, count), _mm256_sra_epi32(products.odd, count));
    Store(out + k, _mm256_add_epi16(Load(out + k), term));
  }
  if (k < n) ref::PeepholeFixed(t + k, p + k, out + k, n - k, shift);
}

void CellUpdateFixed(const int16_t* f, const int16_t* i, const int16_t* g, int16_t* c, int32_t n) {
  int32_t k = 0;
  for (; k + 16 <= n; k += 16) {
    const __m256i vf = Load(f + k), vi = Load(i + k), vg = Load(g + k), vc = Load(c + k);
    // f * c + i * g as one pair sum, which wraps at 32 bits.
    const __m256i even = _mm256_madd_epi16(_mm256_unpacklo_epi16(vf, vi), _mm256_unpacklo_epi16(vc, vg));
    const __m256i odd = _mm256_madd_epi16(_mm256_unpackhi_epi16(vf, vi), _mm256_unpackhi_epi16(vc, vg));
    Store(c + k, _mm256_packs_epi32(_mm256_srai_epi32(even, 14), _mm256_srai_epi32(odd, 14)));
  }
  if (k < n) ref::CellUpdateFixed(f + k, i + k, g + k, c + k, n - k);
}

void VecMulFixed(const int16_t* t, const int16_t* h, int16_t* out, int32_t n) {
  int32_t k = 0;
  for (; k + 16 <= n; k += 16) {
    const Products products = Multiply(Load(t + k), Load(h + k));
    Store(out + k, _mm256_packs_epi32(RoundScaled(products.even), RoundScaled(products.odd)));
  }
  if (k < n) ref::VecMulFixed(t + k, h + k, out + k, n - k);
}

}  // namespace avx2
}  // namespace TSEG
