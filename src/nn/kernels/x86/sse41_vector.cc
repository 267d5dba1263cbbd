// SPDX-License-Identifier: Apache-2.0
//
// Quantisers, activations and vector helpers of the recurrent network on 128-bit vectors. Built with flags of its own, so it includes no
// header with inline functions.
//
// The exponential here is good to some units in the last place of a double. Wherever that could show in the single that is made of it, the
// values go through the reference, so the singles are those of the C library's exponential.
#ifndef __SSE4_1__
#error "this file needs -msse4.1"
#endif

#include <smmintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace sse41 {
namespace {

__m128i Load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
void Store(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
// Two singles, and zeros above them.
__m128 Load2(const float* p) { return _mm_castsi128_ps(_mm_loadl_epi64(static_cast<const __m128i*>(static_cast<const void*>(p)))); }
void Store2(float* p, __m128 v) { _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(p)), _mm_castps_si128(v)); }

// x * s rounded half away from zero, held within low..high; not-a-number gives low. The part behind the point is exact, so no sum is
// rounded.
__m128i Quantise(__m128 x, __m128 s, __m128 low, __m128 high) {
  const __m128 sign_bit = _mm_set1_ps(-0.0f);
  const __m128 y = _mm_mul_ps(x, s);
  const __m128 whole = _mm_round_ps(y, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m128 rest = _mm_andnot_ps(sign_bit, _mm_sub_ps(y, whole));
  const __m128 unit = _mm_or_ps(_mm_set1_ps(1.0f), _mm_and_ps(y, sign_bit));
  const __m128 rounded = _mm_add_ps(whole, _mm_and_ps(unit, _mm_cmpge_ps(rest, _mm_set1_ps(0.5f))));
  return _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(rounded, low), high));
}

constexpr double kExpLimit = 700.0;    // |x| up to which Exp2 is used
constexpr double kExpError = 0x1p-49;  // more than the relative error of Exp2 and of the library's together

// a * b + c, rounded after each of the two.
__m128d MultiplyAdd(__m128d a, __m128d b, double c) { return _mm_add_pd(_mm_mul_pd(a, b), _mm_set1_pd(c)); }

// exp(x) of two values of |x| <= kExpLimit: 2^k * exp(r) with |r| <= ln(2) / 2, exp(r) by its series. Exact at 0.
__m128d Exp2(__m128d x) {
  const __m128d k = _mm_round_pd(_mm_mul_pd(x, _mm_set1_pd(0x1.71547652b82fep+0)), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  // ln(2) in two parts, the first with so few bits that its product with k is exact.
  __m128d r = _mm_sub_pd(x, _mm_mul_pd(k, _mm_set1_pd(0x1.62e42feep-1)));
  r = _mm_sub_pd(r, _mm_mul_pd(k, _mm_set1_pd(0x1.a39ef35793c76p-33)));
  __m128d series = _mm_set1_pd(1.0 / 479001600);
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
  const __m128i exponent = _mm_slli_epi64(_mm_cvtepi32_epi64(_mm_cvtpd_epi32(k)), 52);
  return _mm_castsi128_pd(_mm_add_epi64(_mm_castpd_si128(series), exponent));
}

// Whether both of `x` may go through Exp2.
bool InExpRange(__m128d x) {
  const __m128d size = _mm_andnot_pd(_mm_set1_pd(-0.0), x);
  return _mm_movemask_pd(_mm_cmple_pd(size, _mm_set1_pd(kExpLimit))) == 3;
}

// The 32-bit products of a and b: those of elements 0-3 and of 4-7.
struct Products {
  __m128i first, second;
};
Products Multiply(__m128i a, __m128i b) {
  const __m128i low = _mm_mullo_epi16(a, b);
  const __m128i high = _mm_mulhi_epi16(a, b);
  return {_mm_unpacklo_epi16(low, high), _mm_unpackhi_epi16(low, high)};
}

__m128i RoundScaled(__m128i product) { return _mm_cvtps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(product), _mm_set1_ps(0.0001220703125f))); }

}  // namespace

