// SPDX-License-Identifier: Apache-2.0
//
// The definition of the kernels of the recurrent network. One idea a line; every wrap, saturation and rounding is written out.
#include <cmath>
#include <cstring>

#include "base/wrap.h"
#include "nn/kernels/kernels.h"

namespace TSEG {
namespace ref {
namespace {

// floor(y + 0.5) or ceil(y - 0.5), held within the range of `T`. Not-a-number gives the lowest value.
template <typename T>
T RoundHalfAway(float y, double low, double high) {
  const double rounded = y >= 0.0f ? std::floor(static_cast<double>(y) + 0.5) : std::ceil(static_cast<double>(y) - 0.5);
  if (!(rounded > low)) return static_cast<T>(low);
  if (rounded > high) return static_cast<T>(high);
  return static_cast<T>(rounded);
}

template <typename T>
void QuantInPlace(float* x, int32_t n, float s, double low, double high) {
  auto* bytes = static_cast<unsigned char*>(static_cast<void*>(x));
  for (int32_t i = 0; i < n; ++i) {
    // The narrow values take the place of the wide ones, so both go through bytes.
    float value;
    std::memcpy(&value, bytes + static_cast<size_t>(i) * sizeof(float), sizeof value);
    const float y = value * s;
    const T quantised = RoundHalfAway<T>(y, low, high);
    std::memcpy(bytes + static_cast<size_t>(i) * sizeof(T), &quantised, sizeof quantised);
  }
}

}  // namespace

void QuantInt16(float* x, int32_t n, float range) {
  QuantInPlace<int16_t>(x, n, static_cast<float>(32768.0 / static_cast<double>(range)), -32768.0, 32767.0);
}

void QuantInt8(float* x, int32_t n, float range) {
  QuantInPlace<int8_t>(x, n, static_cast<float>(128.0 / static_cast<double>(range)), -128.0, 127.0);
}

void GemvFloatSse(const float* x, int32_t rows, int32_t cols, const float* weights, float* y) {
  const int32_t whole_cols = cols & ~3;
  for (int32_t r = 0; r < rows; ++r) {
    const float* w = weights + static_cast<int64_t>(r) * cols;
    float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int32_t j = 0; j < whole_cols; ++j) {
      const float product = x[j] * w[j];
      sum[j & 3] = sum[j & 3] + product;
    }
    const double total =
        static_cast<double>(sum[0]) + static_cast<double>(sum[1]) + static_cast<double>(sum[2]) + static_cast<double>(sum[3]);
    y[r] = static_cast<float>(total);
  }
}

void GemvFloatX87(const float* x, int32_t rows, int32_t cols, const float* weights, float* y) {
  for (int32_t r = 0; r < rows; ++r) {
    const float* w = weights + static_cast<int64_t>(r) * cols;
    float sum = 0.0f;
    for (int32_t j = 0; j < cols; ++j) {
      const double product = static_cast<double>(x[j]) * static_cast<double>(w[j]);
      sum = static_cast<float>(static_cast<double>(sum) + product);
    }
    y[r] = sum;
  }
}

void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s) {
  const int32_t whole_rows = rows & ~3;
  const int32_t whole_cols = cols & ~7;
  const float f = static_cast<float>(static_cast<double>(s) / 1073676288.0);
  for (int32_t r = 0; r < whole_rows; ++r) {
    const int16_t* w = weights + static_cast<int64_t>(r) * cols;
    int64_t sum = 0;
    for (int32_t j = 0; j < whole_cols; j += 8) {
      int32_t eight = 0;
      for (int32_t k = j; k < j + 8; ++k) eight = WrapAdd32(eight, WrapMul32(x[k], w[k]));
      sum += eight;
    }
    y[r] = static_cast<float>(static_cast<double>(sum) * static_cast<double>(f));
  }
}

