/* SPDX-License-Identifier: Apache-2.0
 *
 * The few intrinsics that libsoxr asks of an x86 processor, on the compiler's own vectors: 128-bit instructions of WebAssembly where the
 * build has them, plain ones otherwise, and the same bits both ways. Lane 0 is the lowest. */
#ifndef WVAD_JS_SOXR_XMMINTRIN_H_
#define WVAD_JS_SOXR_XMMINTRIN_H_

typedef float __m128 __attribute__((vector_size(16)));
typedef float wvad_unaligned_m128 __attribute__((vector_size(16), aligned(4)));

/* Lanes 0 and 1 from `a`, 2 and 3 from `b`. */
#define _MM_SHUFFLE(d, c, b, a) (((d) << 6) | ((c) << 4) | ((b) << 2) | (a))
#define _mm_shuffle_ps(a, b, lanes) \
  __builtin_shufflevector((a), (b), (lanes)&3, ((lanes) >> 2) & 3, (((lanes) >> 4) & 3) + 4, (((lanes) >> 6) & 3) + 4)
#define _mm_movehl_ps(a, b) __builtin_shufflevector((a), (b), 6, 7, 2, 3)
#define _mm_unpacklo_ps(a, b) __builtin_shufflevector((a), (b), 0, 4, 1, 5)
#define _mm_unpackhi_ps(a, b) __builtin_shufflevector((a), (b), 2, 6, 3, 7)
#define _MM_TRANSPOSE4_PS(row0, row1, row2, row3)               \
  do {                                                          \
    const __m128 low01 = _mm_unpacklo_ps(row0, row1);           \
    const __m128 low23 = _mm_unpacklo_ps(row2, row3);           \
    const __m128 high01 = _mm_unpackhi_ps(row0, row1);          \
    const __m128 high23 = _mm_unpackhi_ps(row2, row3);          \
    row0 = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);   \
    row1 = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);   \
    row2 = __builtin_shufflevector(high01, high23, 0, 1, 4, 5); \
    row3 = __builtin_shufflevector(high01, high23, 2, 3, 6, 7); \
  } while (0)

static inline __m128 _mm_setzero_ps(void) { return (__m128){0, 0, 0, 0}; }
static inline __m128 _mm_set_ss(float v) { return (__m128){v, 0, 0, 0}; }
static inline __m128 _mm_set1_ps(float v) { return (__m128){v, v, v, v}; }
static inline __m128 _mm_mul_ps(__m128 a, __m128 b) { return a * b; }
static inline __m128 _mm_add_ps(__m128 a, __m128 b) { return a + b; }
static inline __m128 _mm_sub_ps(__m128 a, __m128 b) { return a - b; }
static inline __m128 _mm_load_ps(const float* p) { return *(const __m128*)p; }
static inline __m128 _mm_loadu_ps(const float* p) { return *(const wvad_unaligned_m128*)p; }
static inline __m128 _mm_load_ss(const float* p) { return (__m128){*p, 0, 0, 0}; }
static inline __m128 _mm_add_ss(__m128 a, __m128 b) { return (__m128){a[0] + b[0], a[1], a[2], a[3]}; }
static inline __m128 _mm_mul_ss(__m128 a, __m128 b) { return (__m128){a[0] * b[0], a[1], a[2], a[3]}; }
static inline void _mm_store_ss(float* p, __m128 v) { *p = v[0]; }

#endif /* WVAD_JS_SOXR_XMMINTRIN_H_ */
