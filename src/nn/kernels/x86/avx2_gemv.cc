// SPDX-License-Identifier: Apache-2.0
//
// The matrix products of the recurrent network on 256-bit vectors. Built with flags of its own, so it includes no header with inline
// functions.
//
// Wrapping sums do not depend on their order; where a sum saturates or is widened, the steps are those of the reference. The tails that a
// block of work leaves are left here too.
#ifndef __AVX2__
#error "this file needs -mavx2"
#endif

#include <immintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace avx2 {
namespace {

// pmaddwd gives a pair sum modulo 2^32, which lies from -0x7FFF0000 to 2^31. Moved up by this it fits 32 bits without a sign, and is exact.
constexpr int64_t kPairOffset = 0x7FFF0000;

__m256i Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
// 16 bytes, and zeros above them.
__m256i LoadLow(const void* p) {
  return _mm256_inserti128_si256(_mm256_setzero_si256(), _mm_loadu_si128(static_cast<const __m128i*>(p)), 0);
}
__m128i LowHalf(__m256i v) { return _mm256_castsi256_si128(v); }
__m128i HighHalf(__m256i v) { return _mm256_extracti128_si256(v, 1); }

// In each half the four 32-bit sums of a, b, c, d, wrapping.
__m256i Sums32(__m256i a, __m256i b, __m256i c, __m256i d) { return _mm256_hadd_epi32(_mm256_hadd_epi32(a, b), _mm256_hadd_epi32(c, d)); }

}  // namespace

void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const double f = static_cast<double>(static_cast<float>(static_cast<double>(s) / 1073676288.0));
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m256i sum = _mm256_setzero_si256();
    int32_t j = 0;
    for (; j + 16 <= whole_cols; j += 16) {
      const __m256i v = Load(x + j);
      // One value for each 8 columns and row: those of the first 8 columns in the low half.
      const __m256i eight =
          Sums32(_mm256_madd_epi16(v, Load(weights + j)), _mm256_madd_epi16(v, Load(weights + stride + j)),
                 _mm256_madd_epi16(v, Load(weights + 2 * stride + j)), _mm256_madd_epi16(v, Load(weights + 3 * stride + j)));
      sum = _mm256_add_epi64(sum, _mm256_cvtepi32_epi64(LowHalf(eight)));
      sum = _mm256_add_epi64(sum, _mm256_cvtepi32_epi64(HighHalf(eight)));
    }
    if (j < whole_cols) {
      const __m256i v = LoadLow(x + j);
      const __m256i eight =
          Sums32(_mm256_madd_epi16(v, LoadLow(weights + j)), _mm256_madd_epi16(v, LoadLow(weights + stride + j)),
                 _mm256_madd_epi16(v, LoadLow(weights + 2 * stride + j)), _mm256_madd_epi16(v, LoadLow(weights + 3 * stride + j)));
      sum = _mm256_add_epi64(sum, _mm256_cvtepi32_epi64(LowHalf(eight)));
    }
    y[r] = static_cast<float>(static_cast<double>(_mm256_extract_epi64(sum, 0)) * f);
    y[r + 1] = static_cast<float>(static_cast<double>(_mm256_extract_epi64(sum, 1)) * f);
    y[r + 2] = static_cast<float>(static_cast<double>(_mm256_extract_epi64(sum, 2)) * f);
    y[r + 3] = static_cast<float>(static_cast<double>(_mm256_extract_epi64(sum, 3)) * f);
  }
}

void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const __m256d f = _mm256_set1_pd(static_cast<double>(static_cast<float>(static_cast<double>(s) * 6.103515625e-05)));
  const __m256i up = _mm256_set1_epi8(-128);
  const __m256i ones = _mm256_set1_epi16(1);
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m256i sum01 = _mm256_setzero_si256();
    __m256i sum23 = _mm256_setzero_si256();
    int32_t j = 0;
    for (; j + 32 <= whole_cols; j += 32) {
      const __m256i v = _mm256_xor_si256(Load(x + j), up);
      const __m256i h01 =
          _mm256_hadds_epi16(_mm256_maddubs_epi16(v, Load(weights + j)), _mm256_maddubs_epi16(v, Load(weights + stride + j)));
      const __m256i h23 = _mm256_hadds_epi16(_mm256_maddubs_epi16(v, Load(weights + 2 * stride + j)),
                                             _mm256_maddubs_epi16(v, Load(weights + 3 * stride + j)));
      sum01 = _mm256_add_epi32(sum01, _mm256_madd_epi16(h01, ones));
      sum23 = _mm256_add_epi32(sum23, _mm256_madd_epi16(h23, ones));
    }
    if (j < whole_cols) {
      const __m256i v = _mm256_xor_si256(LoadLow(x + j), up);  // the upper half meets zero weights
      const __m256i h01 =
          _mm256_hadds_epi16(_mm256_maddubs_epi16(v, LoadLow(weights + j)), _mm256_maddubs_epi16(v, LoadLow(weights + stride + j)));
      const __m256i h23 = _mm256_hadds_epi16(_mm256_maddubs_epi16(v, LoadLow(weights + 2 * stride + j)),
                                             _mm256_maddubs_epi16(v, LoadLow(weights + 3 * stride + j)));
      sum01 = _mm256_add_epi32(sum01, _mm256_madd_epi16(h01, ones));
      sum23 = _mm256_add_epi32(sum23, _mm256_madd_epi16(h23, ones));
    }
    const __m256i halves = _mm256_hadd_epi32(sum01, sum23);
    const __m128i sum = _mm_add_epi32(LowHalf(halves), HighHalf(halves));
    _mm_storeu_ps(y + r, _mm256_cvtpd_ps(_mm256_mul_pd(_mm256_cvtepi32_pd(sum), f)));
  }
}

