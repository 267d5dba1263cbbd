// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the feed-forward network on 128-bit vectors. Built with flags of its own, so it includes no header with inline functions.
//
// Wrapping sums do not depend on their order, and the saturating pairs are the pairs of the reference, so the bits are the same.
// Conversions that leave the 32-bit range are rare and go through the reference.
#ifndef __SSE4_1__
#error "this file needs -msse4.1"
#endif

#include <smmintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace sse41 {
namespace {

__m128i Load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

// The four 32-bit sums of a, b, c, d.
__m128i Sums32(__m128i a, __m128i b, __m128i c, __m128i d) { return _mm_hadd_epi32(_mm_hadd_epi32(a, b), _mm_hadd_epi32(c, d)); }

void StoreLow2(int32_t* out, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(out)), v); }

// The sums of 4 frames by 2 rows, in registers: named one by one, since an array would live in memory.
struct Sums {
  __m128i f0r0, f0r1, f1r0, f1r1, f2r0, f2r1, f3r0, f3r1;
  Sums() { f0r0 = f0r1 = f1r0 = f1r1 = f2r0 = f2r1 = f3r0 = f3r1 = _mm_setzero_si128(); }

  // Adds the products of one vector of each frame with one of each row: pairs wrapping at 32 bits.
  __attribute__((always_inline)) void Add16(__m128i w0, __m128i w1, __m128i x0, __m128i x1, __m128i x2, __m128i x3) {
    f0r0 = _mm_add_epi32(f0r0, _mm_madd_epi16(x0, w0));
    f0r1 = _mm_add_epi32(f0r1, _mm_madd_epi16(x0, w1));
    f1r0 = _mm_add_epi32(f1r0, _mm_madd_epi16(x1, w0));
    f1r1 = _mm_add_epi32(f1r1, _mm_madd_epi16(x1, w1));
    f2r0 = _mm_add_epi32(f2r0, _mm_madd_epi16(x2, w0));
    f2r1 = _mm_add_epi32(f2r1, _mm_madd_epi16(x2, w1));
    f3r0 = _mm_add_epi32(f3r0, _mm_madd_epi16(x3, w0));
    f3r1 = _mm_add_epi32(f3r1, _mm_madd_epi16(x3, w1));
  }
  // The same for bytes: pairs saturating to 16 bits, the sums wrapping.
  __attribute__((always_inline)) void Add8(__m128i w0, __m128i w1, __m128i x0, __m128i x1, __m128i x2, __m128i x3) {
    f0r0 = _mm_add_epi16(f0r0, _mm_maddubs_epi16(x0, w0));
    f0r1 = _mm_add_epi16(f0r1, _mm_maddubs_epi16(x0, w1));
    f1r0 = _mm_add_epi16(f1r0, _mm_maddubs_epi16(x1, w0));
    f1r1 = _mm_add_epi16(f1r1, _mm_maddubs_epi16(x1, w1));
    f2r0 = _mm_add_epi16(f2r0, _mm_maddubs_epi16(x2, w0));
    f2r1 = _mm_add_epi16(f2r1, _mm_maddubs_epi16(x2, w1));
    f3r0 = _mm_add_epi16(f3r0, _mm_maddubs_epi16(x3, w0));
    f3r1 = _mm_add_epi16(f3r1, _mm_maddubs_epi16(x3, w1));
  }
};

// Whether a lane of a conversion to 32 bits did not fit (or is the lowest value, which the slow way gives as well).
bool AnyOverflow(__m128i v) { return _mm_movemask_epi8(_mm_cmpeq_epi32(v, _mm_set1_epi32(INT32_MIN))) != 0; }

// bias + v * f for four values, cut to 32 bits.
__m128i Bias4(__m128i v, __m128i bias, __m128d f) {
  const __m128d low = _mm_add_pd(_mm_cvtepi32_pd(bias), _mm_mul_pd(_mm_cvtepi32_pd(v), f));
  const __m128d high =
      _mm_add_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(bias, 0xEE)), _mm_mul_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE)), f));
  return _mm_unpacklo_epi64(_mm_cvttpd_epi32(low), _mm_cvttpd_epi32(high));
}

