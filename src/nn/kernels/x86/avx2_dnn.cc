// SPDX-License-Identifier: Apache-2.0
//
// The kernels of the feed-forward network on 256-bit vectors. Built with flags of its own, so it includes no header with inline functions.
//
// Wrapping sums do not depend on their order, and the saturating pairs are the pairs of the reference, so the bits are the same.
// Conversions that leave the 32-bit range are rare and go through the reference.
#ifndef __AVX2__
#error "this file needs -mavx2"
#endif

#include <immintrin.h>

#include "nn/kernels/x86/levels.h"

namespace TSEG {
namespace avx2 {
namespace {

__m256i Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
__m128i LoadHalf(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
// 16 bytes, and zeros above them.
__m256i LoadLow(const void* p) { return _mm256_inserti128_si256(_mm256_setzero_si256(), LoadHalf(p), 0); }

__m128i FoldHalves32(__m256i v) { return _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)); }
__m128i FoldHalves16(__m256i v) { return _mm_add_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)); }

void StoreLow2(int32_t* out, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(out)), v); }

// The sums of 4 frames by 2 rows, in registers: named one by one, since an array would live in memory.
struct Sums {
  __m256i f0r0, f0r1, f1r0, f1r1, f2r0, f2r1, f3r0, f3r1;
  Sums() { f0r0 = f0r1 = f1r0 = f1r1 = f2r0 = f2r1 = f3r0 = f3r1 = _mm256_setzero_si256(); }

  // Adds the products of one vector of each frame with one of each row: pairs wrapping at 32 bits.
  __attribute__((always_inline)) void Add16(__m256i w0, __m256i w1, __m256i x0, __m256i x1, __m256i x2, __m256i x3) {
    f0r0 = _mm256_add_epi32(f0r0, _mm256_madd_epi16(x0, w0));
    f0r1 = _mm256_add_epi32(f0r1, _mm256_madd_epi16(x0, w1));
    f1r0 = _mm256_add_epi32(f1r0, _mm256_madd_epi16(x1, w0));
    f1r1 = _mm256_add_epi32(f1r1, _mm256_madd_epi16(x1, w1));
    f2r0 = _mm256_add_epi32(f2r0, _mm256_madd_epi16(x2, w0));
    f2r1 = _mm256_add_epi32(f2r1, _mm256_madd_epi16(x2, w1));
    f3r0 = _mm256_add_epi32(f3r0, _mm256_madd_epi16(x3, w0));
    f3r1 = _mm256_add_epi32(f3r1, _mm256_madd_epi16(x3, w1));
  }
  // The same for bytes: pairs saturating to 16 bits, the sums wrapping.
  __attribute__((always_inline)) void Add8(__m256i w0, __m256i w1, __m256i x0, __m256i x1, __m256i x2, __m256i x3) {
    f0r0 = _mm256_add_epi16(f0r0, _mm256_maddubs_epi16(x0, w0));
    f0r1 = _mm256_add_epi16(f0r1, _mm256_maddubs_epi16(x0, w1));
    f1r0 = _mm256_add_epi16(f1r0, _mm256_maddubs_epi16(x1, w0));
    f1r1 = _mm256_add_epi16(f1r1, _mm256_maddubs_epi16(x1, w1));
    f2r0 = _mm256_add_epi16(f2r0, _mm256_maddubs_epi16(x2, w0));
    f2r1 = _mm256_add_epi16(f2r1, _mm256_maddubs_epi16(x2, w1));
    f3r0 = _mm256_add_epi16(f3r0, _mm256_maddubs_epi16(x3, w0));
    f3r1 = _mm256_add_epi16(f3r1, _mm256_maddubs_epi16(x3, w1));
  }
};

bool AnyOverflow(__m128i v) { return _mm_movemask_epi8(_mm_cmpeq_epi32(v, _mm_set1_epi32(INT32_MIN))) != 0; }
bool AnyOverflow(__m256i v) { return _mm256_movemask_epi8(_mm256_cmpeq_epi32(v, _mm256_set1_epi32(INT32_MIN))) != 0; }

// bias + v * f for four values, cut to 32 bits.
__m128i Bias4(__m128i v, __m128i bias, __m256d f) {
  return _mm256_cvttpd_epi32(_mm256_add_pd(_mm256_cvtepi32_pd(bias), _mm256_mul_pd(_mm256_cvtepi32_pd(v), f)));
}

