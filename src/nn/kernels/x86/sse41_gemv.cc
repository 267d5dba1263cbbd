// SPDX-License-Identifier: Apache-2.0
//
// The matrix products of the recurrent network on 128-bit vectors. Built with flags of its own, so it includes no header with inline
// functions.
//
// Wrapping sums do not depend on their order; where a sum saturates or is widened, the steps are those of the reference. The tails that a
// block of work leaves are left here too.
#ifndef __SSE4_1__
#error "this file needs -msse4.1"
#endif

#include <smmintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace sse41 {
namespace {

// pmaddwd gives a pair sum modulo 2^32, which lies from -0x7FFF0000 to 2^31. Moved up by this it fits 32 bits without a sign, and is exact.
constexpr int64_t kPairOffset = 0x7FFF0000;

__m128i Load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

// The four 32-bit sums of a, b, c, d, wrapping.
__m128i Sums32(__m128i a, __m128i b, __m128i c, __m128i d) { return _mm_hadd_epi32(_mm_hadd_epi32(a, b), _mm_hadd_epi32(c, d)); }

int64_t Sum64(__m128i v) { return _mm_extract_epi64(v, 0) + _mm_extract_epi64(v, 1); }

}  // namespace

void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const double f = static_cast<double>(static_cast<float>(static_cast<double>(s) / 1073676288.0));
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m128i sum01 = _mm_setzero_si128();
    __m128i sum23 = _mm_setzero_si128();
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const __m128i v = Load(x + j);
      const __m128i eight = Sums32(_mm_madd_epi16(v, Load(weights + j)), _mm_madd_epi16(v, Load(weights + stride + j)),
                                   _mm_madd_epi16(v, Load(weights + 2 * stride + j)), _mm_madd_epi16(v, Load(weights + 3 * stride + j)));
      sum01 = _mm_add_epi64(sum01, _mm_cvtepi32_epi64(eight));
      sum23 = _mm_add_epi64(sum23, _mm_cvtepi32_epi64(_mm_shuffle_epi32(eight, 0xEE)));
    }
    y[r] = static_cast<float>(static_cast<double>(_mm_extract_epi64(sum01, 0)) * f);
    y[r + 1] = static_cast<float>(static_cast<double>(_mm_extract_epi64(sum01, 1)) * f);
    y[r + 2] = static_cast<float>(static_cast<double>(_mm_extract_epi64(sum23, 0)) * f);
    y[r + 3] = static_cast<float>(static_cast<double>(_mm_extract_epi64(sum23, 1)) * f);
  }
}

void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const __m128d f = _mm_set1_pd(static_cast<double>(static_cast<float>(static_cast<double>(s) * 6.103515625e-05)));
  const __m128i up = _mm_set1_epi8(-128);
  const __m128i ones = _mm_set1_epi16(1);
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m128i sum01 = _mm_setzero_si128();
    __m128i sum23 = _mm_setzero_si128();
    for (int32_t j = 0; j < whole_cols; j += 16) {
      const __m128i v = _mm_xor_si128(Load(x + j), up);
      const __m128i h01 = _mm_hadds_epi16(_mm_maddubs_epi16(v, Load(weights + j)), _mm_maddubs_epi16(v, Load(weights + stride + j)));
      const __m128i h23 =
          _mm_hadds_epi16(_mm_maddubs_epi16(v, Load(weights + 2 * stride + j)), _mm_maddubs_epi16(v, Load(weights + 3 * stride + j)));
      sum01 = _mm_add_epi32(sum01, _mm_madd_epi16(h01, ones));
      sum23 = _mm_add_epi32(sum23, _mm_madd_epi16(h23, ones));
    }
    const __m128i sum = _mm_hadd_epi32(sum01, sum23);
    const __m128 low = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtepi32_pd(sum), f));
    const __m128 high = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(sum, 0xEE)), f));
    _mm_storeu_ps(y + r, _mm_movelh_ps(low, high));
  }
}

void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const __m128i shift = _mm_cvtsi32_si128(qx - qy + qw);
  const __m128i low = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m128i sum0 = _mm_setzero_si128(), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const __m128i v = Load(x + j);
      sum0 = _mm_add_epi32(sum0, _mm_madd_epi16(v, Load(weights + j)));
      sum1 = _mm_add_epi32(sum1, _mm_madd_epi16(v, Load(weights + stride + j)));
      sum2 = _mm_add_epi32(sum2, _mm_madd_epi16(v, Load(weights + 2 * stride + j)));
      sum3 = _mm_add_epi32(sum3, _mm_madd_epi16(v, Load(weights + 3 * stride + j)));
    }
    const __m128i sum = _mm_sra_epi32(Sums32(sum0, sum1, sum2, sum3), shift);
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(y + r)), _mm_shuffle_epi8(sum, low));
  }
}

void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw,
                      int32_t qy) {
  const int32_t whole_cols = cols & ~7;
  const double reciprocal = 1.0 / static_cast<double>(int64_t{1} << (qx - qy + qw));
  const __m128i offset = _mm_set1_epi32(static_cast<int32_t>(kPairOffset));
  const __m128i low = _mm_set1_epi64x(0xFFFFFFFF);
  for (int32_t r = 0; r < rows; ++r, weights += cols) {
    __m128i even = _mm_setzero_si128();
    __m128i odd = _mm_setzero_si128();
    for (int32_t j = 0; j < whole_cols; j += 8) {
      const __m128i pairs = _mm_add_epi32(_mm_madd_epi16(Load(x + j), Load(weights + j)), offset);
      even = _mm_add_epi64(even, _mm_and_si128(pairs, low));
      odd = _mm_add_epi64(odd, _mm_srli_epi64(pairs, 32));
    }
    const int64_t sum = Sum64(_mm_add_epi64(even, odd)) - kPairOffset * (whole_cols / 2);
    // At most 2^31 products of 2^30: the value fits 64 bits.
    int64_t v = static_cast<int64_t>(static_cast<double>(sum) * reciprocal + 0.5);
    if (v > 32767) v = 32767;
    if (v < -32767) v = -32767;
    y[r] = static_cast<int16_t>(v);
  }
}

}  // namespace sse41
}  // namespace TSEG
