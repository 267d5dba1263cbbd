// SPDX-License-Identifier: Apache-2.0
//
// Plain loops; they run once per model.
#include "res/conversions.h"

#include <cmath>
#include <cstring>

#include "base/power_of_two.h"
#include "base/wrap.h"

namespace TSEG {
namespace {

// Clips and cuts. Not-a-number fails the first comparison and gives the lowest value.
int32_t ClipAndCut(double y, double lowest, double highest) {
  if (!(y > lowest)) return static_cast<int32_t>(lowest);
  if (y >= highest) return static_cast<int32_t>(highest);
  return static_cast<int32_t>(y);
}

double ScaledAndRounded(float x, int shift) {
  const double y = static_cast<double>(x) * PowerOfTwo(shift);
  return x >= 0.0F ? y + 0.5 : y - 0.5;
}

double RangeRounded(float x, float full, float range) {
  const float factor = full / range;
  const float y = x * factor;
  return y >= 0.0F ? std::floor(static_cast<double>(y) + 0.5) : std::ceil(static_cast<double>(y) - 0.5);
}

// Narrow value i never reaches beyond float i, so the reading stays ahead of the writing.
template <typename Narrow, typename Rule>
void ConvertInPlace(void* floats, size_t n, Rule rule) {
  auto* bytes = static_cast<unsigned char*>(floats);
  for (size_t i = 0; i < n; ++i) {
    float x;
    std::memcpy(&x, bytes + i * sizeof(float), sizeof x);
    const Narrow y = rule(x);
    std::memcpy(bytes + i * sizeof(Narrow), &y, sizeof y);
  }
}

}  // namespace

int32_t Fixed32(float x, int shift) { return ClipAndCut(ScaledAndRounded(x, shift), -2147483648.0, 2147483647.0); }
int16_t Fixed16(float x, int shift) { return static_cast<int16_t>(ClipAndCut(ScaledAndRounded(x, shift), -32768.0, 32767.0)); }
int8_t Fixed8(float x, int shift) { return static_cast<int8_t>(ClipAndCut(ScaledAndRounded(x, shift), -128.0, 127.0)); }

int16_t QFixed(float x, int q) { return CutLow16(static_cast<double>(x) * PowerOfTwo(q) + 0.5); }

int16_t QRange16(float x, float range) { return static_cast<int16_t>(ClipAndCut(RangeRounded(x, 32768.0F, range), -32768.0, 32767.0)); }
int8_t QRange8(float x, float range) { return static_cast<int8_t>(ClipAndCut(RangeRounded(x, 128.0F, range), -128.0, 127.0)); }

void QFixedInPlace(void* floats, size_t n, int q) {
  ConvertInPlace<int16_t>(floats, n, [q](float x) { return QFixed(x, q); });
}
void QRange16InPlace(void* floats, size_t n, float range) {
  ConvertInPlace<int16_t>(floats, n, [range](float x) { return QRange16(x, range); });
}
void QRange8InPlace(void* floats, size_t n, float range) {
  ConvertInPlace<int8_t>(floats, n, [range](float x) { return QRange8(x, range); });
}

void CorrectBias(const int8_t* w, int32_t rows, int32_t cols, float scale, float* correction) {
  const float factor = scale / 16384.0F;
  for (int32_t r = 0; r < rows / 4 * 4; ++r) {
    const int8_t* row = w + static_cast<ptrdiff_t>(r) * cols;
    int32_t sum = 0;
    for (int32_t c = 0; c < cols / 16 * 16; c += 4) {
      const int16_t t = Saturate16(128 * row[c] + 128 * row[c + 1]);
      const int16_t u = Saturate16(128 * row[c + 2] + 128 * row[c + 3]);
      sum = WrapAdd32(sum, Saturate16(t + u));
    }
    const float product = static_cast<float>(sum) * factor;
    correction[r] = correction[r] - product;
  }
}

}  // namespace TSEG