void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const __m128i shift = _mm_cvtsi32_si128(qx - qy + qw);
  const __m128i low = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m256i sum0 = _mm256_setzero_si256(), sum1 = sum0, sum2 = sum0, sum3 = sum0;
    int32_t j = 0;
    for (; j + 16 <= whole_cols; j += 16) {
      const __m256i v = Load(x + j);
      sum0 = _mm256_add_epi32(sum0, _mm256_madd_epi16(v, Load(weights + j)));
      sum1 = _mm256_add_epi32(sum1, _mm256_madd_epi16(v, Load(weights + stride + j)));
      sum2 = _mm256_add_epi32(sum2, _mm256_madd_epi16(v, Load(weights + 2 * stride + j)));
      sum3 = _mm256_add_epi32(sum3, _mm256_madd_epi16(v, Load(weights + 3 * stride + j)));
    }
    if (j < whole_cols) {
      const __m256i v = LoadLow(x + j);
      sum0 = _mm256_add_epi32(sum0, _mm256_madd_epi16(v, LoadLow(weights + j)));
      sum1 = _mm256_add_epi32(sum1, _mm256_madd_epi16(v, LoadLow(weights + stride + j)));
      sum2 = _mm256_add_epi32(sum2, _mm256_madd_epi16(v, LoadLow(weights + 2 * stride + j)));
      sum3 = _mm256_add_epi32(sum3, _mm256_madd_epi16(v, LoadLow(weights + 3 * stride + j)));
    }
    const __m256i halves = Sums32(sum0, sum1, sum2, sum3);
    const __m128i sum = _mm_sra_epi32(_mm_add_epi32(LowHalf(halves), HighHalf(halves)), shift);
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(y + r)), _mm_shuffle_epi8(sum, low));
  }
}

void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw,
                      int32_t qy) {
  const int32_t whole_cols = cols & ~7;
  const double reciprocal = 1.0 / static_cast<double>(int64_t{1} << (qx - qy + qw));
  const __m256i offset = _mm256_set1_epi32(static_cast<int32_t>(kPairOffset));
  const __m256i low = _mm256_set1_epi64x(0xFFFFFFFF);
  for (int32_t r = 0; r < rows; ++r, weights += cols) {
    __m256i even = _mm256_setzero_si256();
    __m256i odd = _mm256_setzero_si256();
    int32_t j = 0;
    int64_t pair_count = 0;
    for (; j + 16 <= whole_cols; j += 16, pair_count += 8) {
      const __m256i pairs = _mm256_add_epi32(_mm256_madd_epi16(Load(x + j), Load(weights + j)), offset);
      even = _mm256_add_epi64(even, _mm256_and_si256(pairs, low));
      odd = _mm256_add_epi64(odd, _mm256_srli_epi64(pairs, 32));
    }
    if (j < whole_cols) {
      const __m256i pairs = _mm256_add_epi32(_mm256_madd_epi16(LoadLow(x + j), LoadLow(weights + j)), offset);
      even = _mm256_add_epi64(even, _mm256_and_si256(pairs, low));
      odd = _mm256_add_epi64(odd, _mm256_srli_epi64(pairs, 32));
      pair_count += 8;
    }
    const __m256i quarters = _mm256_add_epi64(even, odd);
    const __m128i half = _mm_add_epi64(LowHalf(quarters), HighHalf(quarters));
    const int64_t sum = _mm_extract_epi64(half, 0) + _mm_extract_epi64(half, 1) - kPairOffset * pair_count;
    // At most 2^31 products of 2^30: the value fits 64 bits.
    int64_t v = static_cast<int64_t>(static_cast<double>(sum) * reciprocal + 0.5);
    if (v > 32767) v = 32767;
    if (v < -32767) v = -32767;
    y[r] = static_cast<int16_t>(v);
  }
}

}  // namespace avx2
}  // namespace TSEG
