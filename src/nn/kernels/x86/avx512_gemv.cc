// SPDX-License-Identifier: Apache-2.0
//
// The matrix products of the recurrent network on 512-bit vectors, eight rows at a time. Built with flags of its own, so it includes no
// header with inline functions.
//
// Wrapping sums do not depend on their order; where a sum saturates or is widened, the steps are those of the reference. What is left of
// the columns behind the last whole vector is loaded under a mask, and meets zeros; what is left of the rows goes to the kernels of AVX2.
#if !defined(__AVX512F__) || !defined(__AVX512BW__) || !defined(__AVX512DQ__) || !defined(__AVX512VL__) || !defined(__AVX512VNNI__)
#error "this file needs the flags of the avx512 level"
#endif

#include <immintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace avx512 {
namespace {

// Sums of products below 2^22 stay within 32 bits for this many columns.
constexpr int32_t kSplitColumns = 480;

__m512i Load(const void* p) { return _mm512_loadu_si512(p); }
// The first `n` values, fewer than a vector holds, and zeros behind them.
__m512i LoadFirst(const int16_t* p, int32_t n) { return _mm512_maskz_loadu_epi16((1u << n) - 1, p); }
__m512i LoadFirst(const int8_t* p, int32_t n) { return _mm512_maskz_loadu_epi8((1ull << n) - 1, p); }

// a0 + a2, b0 + b2, a1 + a3, b1 + b3 in each quarter.
__m512i FoldPairs(__m512i a, __m512i b) { return _mm512_add_epi32(_mm512_unpacklo_epi32(a, b), _mm512_unpackhi_epi32(a, b)); }
// The 32-bit sums over each quarter of four vectors, wrapping, side by side in that quarter.
__m512i FoldQuarters(__m512i a, __m512i b, __m512i c, __m512i d) {
  const __m512i ab = FoldPairs(a, b);
  const __m512i cd = FoldPairs(c, d);
  return _mm512_add_epi32(_mm512_unpacklo_epi64(ab, cd), _mm512_unpackhi_epi64(ab, cd));
}

// Sums of eight rows, in registers: named one by one, since an array would live in memory.
struct Rows8 {
  __m512i r0, r1, r2, r3, r4, r5, r6, r7;
  Rows8() { r0 = r1 = r2 = r3 = r4 = r5 = r6 = r7 = _mm512_setzero_si512(); }

  // Replaces each sum by step(sum, weights of its row). `load` gives the weights at an offset from those of the first row.
  template <typename Load, typename Step>
  __attribute__((always_inline)) void Each(int64_t stride, Load load, Step step) {
    r0 = step(r0, load(0));
    r1 = step(r1, load(stride));
    r2 = step(r2, load(2 * stride));
    r3 = step(r3, load(3 * stride));
    r4 = step(r4, load(4 * stride));
    r5 = step(r5, load(5 * stride));
    r6 = step(r6, load(6 * stride));
    r7 = step(r7, load(7 * stride));
  }
  // The eight sums, wrapping, in the order of the rows.
  __attribute__((always_inline)) __m256i Total() const {
    const __m512i low = FoldQuarters(r0, r1, r2, r3);
    const __m512i high = FoldQuarters(r4, r5, r6, r7);
    const __m512i halves = _mm512_add_epi32(_mm512_shuffle_i32x4(low, high, 0x44), _mm512_shuffle_i32x4(low, high, 0xEE));
    return _mm512_castsi512_si256(_mm512_add_epi32(_mm512_shuffle_i32x4(halves, halves, 0x88), _mm512_shuffle_i32x4(halves, halves, 0xDD)));
  }
};

// Runs over the columns below `end` of eight rows: take(vector of x, loader of weights) for each vector of them.
template <typename T, typename Take>
__attribute__((always_inline)) inline void OverColumns(const T* x, const T* weights, int32_t begin, int32_t end, Take take) {
  constexpr int32_t kWidth = 64 / static_cast<int32_t>(sizeof(T));
  int32_t j = begin;
  for (; j + kWidth <= end; j += kWidth) {
    const T* w = weights + j;
    take(Load(x + j), [w](int64_t at) { return Load(w + at); });
  }
  if (j < end) {
    const T* w = weights + j;
    const int32_t n = end - j;
    take(LoadFirst(x + j, n), [w, n](int64_t at) { return LoadFirst(w + at, n); });
  }
}

// The eight exact sums of 16-bit products over the columns below `whole_cols`. The activations are taken as 256 * high + low with
// |low| <= 128 and |high| <= 128: neither part can leave 32 bits within kSplitColumns columns, and the parts meet in 64 bits.
__attribute__((always_inline)) inline __m512i ExactSums(const int16_t* x, const int16_t* weights, int64_t stride, int32_t whole_cols) {
  __m512i sum = _mm512_setzero_si512();
  for (int32_t begin = 0; begin < whole_cols; begin += kSplitColumns) {
    const int32_t end = whole_cols - begin > kSplitColumns ? begin + kSplitColumns : whole_cols;
    Rows8 low_sums, high_sums;
    OverColumns(
        x, weights, begin, end, [&](__m512i v, auto load) __attribute__((always_inline)) {
          const __m512i low = _mm512_srai_epi16(_mm512_slli_epi16(v, 8), 8);
          const __m512i high = _mm512_sub_epi16(_mm512_srai_epi16(v, 8), _mm512_srai_epi16(low, 15));
          low_sums.Each(stride, load, [low](__m512i sums, __m512i w) { return _mm512_dpwssd_epi32(sums, low, w); });
          high_sums.Each(stride, load, [high](__m512i sums, __m512i w) { return _mm512_dpwssd_epi32(sums, high, w); });
        });
    sum = _mm512_add_epi64(sum, _mm512_cvtepi32_epi64(low_sums.Total()));
    sum = _mm512_add_epi64(sum, _mm512_slli_epi64(_mm512_cvtepi32_epi64(high_sums.Total()), 8));
  }
  return sum;
}

}  // namespace