struct Sigmoid8 {
  __m256i round_in, round_out, top;
  __m128i shift_in, shift_out;
  const int32_t* table;
  Sigmoid8(int32_t a, int32_t b)
      : round_in(_mm256_set1_epi32(static_cast<int32_t>(1u << (a + 4)))),
        round_out(_mm256_set1_epi32(static_cast<int32_t>(1u << (29 - b)))),
        top(_mm256_set1_epi32(static_cast<int32_t>((1u << b) & 255u))),
        shift_in(_mm_cvtsi32_si128(a - 8)),
        shift_out(_mm_cvtsi32_si128(30 - b)),
        table(SigmoidQ30()) {}

  // Eight outputs in 0..255.
  __m256i operator()(__m256i v) const {
    const __m256i i = _mm256_sra_epi32(_mm256_add_epi32(v, round_in), shift_in);
    const __m256i at = _mm256_min_epi32(_mm256_max_epi32(i, _mm256_setzero_si256()), _mm256_set1_epi32(kSigmoidQ30Entries));
    const __m256i entry = _mm256_i32gather_epi32(table, at, 4);
    __m256i y = _mm256_and_si256(_mm256_sra_epi32(_mm256_add_epi32(entry, round_out), shift_out), _mm256_set1_epi32(255));
    y = _mm256_blendv_epi8(y, top, _mm256_cmpgt_epi32(i, _mm256_set1_epi32(kSigmoidQ30Entries - 1)));
    return _mm256_and_si256(y, _mm256_cmpgt_epi32(i, _mm256_setzero_si256()));
  }

  // 32 bytes of four times eight outputs.
  static void Store(__m256i y0, __m256i y1, __m256i y2, __m256i y3, uint8_t* out) {
    const __m256i y = _mm256_packus_epi16(_mm256_packus_epi32(y0, y1), _mm256_packus_epi32(y2, y3));
    _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(out)),
                        _mm256_permutevar8x32_epi32(y, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
  }
};

}  // namespace

void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out) {
  const int64_t stride = cols;
  const int32_t whole_cols = cols & ~7;
  const int64_t frame = rows;
  for (int32_t r = 0; r + 2 <= rows; r += 2, weights += 2 * stride, out += 2) {
    Sums sum;
    int32_t j = 0;
    for (; j + 16 <= whole_cols; j += 16) {
      sum.Add16(Load(weights + j), Load(weights + stride + j), Load(frames + j), Load(frames + stride + j), Load(frames + 2 * stride + j),
                Load(frames + 3 * stride + j));
    }
    if (j < whole_cols) {
      sum.Add16(LoadLow(weights + j), LoadLow(weights + stride + j), LoadLow(frames + j), LoadLow(frames + stride + j),
                LoadLow(frames + 2 * stride + j), LoadLow(frames + 3 * stride + j));
    }
    const __m128i y01 = FoldHalves32(_mm256_hadd_epi32(_mm256_hadd_epi32(sum.f0r0, sum.f0r1), _mm256_hadd_epi32(sum.f1r0, sum.f1r1)));
    const __m128i y23 = FoldHalves32(_mm256_hadd_epi32(_mm256_hadd_epi32(sum.f2r0, sum.f2r1), _mm256_hadd_epi32(sum.f3r0, sum.f3r1)));
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
    int32_t j = 0;
    for (; j + 32 <= whole_cols; j += 32) {
      sum.Add8(Load(weights + j), Load(weights + stride + j), Load(frames + j), Load(frames + stride + j), Load(frames + 2 * stride + j),
               Load(frames + 3 * stride + j));
    }
    if (j < whole_cols) {
      sum.Add8(LoadLow(weights + j), LoadLow(weights + stride + j), LoadLow(frames + j), LoadLow(frames + stride + j),
               LoadLow(frames + 2 * stride + j), LoadLow(frames + 3 * stride + j));
    }
    // Eight sums of sixteen lanes each: three rounds within the halves, then the halves, in the order of (frame, row).
    const __m256i y01 = _mm256_hadd_epi16(_mm256_hadd_epi16(sum.f0r0, sum.f0r1), _mm256_hadd_epi16(sum.f1r0, sum.f1r1));
    const __m256i y23 = _mm256_hadd_epi16(_mm256_hadd_epi16(sum.f2r0, sum.f2r1), _mm256_hadd_epi16(sum.f3r0, sum.f3r1));
    int16_t y[8];
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(y)), FoldHalves16(_mm256_hadd_epi16(y01, y23)));
    for (int64_t f = 0; f < 4; ++f) {
      out[f * rows] = y[2 * f];
      out[f * rows + 1] = y[2 * f + 1];
    }
  }
}