void QuantInt16(float* x, int32_t n, float range) {
  const __m128 s = _mm_set1_ps(static_cast<float>(32768.0 / static_cast<double>(range)));
  const __m128 low = _mm_set1_ps(-32768.0f);
  const __m128 high = _mm_set1_ps(32767.0f);
  int16_t* out = static_cast<int16_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const __m128i y0 = Quantise(_mm_loadu_ps(x + j), s, low, high);
    const __m128i y1 = Quantise(_mm_loadu_ps(x + j + 4), s, low, high);
    Store(out + j, _mm_packs_epi32(y0, y1));
  }
  for (; j < n; ++j) {
    const __m128i y = Quantise(_mm_load1_ps(x + j), s, low, high);
    const __m128i packed = _mm_packs_epi32(y, y);
    __builtin_memcpy(out + j, &packed, sizeof *out);
  }
}

void QuantInt8(float* x, int32_t n, float range) {
  const __m128 s = _mm_set1_ps(static_cast<float>(128.0 / static_cast<double>(range)));
  const __m128 low = _mm_set1_ps(-128.0f);
  const __m128 high = _mm_set1_ps(127.0f);
  int8_t* out = static_cast<int8_t*>(static_cast<void*>(x));
  int32_t j = 0;
  for (; j + 16 <= n; j += 16) {
    const __m128i y0 = Quantise(_mm_loadu_ps(x + j), s, low, high);
    const __m128i y1 = Quantise(_mm_loadu_ps(x + j + 4), s, low, high);
    const __m128i y2 = Quantise(_mm_loadu_ps(x + j + 8), s, low, high);
    const __m128i y3 = Quantise(_mm_loadu_ps(x + j + 12), s, low, high);
    Store(out + j, _mm_packs_epi16(_mm_packs_epi32(y0, y1), _mm_packs_epi32(y2, y3)));
  }
  for (; j < n; ++j) {
    const __m128i y = Quantise(_mm_load1_ps(x + j), s, low, high);
    const __m128i packed = _mm_packs_epi16(_mm_packs_epi32(y, y), y);
    __builtin_memcpy(out + j, &packed, sizeof *out);
  }
}

void VecAdd(float* a, const float* b, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) _mm_storeu_ps(a + k, _mm_add_ps(_mm_loadu_ps(a + k), _mm_loadu_ps(b + k)));
  for (; k < n; ++k) a[k] = a[k] + b[k];
}

void VecAddWrap16(int16_t* a, const int16_t* b, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) Store(a + k, _mm_add_epi16(Load(a + k), Load(b + k)));
  if (k < n) ref::VecAddWrap16(a + k, b + k, n - k);
}

void VecMulAdd(const float* c, const float* p, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    const __m128 product = _mm_mul_ps(_mm_loadu_ps(c + k), _mm_loadu_ps(p + k));
    _mm_storeu_ps(out + k, _mm_add_ps(_mm_loadu_ps(out + k), product));
  }
  for (; k < n; ++k) {
    const float product = c[k] * p[k];
    out[k] = out[k] + product;
  }
}

void VecMul(const float* a, const float* b, float* out, int32_t n) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) _mm_storeu_ps(out + k, _mm_mul_ps(_mm_loadu_ps(a + k), _mm_loadu_ps(b + k)));
  for (; k < n; ++k) out[k] = a[k] * b[k];
}

void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n) {
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const __m128d kept = _mm_mul_pd(_mm_cvtps_pd(Load2(f + k)), _mm_cvtps_pd(Load2(c + k)));
    const __m128d added = _mm_mul_pd(_mm_cvtps_pd(Load2(i + k)), _mm_cvtps_pd(Load2(g + k)));
    Store2(c + k, _mm_cvtpd_ps(_mm_add_pd(kept, added)));
  }
  if (k < n) ref::CellUpdate(f + k, i + k, g + k, c + k, n - k);
}