void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const __m256d f = _mm256_set1_pd(static_cast<double>(static_cast<float>(static_cast<double>(s) / 1073676288.0)));
  for (int32_t r = 0; r + 4 <= rows; r += 4, weights += 4 * stride) {
    __m512i sum = _mm512_setzero_si512();
    OverColumns(
        x, weights, 0, whole_cols, [&](__m512i v, auto load) __attribute__((always_inline)) {
          // In each quarter the wrapped sums of 8 columns, a value for each row.
          const __m512i eight = FoldQuarters(_mm512_madd_epi16(v, load(0)), _mm512_madd_epi16(v, load(stride)),
                                             _mm512_madd_epi16(v, load(2 * stride)), _mm512_madd_epi16(v, load(3 * stride)));
          sum = _mm512_add_epi64(sum, _mm512_cvtepi32_epi64(_mm512_castsi512_si256(eight)));
          sum = _mm512_add_epi64(sum, _mm512_cvtepi32_epi64(_mm512_extracti64x4_epi64(eight, 1)));
        });
    const __m256i total = _mm256_add_epi64(_mm512_castsi512_si256(sum), _mm512_extracti64x4_epi64(sum, 1));
    _mm_storeu_ps(y + r, _mm256_cvtpd_ps(_mm256_mul_pd(_mm256_cvtepi64_pd(total), f)));
  }
}

void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const __m512d f = _mm512_set1_pd(static_cast<double>(static_cast<float>(static_cast<double>(s) * 6.103515625e-05)));
  const __m512i up = _mm512_set1_epi8(-128);
  const __m512i lower = _mm512_set1_epi32(1);  // takes the lower 16 bits of 32
  int32_t r = 0;
  for (; r + 8 <= rows; r += 8, weights += 8 * stride) {
    Rows8 sums;
    OverColumns(
        x, weights, 0, whole_cols, [&](__m512i v, auto load) __attribute__((always_inline)) {
          const __m512i shifted = _mm512_xor_si512(v, up);
          sums.Each(stride, load, [shifted, lower](__m512i sum, __m512i w) {
            const __m512i pairs = _mm512_maddubs_epi16(shifted, w);
            const __m512i fours = _mm512_adds_epi16(pairs, _mm512_ror_epi32(pairs, 16));  // the same sum in both halves
            return _mm512_dpwssd_epi32(sum, fours, lower);
          });
        });
    _mm256_storeu_ps(y + r, _mm512_cvtpd_ps(_mm512_mul_pd(_mm512_cvtepi32_pd(sums.Total()), f)));
  }
  if (r < rows) avx2::GemvInt8ToFloat(x, rows - r, cols, weights, y + r, s);
}

void GemvInt8Unclipped(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  const __m512d f = _mm512_set1_pd(static_cast<double>(static_cast<float>(static_cast<double>(s) * 6.103515625e-05)));
  const __m512i up = _mm512_set1_epi8(-128);
  int32_t r = 0;
  for (; r + 8 <= rows; r += 8, weights += 8 * stride) {
    Rows8 sums;
    OverColumns(
        x, weights, 0, whole_cols, [&](__m512i v, auto load) __attribute__((always_inline)) {
          const __m512i shifted = _mm512_xor_si512(v, up);
          sums.Each(stride, load, [shifted](__m512i sum, __m512i w) { return _mm512_dpbusd_epi32(sum, shifted, w); });
        });
    _mm256_storeu_ps(y + r, _mm512_cvtpd_ps(_mm512_mul_pd(_mm512_cvtepi32_pd(sums.Total()), f)));
  }
  if (r < rows) avx2::GemvInt8ToFloat(x, rows - r, cols, weights, y + r, s);
}

void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const __m128i shift = _mm_cvtsi32_si128(qx - qy + qw);
  int32_t r = 0;
  for (; r + 8 <= rows; r += 8, weights += 8 * stride) {
    Rows8 sums;
    OverColumns(
        x, weights, 0, whole_cols, [&](__m512i v, auto load) __attribute__((always_inline)) {
          sums.Each(stride, load, [v](__m512i sum, __m512i w) { return _mm512_dpwssd_epi32(sum, v, w); });
        });
    const __m128i narrow = _mm256_cvtepi32_epi16(_mm256_sra_epi32(sums.Total(), shift));
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(y + r)), narrow);
  }
  if (r < rows) avx2::GemvFixed(x, rows - r, cols, weights, y + r, qx, qw, qy);
}

void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw,
                      int32_t qy) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const __m512d reciprocal = _mm512_set1_pd(1.0 / static_cast<double>(int64_t{1} << (qx - qy + qw)));
  const __m512d bound = _mm512_set1_pd(32767.0);
  int32_t r = 0;
  for (; r + 8 <= rows; r += 8, weights += 8 * stride) {
    const __m512d sum = _mm512_cvtepi64_pd(ExactSums(x, weights, stride, whole_cols));
    const __m512d half_up = _mm512_add_pd(_mm512_mul_pd(sum, reciprocal), _mm512_set1_pd(0.5));
    const __m512d held = _mm512_max_pd(_mm512_min_pd(half_up, bound), _mm512_sub_pd(_mm512_setzero_pd(), bound));
    const __m128i narrow = _mm256_cvtepi32_epi16(_mm512_cvttpd_epi32(held));
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(y + r)), narrow);
  }
  if (r < rows) avx2::GemvFixedClamped(x, rows - r, cols, weights, y + r, qx, qw, qy);
}

}  // namespace avx512
}  // namespace TSEG