struct Sigmoid8 {
  __m128i round_in, round_out, top;
  __m128i shift_in, shift_out;
  const int32_t* table;
  Sigmoid8(int32_t a, int32_t b)
      : round_in(_mm_set1_epi32(static_cast<int32_t>(1u << (a + 4)))),
        round_out(_mm_set1_epi32(static_cast<int32_t>(1u << (29 - b)))),
        top(_mm_set1_epi32(static_cast<int32_t>((1u << b) & 255u))),
        shift_in(_mm_cvtsi32_si128(a - 8)),
        shift_out(_mm_cvtsi32_si128(30 - b)),
        table(SigmoidQ30()) {}

  // Four outputs in 0..255.
  __m128i operator()(__m128i v) const {
    const __m128i i = _mm_sra_epi32(_mm_add_epi32(v, round_in), shift_in);
    const __m128i at = _mm_min_epi32(_mm_max_epi32(i, _mm_setzero_si128()), _mm_set1_epi32(kSigmoidQ30Entries));
    const __m128i entry = _mm_setr_epi32(table[_mm_cvtsi128_si32(at)], table[_mm_extract_epi32(at, 1)], table[_mm_extract_epi32(at, 2)],
                                         table[_mm_extract_epi32(at, 3)]);
    __m128i y = _mm_and_si128(_mm_sra_epi32(_mm_add_epi32(entry, round_out), shift_out), _mm_set1_epi32(255));
    y = _mm_blendv_epi8(y, top, _mm_cmpgt_epi32(i, _mm_set1_epi32(kSigmoidQ30Entries - 1)));
    return _mm_and_si128(y, _mm_cmpgt_epi32(i, _mm_setzero_si128()));
  }
};

}  // namespace

void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  for (int32_t r = 0; r + 2 <= rows; r += 2, weights += 2 * stride, out += 2) {
    Sums sum;
    for (int32_t j = 0; j < whole_cols; j += 8) {
      sum.Add16(Load(weights + j), Load(weights + stride + j), Load(frames + j), Load(frames + stride + j), Load(frames + 2 * stride + j),
                Load(frames + 3 * stride + j));
    }
    const __m128i y01 = Sums32(sum.f0r0, sum.f0r1, sum.f1r0, sum.f1r1);
    const __m128i y23 = Sums32(sum.f2r0, sum.f2r1, sum.f3r0, sum.f3r1);
    const int64_t frame = rows;
    StoreLow2(out, y01);
    StoreLow2(out + frame, _mm_shuffle_epi32(y01, 0xEE));
    StoreLow2(out + 2 * frame, y23);
    StoreLow2(out + 3 * frame, _mm_shuffle_epi32(y23, 0xEE));
  }
}

void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~15;
  for (int32_t r = 0; r + 2 <= rows; r += 2, weights += 2 * stride, out += 2) {
    Sums sum;
    for (int32_t j = 0; j < whole_cols; j += 16) {
      sum.Add8(Load(weights + j), Load(weights + stride + j), Load(frames + j), Load(frames + stride + j), Load(frames + 2 * stride + j),
               Load(frames + 3 * stride + j));
    }
    // Eight sums of eight lanes each in three rounds, which leaves the eight results in the order of (frame, row).
    const __m128i y01 = _mm_hadd_epi16(_mm_hadd_epi16(sum.f0r0, sum.f0r1), _mm_hadd_epi16(sum.f1r0, sum.f1r1));
    const __m128i y23 = _mm_hadd_epi16(_mm_hadd_epi16(sum.f2r0, sum.f2r1), _mm_hadd_epi16(sum.f3r0, sum.f3r1));
    int16_t y[8];
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(y)), _mm_hadd_epi16(y01, y23));
    for (int64_t f = 0; f < 4; ++f) {
      out[f * rows] = y[2 * f];
      out[f * rows + 1] = y[2 * f + 1];
    }
  }
}