void Sigmoid(float* x, int32_t n) {
  const __m128d one = _mm_set1_pd(1.0);
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const __m128d arg = _mm_xor_pd(_mm_cvtps_pd(Load2(x + k)), _mm_set1_pd(-0.0));
    const __m128d exact = Exp2(arg);
    const __m128 low = _mm_cvtpd_ps(_mm_mul_pd(exact, _mm_set1_pd(1.0 - kExpError)));
    const __m128 high = _mm_cvtpd_ps(_mm_mul_pd(exact, _mm_set1_pd(1.0 + kExpError)));
    if (!InExpRange(arg) || _mm_movemask_ps(_mm_cmpeq_ps(low, high)) != 15) {
      ref::Sigmoid(x + k, 2);
      continue;
    }
    Store2(x + k, _mm_cvtpd_ps(_mm_div_pd(one, _mm_add_pd(_mm_cvtps_pd(low), one))));
  }
  if (k < n) ref::Sigmoid(x + k, n - k);
}

void Tanh(float* x, int32_t n) {
  const __m128d one = _mm_set1_pd(1.0);
  const __m128d two = _mm_set1_pd(2.0);
  const __m128d error = _mm_set1_pd(2 * kExpError);
  int32_t k = 0;
  for (; k + 2 <= n; k += 2) {
    const __m128d arg = _mm_mul_pd(_mm_cvtps_pd(Load2(x + k)), _mm_set1_pd(-2.0));
    const __m128d y = _mm_sub_pd(_mm_div_pd(two, _mm_add_pd(Exp2(arg), one)), one);
    // The single is certain where the whole range of error rounds to it, and at 0, where the exponential is exact.
    const __m128 low = _mm_cvtpd_ps(_mm_sub_pd(y, error));
    const __m128 high = _mm_cvtpd_ps(_mm_add_pd(y, error));
    const __m128 zero = _mm_cmpeq_ps(Load2(x + k), _mm_setzero_ps());
    if (!InExpRange(arg) || _mm_movemask_ps(_mm_or_ps(_mm_cmpeq_ps(low, high), zero)) != 15) {
      ref::Tanh(x + k, 2);
      continue;
    }
    Store2(x + k, _mm_cvtpd_ps(y));
  }
  if (k < n) ref::Tanh(x + k, n - k);
}

void PeepholeFixed(const int16_t* t, const int16_t* p, int16_t* out, int32_t n, int32_t shift) {
  const __m128i count = _mm_cvtsi32_si128(shift);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const Products products = Multiply(Load(t + k), Load(p + k));
    const __m128i term = _mm_packs_epi32(_mm_sra_epi32(products.first, count), _mm_sra_epi32(products.second, count));
    Store(out + k, _mm_add_epi16(Load(out + k), term));
  }
  if (k < n) ref::PeepholeFixed(t + k, p + k, out + k, n - k, shift);
}

void CellUpdateFixed(const int16_t* f, const int16_t* i, const int16_t* g, int16_t* c, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const __m128i vf = Load(f + k), vi = Load(i + k), vg = Load(g + k), vc = Load(c + k);
    // f * c + i * g as one pair sum, which wraps at 32 bits.
    const __m128i first = _mm_madd_epi16(_mm_unpacklo_epi16(vf, vi), _mm_unpacklo_epi16(vc, vg));
    const __m128i second = _mm_madd_epi16(_mm_unpackhi_epi16(vf, vi), _mm_unpackhi_epi16(vc, vg));
    Store(c + k, _mm_packs_epi32(_mm_srai_epi32(first, 14), _mm_srai_epi32(second, 14)));
  }
  if (k < n) ref::CellUpdateFixed(f + k, i + k, g + k, c + k, n - k);
}

void VecMulFixed(const int16_t* t, const int16_t* h, int16_t* out, int32_t n) {
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    const Products products = Multiply(Load(t + k), Load(h + k));
    Store(out + k, _mm_packs_epi32(RoundScaled(products.first), RoundScaled(products.second)));
  }
  if (k < n) ref::VecMulFixed(t + k, h + k, out + k, n - k);
}

}  // namespace sse41
}  // namespace TSEG
