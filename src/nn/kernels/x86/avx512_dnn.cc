// SPDX-License-Identifier: Apache-2.0
//
// The matrix products of the feed-forward network on 512-bit vectors, four rows at a time. Built with flags of its own, so it includes no
// header with inline functions.
//
// Wrapping sums do not depend on their order, and the saturating pairs are the pairs of the reference, so the bits are the same. What is
// left of the columns behind the last whole vector is loaded under a mask, and meets zeros.
#if !defined(__AVX512F__) || !defined(__AVX512BW__) || !defined(__AVX512DQ__) || !defined(__AVX512VL__) || !defined(__AVX512VNNI__)
#error "this file needs the flags of the avx512 level"
#endif

#include <immintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace avx512 {
namespace {

__m512i Load(const void* p) { return _mm512_loadu_si512(p); }
// The first `n` values, fewer than a vector holds, and zeros behind them.
__m512i LoadFirst(const int16_t* p, int32_t n) { return _mm512_maskz_loadu_epi16((1u << n) - 1, p); }
__m512i LoadFirst(const void* p, int32_t n) { return _mm512_maskz_loadu_epi8((1ull << n) - 1, p); }

__m512i FoldPairs(__m512i a, __m512i b) { return _mm512_add_epi32(_mm512_unpacklo_epi32(a, b), _mm512_unpackhi_epi32(a, b)); }

// The sums of a frame by four rows, in registers: named one by one, since an array would live in memory.
struct Frame {
  __m512i r0, r1, r2, r3;
  Frame() { r0 = r1 = r2 = r3 = _mm512_setzero_si512(); }

  template <typename Step>
  __attribute__((always_inline)) void Add(__m512i x, __m512i w0, __m512i w1, __m512i w2, __m512i w3, Step step) {
    r0 = step(r0, x, w0);
    r1 = step(r1, x, w1);
    r2 = step(r2, x, w2);
    r3 = step(r3, x, w3);
  }
  // The four sums, wrapping.
  __attribute__((always_inline)) __m128i Total() const {
    const __m512i r01 = FoldPairs(r0, r1);
    const __m512i r23 = FoldPairs(r2, r3);
    const __m512i quarters = _mm512_add_epi32(_mm512_unpacklo_epi64(r01, r23), _mm512_unpackhi_epi64(r01, r23));
    const __m256i halves = _mm256_add_epi32(_mm512_castsi512_si256(quarters), _mm512_extracti64x4_epi64(quarters, 1));
    return _mm_add_epi32(_mm256_castsi256_si128(halves), _mm256_extracti128_si256(halves, 1));
  }
};

void Store(int32_t* out, __m128i sums, bool all) {
  if (all) {
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(out)), sums);
  } else {
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(out)), sums);
  }
}
// The low 16 bits of each.
void Store(int16_t* out, __m128i sums, bool all) {
  const __m128i narrow = _mm_cvtepi32_epi16(sums);
  __builtin_memcpy(out, &narrow, all ? 8 : 4);
}

// The products of 4 frames with the rows, which go two at a time: where two are left, they stand in for the two behind them as well.
template <typename X, typename W, typename Sum, typename Step>
__attribute__((always_inline)) inline void Gemm(const X* frames, int32_t rows, int32_t cols, int32_t whole_cols, const W* weights, Sum* out,
                                                Step step) {
  constexpr int32_t kWidth = 64 / static_cast<int32_t>(sizeof(W));
  const int64_t stride = cols;
  const X* const x0 = frames;
  const X* const x1 = x0 + stride;
  const X* const x2 = x1 + stride;
  const X* const x3 = x2 + stride;
  for (int32_t r = 0; r + 2 <= rows; r += 4, weights += 4 * stride, out += 4) {
    const bool all = r + 4 <= rows;
    const W* const w0 = weights;
    const W* const w1 = w0 + stride;
    const W* const w2 = all ? w1 + stride : w0;
    const W* const w3 = all ? w2 + stride : w1;
    Frame f0, f1, f2, f3;
    int32_t j = 0;
    for (; j + kWidth <= whole_cols; j += kWidth) {
      const __m512i a = Load(w0 + j), b = Load(w1 + j), c = Load(w2 + j), d = Load(w3 + j);
      f0.Add(Load(x0 + j), a, b, c, d, step);
      f1.Add(Load(x1 + j), a, b, c, d, step);
      f2.Add(Load(x2 + j), a, b, c, d, step);
      f3.Add(Load(x3 + j), a, b, c, d, step);
    }
    if (j < whole_cols) {
      const int32_t n = whole_cols - j;
      const __m512i a = LoadFirst(w0 + j, n), b = LoadFirst(w1 + j, n), c = LoadFirst(w2 + j, n), d = LoadFirst(w3 + j, n);
      f0.Add(LoadFirst(x0 + j, n), a, b, c, d, step);
      f1.Add(LoadFirst(x1 + j, n), a, b, c, d, step);
      f2.Add(LoadFirst(x2 + j, n), a, b, c, d, step);
      f3.Add(LoadFirst(x3 + j, n), a, b, c, d, step);
    }
    Store(out, f0.Total(), all);
    Store(out + rows, f1.Total(), all);
    Store(out + 2 * static_cast<int64_t>(rows), f2.Total(), all);
    Store(out + 3 * static_cast<int64_t>(rows), f3.Total(), all);
  }
}

}  // namespace

void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out) {
  Gemm(frames, rows, cols, cols & ~7, weights, out, [](__m512i sum, __m512i x, __m512i w) { return _mm512_dpwssd_epi32(sum, x, w); });
}

void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  const __m512i ones = _mm512_set1_epi16(1);
  Gemm(frames, rows, cols, cols & ~15, weights, out,
       [ones](__m512i sum, __m512i x, __m512i w) { return _mm512_dpwssd_epi32(sum, _mm512_maddubs_epi16(x, w), ones); });
}

void DnnGemmInt8Unclipped(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  Gemm(frames, rows, cols, cols & ~15, weights, out, [](__m512i sum, __m512i x, __m512i w) { return _mm512_dpbusd_epi32(sum, x, w); });
}

}  // namespace avx512
}  // namespace TSEG