void DnnBias32(int32_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const __m128d f = _mm_set1_pd(DnnBiasFactor(p, q));
  for (int32_t r = 0; r < n; ++r, values += width) {
    int32_t j = 0;
    for (; j + 4 <= width; j += 4) {
      const __m128i y = Bias4(Load(values + j), Load(bias + j), f);
      if (AnyOverflow(y)) {
        ref::DnnBias32(values + j, 1, 4, bias + j, p, q);
      } else {
        _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(values + j)), y);
      }
    }
    if (j < width) ref::DnnBias32(values + j, 1, width - j, bias + j, p, q);
  }
}

void DnnBias16(int16_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const __m128d f = _mm_set1_pd(DnnBiasFactor(p, q));
  const __m128i low = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  for (int32_t r = 0; r < n; ++r, values += width) {
    int32_t j = 0;
    for (; j + 8 <= width; j += 8) {
      const __m128i v = Load(values + j);
      const __m128i y0 = Bias4(_mm_cvtepi16_epi32(v), Load(bias + j), f);
      const __m128i y1 = Bias4(_mm_cvtepi16_epi32(_mm_srli_si128(v, 8)), Load(bias + j + 4), f);
      if (AnyOverflow(y0) || AnyOverflow(y1)) {
        ref::DnnBias16(values + j, 1, 8, bias + j, p, q);
      } else {
        const __m128i y = _mm_unpacklo_epi64(_mm_shuffle_epi8(y0, low), _mm_shuffle_epi8(y1, low));
        _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(values + j)), y);
      }
    }
    if (j < width) ref::DnnBias16(values + j, 1, width - j, bias + j, p, q);
  }
}

void SigmoidTable8Of32(const int32_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out) {
  const Sigmoid8 sigmoid(a, b);
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const __m128i y = _mm_packus_epi32(sigmoid(Load(in + j)), sigmoid(Load(in + j + 4)));
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(out + j)), _mm_packus_epi16(y, y));
  }
  if (j < n) ref::SigmoidTable8Of32(in + j, n - j, a, b, out + j);
}

void SigmoidTable8Of16(const int16_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out) {
  const Sigmoid8 sigmoid(a, b);
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const __m128i v = Load(in + j);
    const __m128i y = _mm_packus_epi32(sigmoid(_mm_cvtepi16_epi32(v)), sigmoid(_mm_cvtepi16_epi32(_mm_srli_si128(v, 8))));
    _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(out + j)), _mm_packus_epi16(y, y));
  }
  if (j < n) ref::SigmoidTable8Of16(in + j, n - j, a, b, out + j);
}

void NormaliseRun(float* x, int32_t n, const float* mean, const float* inv_std) {
  int32_t j = 0;
  for (; j + 4 <= n; j += 4) {
    _mm_storeu_ps(x + j, _mm_mul_ps(_mm_sub_ps(_mm_loadu_ps(x + j), _mm_loadu_ps(mean + j)), _mm_loadu_ps(inv_std + j)));
  }
  for (; j < n; ++j) {
    const float centred = x[j] - mean[j];
    x[j] = centred * inv_std[j];
  }
}

void CutToInt16(const float* x, int32_t n, float scale, int16_t* out) {
  const __m128 factor = _mm_set1_ps(scale);
  const __m128i low = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const __m128i y0 = _mm_cvttps_epi32(_mm_mul_ps(_mm_loadu_ps(x + j), factor));
    const __m128i y1 = _mm_cvttps_epi32(_mm_mul_ps(_mm_loadu_ps(x + j + 4), factor));
    if (AnyOverflow(y0) || AnyOverflow(y1)) {
      ref::CutToInt16(x + j, 8, scale, out + j);
    } else {
      const __m128i y = _mm_unpacklo_epi64(_mm_shuffle_epi8(y0, low), _mm_shuffle_epi8(y1, low));
      _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(out + j)), y);
    }
  }
  if (j < n) ref::CutToInt16(x + j, n - j, scale, out + j);
}

}  // namespace sse41
}  // namespace TSEG