void DnnBias32(int32_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const __m256d f = _mm256_set1_pd(DnnBiasFactor(p, q));
  for (int32_t r = 0; r < n; ++r, values += width) {
    int32_t j = 0;
    for (; j + 4 <= width; j += 4) {
      const __m128i y = Bias4(LoadHalf(values + j), LoadHalf(bias + j), f);
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
  const __m256d f = _mm256_set1_pd(DnnBiasFactor(p, q));
  const __m128i mask = _mm_set1_epi32(0xFFFF);
  for (int32_t r = 0; r < n; ++r, values += width) {
    int32_t j = 0;
    for (; j + 8 <= width; j += 8) {
      const __m128i v = LoadHalf(values + j);
      const __m128i y0 = Bias4(_mm_cvtepi16_epi32(v), LoadHalf(bias + j), f);
      const __m128i y1 = Bias4(_mm_cvtepi16_epi32(_mm_srli_si128(v, 8)), LoadHalf(bias + j + 4), f);
      if (AnyOverflow(y0) || AnyOverflow(y1)) {
        ref::DnnBias16(values + j, 1, 8, bias + j, p, q);
      } else {
        const __m128i y = _mm_packus_epi32(_mm_and_si128(y0, mask), _mm_and_si128(y1, mask));
        _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(values + j)), y);
      }
    }
    if (j < width) ref::DnnBias16(values + j, 1, width - j, bias + j, p, q);
  }
}

void SigmoidTable8Of32(const int32_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out) {
  const Sigmoid8 sigmoid(a, b);
  int32_t j = 0;
  for (; j + 32 <= n; j += 32) {
    Sigmoid8::Store(sigmoid(Load(in + j)), sigmoid(Load(in + j + 8)), sigmoid(Load(in + j + 16)), sigmoid(Load(in + j + 24)), out + j);
  }
  if (j < n) ref::SigmoidTable8Of32(in + j, n - j, a, b, out + j);
}

void SigmoidTable8Of16(const int16_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out) {
  const Sigmoid8 sigmoid(a, b);
  int32_t j = 0;
  for (; j + 32 <= n; j += 32) {
    const __m256i y0 = sigmoid(_mm256_cvtepi16_epi32(LoadHalf(in + j)));
    const __m256i y1 = sigmoid(_mm256_cvtepi16_epi32(LoadHalf(in + j + 8)));
    const __m256i y2 = sigmoid(_mm256_cvtepi16_epi32(LoadHalf(in + j + 16)));
    const __m256i y3 = sigmoid(_mm256_cvtepi16_epi32(LoadHalf(in + j + 24)));
    Sigmoid8::Store(y0, y1, y2, y3, out + j);
  }
  if (j < n) ref::SigmoidTable8Of16(in + j, n - j, a, b, out + j);
}

void NormaliseRun(float* x, int32_t n, const float* mean, const float* inv_std) {
  int32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const __m256 centred = _mm256_sub_ps(_mm256_loadu_ps(x + j), _mm256_loadu_ps(mean + j));
    _mm256_storeu_ps(x + j, _mm256_mul_ps(centred, _mm256_loadu_ps(inv_std + j)));
  }
  for (; j < n; ++j) {
    const float centred = x[j] - mean[j];
    x[j] = centred * inv_std[j];
  }
}

void CutToInt16(const float* x, int32_t n, float scale, int16_t* out) {
  const __m256 factor = _mm256_set1_ps(scale);
  const __m256i mask = _mm256_set1_epi32(0xFFFF);
  int32_t j = 0;
  for (; j + 16 <= n; j += 16) {
    const __m256i y0 = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_loadu_ps(x + j), factor));
    const __m256i y1 = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_loadu_ps(x + j + 8), factor));
    if (AnyOverflow(y0) || AnyOverflow(y1)) {
      ref::CutToInt16(x + j, 16, scale, out + j);
    } else {
      const __m256i y = _mm256_packus_epi32(_mm256_and_si256(y0, mask), _mm256_and_si256(y1, mask));
      _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(out + j)), _mm256_permute4x64_epi64(y, 0xD8));
    }
  }
  if (j < n) ref::CutToInt16(x + j, n - j, scale, out + j);
}

}  // namespace avx2
}  // namespace TSEG
