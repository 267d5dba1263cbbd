// SPDX-License-Identifier: Apache-2.0
//
// The definition of the kernels of the feed-forward network. One idea a line; every wrap and saturation is written out.
#include <cmath>
#include <cstring>

#include "base/wrap.h"
#include "nn/kernels/kernels.h"
#include "nn/kernels/ref/made_tables.h"

namespace TSEG {
namespace {

struct SigmoidTable {
  int32_t entries[kSigmoidQ30Entries + 1] = {};
  constexpr SigmoidTable() {
    for (int32_t i = 0; i < kSigmoidQ30Entries; ++i) {
      entries[i] = static_cast<int32_t>(static_cast<double>(ref::MadeSigmoid(static_cast<float>(i - 4096) / 256.0f)) * 1073741824.0);
    }
  }
};
constinit const SigmoidTable kSigmoidQ30;

uint8_t SigmoidOf(const int32_t* table, int32_t v, int32_t a, int32_t b) {
  const int32_t i = WrapAdd32(v, static_cast<int32_t>(1u << (a + 4))) >> (a - 8);
  if (i >= kSigmoidQ30Entries) return static_cast<uint8_t>((1u << b) & 255u);
  if (i < 1) return 0;
  return static_cast<uint8_t>(WrapAdd32(table[i], static_cast<int32_t>(1u << (29 - b))) >> (30 - b));
}

}  // namespace

const int32_t* SigmoidQ30() { return kSigmoidQ30.entries; }

double DnnBiasFactor(int32_t p, int32_t q) {
  const int32_t d = q - p;
  if (d > 0) return static_cast<double>(static_cast<float>(std::ldexp(1.0, d)));
  return static_cast<double>(static_cast<float>(1.0 / std::ldexp(1.0, -d)));
}

namespace ref {

void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out) {
  const int32_t whole_rows = rows & ~1;
  const int32_t whole_cols = cols & ~7;
  for (int32_t f = 0; f < 4; ++f) {
    const int16_t* x = frames + static_cast<int64_t>(f) * cols;
    for (int32_t r = 0; r < whole_rows; ++r) {
      const int16_t* w = weights + static_cast<int64_t>(r) * cols;
      int32_t sum = 0;
      for (int32_t j = 0; j < whole_cols; ++j) sum = WrapAdd32(sum, WrapMul32(x[j], w[j]));
      out[static_cast<int64_t>(f) * rows + r] = sum;
    }
  }
}

void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out) {
  const int32_t whole_rows = rows & ~1;
  const int32_t whole_cols = cols & ~15;
  for (int32_t f = 0; f < 4; ++f) {
    const uint8_t* x = frames + static_cast<int64_t>(f) * cols;
    for (int32_t r = 0; r < whole_rows; ++r) {
      const int8_t* w = weights + static_cast<int64_t>(r) * cols;
      int16_t sum = 0;
      for (int32_t j = 0; j < whole_cols; j += 2) sum = WrapAdd16(sum, Saturate16(x[j] * w[j] + x[j + 1] * w[j + 1]));
      out[static_cast<int64_t>(f) * rows + r] = sum;
    }
  }
}

void DnnBias32(int32_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const double f = DnnBiasFactor(p, q);
  for (int32_t r = 0; r < n; ++r, values += width) {
    for (int32_t j = 0; j < width; ++j) values[j] = CutLow32(static_cast<double>(bias[j]) + static_cast<double>(values[j]) * f);
  }
}

void DnnBias16(int16_t* values, int32_t n, int32_t width, const int32_t* bias, int32_t p, int32_t q) {
  const double f = DnnBiasFactor(p, q);
  for (int32_t r = 0; r < n; ++r, values += width) {
    for (int32_t j = 0; j < width; ++j) values[j] = CutLow16(static_cast<double>(bias[j]) + static_cast<double>(values[j]) * f);
  }
}

void SigmoidTable8Of32(const int32_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out) {
  const int32_t* table = SigmoidQ30();
  for (int32_t j = 0; j < n; ++j) out[j] = SigmoidOf(table, in[j], a, b);
}

void SigmoidTable8Of16(const int16_t* in, int32_t n, int32_t a, int32_t b, uint8_t* out) {
  const int32_t* table = SigmoidQ30();
  for (int32_t j = 0; j < n; ++j) out[j] = SigmoidOf(table, in[j], a, b);
}

void NormaliseRun(float* x, int32_t n, const float* mean, const float* inv_std) {
  for (int32_t j = 0; j < n; ++j) {
    const float centred = x[j] - mean[j];
    x[j] = centred * inv_std[j];
  }
}

void CutToInt16(const float* x, int32_t n, float scale, int16_t* out) {
  for (int32_t j = 0; j < n; ++j) {
    // The narrow values take the place of the wide ones, so both go through bytes.
    float value;
    std::memcpy(&value, x + j, sizeof value);
    const int16_t cut = CutLow16(static_cast<double>(value) * static_cast<double>(scale));
    std::memcpy(out + j, &cut, sizeof cut);
  }
}

}  // namespace ref
}  // namespace TSEG