void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  const int32_t whole_rows = rows & ~3;
  const int32_t whole_cols = cols & ~15;
  const float f = static_cast<float>(static_cast<double>(s) * 6.103515625e-05);
  for (int32_t r = 0; r < whole_rows; ++r) {
    const int8_t* w = weights + static_cast<int64_t>(r) * cols;
    int32_t sum = 0;
    for (int32_t j = 0; j < whole_cols; j += 4) {
      const int32_t low = Saturate16((x[j] + 128) * w[j] + (x[j + 1] + 128) * w[j + 1]);
      const int32_t high = Saturate16((x[j + 2] + 128) * w[j + 2] + (x[j + 3] + 128) * w[j + 3]);
      sum = WrapAdd32(sum, Saturate16(low + high));
    }
    y[r] = static_cast<float>(static_cast<double>(sum) * static_cast<double>(f));
  }
}

void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy) {
  const int32_t whole_rows = rows & ~3;
  const int32_t whole_cols = cols & ~7;
  const int32_t shift = qx - qy + qw;
  for (int32_t r = 0; r < whole_rows; ++r) {
    const int16_t* w = weights + static_cast<int64_t>(r) * cols;
    int32_t sum = 0;
    for (int32_t j = 0; j < whole_cols; ++j) sum = WrapAdd32(sum, WrapMul32(x[j], w[j]));
    y[r] = Low16(sum >> shift);
  }
}

void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw,
                      int32_t qy) {
  const int32_t whole_cols = cols & ~7;
  const float reciprocal = static_cast<float>(1.0 / std::ldexp(1.0, qx - qy + qw));
  for (int32_t r = 0; r < rows; ++r) {
    const int16_t* w = weights + static_cast<int64_t>(r) * cols;
    int64_t sum = 0;
    for (int32_t j = 0; j < whole_cols; ++j) sum += static_cast<int64_t>(x[j]) * w[j];
    int64_t v = CutToInt64(static_cast<double>(sum) * static_cast<double>(reciprocal) + 0.5);
    if (v > 32767) v = 32767;
    if (v < -32767) v = -32767;
    y[r] = Low16(v);
  }
}

void VecAdd(float* a, const float* b, int32_t n) {
  for (int32_t k = 0; k < n; ++k) a[k] = a[k] + b[k];
}

void VecAddWrap16(int16_t* a, const int16_t* b, int32_t n) {
  for (int32_t k = 0; k < n; ++k) a[k] = WrapAdd16(a[k], b[k]);
}

void VecMulAdd(const float* c, const float* p, float* out, int32_t n) {
  for (int32_t k = 0; k < n; ++k) {
    const float product = c[k] * p[k];
    out[k] = out[k] + product;
  }
}

void VecMul(const float* a, const float* b, float* out, int32_t n) {
  for (int32_t k = 0; k < n; ++k) out[k] = a[k] * b[k];
}

void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n) {
  for (int32_t k = 0; k < n; ++k) {
    const double kept = static_cast<double>(f[k]) * static_cast<double>(c[k]);
    const double added = static_cast<double>(i[k]) * static_cast<double>(g[k]);
    c[k] = static_cast<float>(kept + added);
  }
}

void PeepholeFixed(const int16_t* t, const int16_t* p, int16_t* out, int32_t n, int32_t shift) {
  for (int32_t k = 0; k < n; ++k) out[k] = WrapAdd16(out[k], Saturate16((t[k] * p[k]) >> shift));
}

void CellUpdateFixed(const int16_t* f, const int16_t* i, const int16_t* g, int16_t* c, int32_t n) {
  for (int32_t k = 0; k < n; ++k) {
    const int32_t sum = WrapAdd32(f[k] * c[k], i[k] * g[k]);
    c[k] = Saturate16(sum >> 14);
  }
}

void VecMulFixed(const int16_t* t, const int16_t* h, int16_t* out, int32_t n) {
  for (int32_t k = 0; k < n; ++k) {
    const float product = static_cast<float>(t[k] * h[k]);
    const float scaled = product * 0.0001220703125f;
    out[k] = Saturate16(static_cast<int64_t>(std::nearbyint(scaled)));
  }
}

}  // namespace ref
}  // namespace TSEG
