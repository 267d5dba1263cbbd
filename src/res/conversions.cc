// SPDX-License-Identifier: Apache-2.0
//
// Plain loops; they run once per model, some million times in all, before its first frame.
#include "res/conversions.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

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

double ScaledAndRounded(float x, double scale) {
  const double y = static_cast<double>(x) * scale;
  return x >= 0.0F ? y + 0.5 : y - 0.5;
}

double RangeRounded(float x, float factor) {
  const float y = x * factor;
  return y >= 0.0F ? std::floor(static_cast<double>(y) + 0.5) : std::ceil(static_cast<double>(y) - 0.5);
}

// Values of a block at once; without a branch, so that the compiler makes vectors of it. Clipping before the cut is clipping behind it.
template <typename Narrow>
void ClipAndCutAll(const double* y, size_t n, Narrow* to) {
  constexpr double kLowest = std::numeric_limits<Narrow>::min();
  constexpr double kHighest = std::numeric_limits<Narrow>::max();
  for (size_t i = 0; i < n; ++i) {
    const double above = y[i] > kLowest ? y[i] : kLowest;
    to[i] = static_cast<Narrow>(static_cast<int32_t>(above < kHighest ? above : kHighest));
  }
}

constexpr size_t kBlock = 64;

// `rule` turns a block of floats into narrow ones, 64 or fewer.
template <typename Narrow, typename Rule>
void ConvertRow(const void* floats, size_t n, Narrow* to, Rule rule) {
  const auto* from = static_cast<const unsigned char*>(floats);
  for (size_t i = 0; i < n; i += kBlock) {
    const size_t count = std::min(kBlock, n - i);
    float x[kBlock];
    std::memcpy(x, from + i * sizeof(float), count * sizeof(float));
    rule(x, count, to + i);
  }
}

// The narrow values of a block never reach beyond its floats, which have been taken out by then.
template <typename Narrow, typename Rule>
void ConvertInPlace(void* floats, size_t n, Rule rule) {
  auto* to = static_cast<unsigned char*>(floats);
  for (size_t i = 0; i < n; i += kBlock) {
    const size_t count = std::min(kBlock, n - i);
    float x[kBlock];
    Narrow y[kBlock];
    std::memcpy(x, to + i * sizeof(float), count * sizeof(float));
    rule(x, count, y);
    std::memcpy(to + i * sizeof(Narrow), y, count * sizeof(Narrow));
  }
}

template <typename Narrow>
auto ScaledRule(int shift) {
  return [scale = PowerOfTwo(shift)](const float* x, size_t n, Narrow* to) {
    double y[kBlock];
    for (size_t i = 0; i < n; ++i) y[i] = ScaledAndRounded(x[i], scale);
    ClipAndCutAll(y, n, to);
  };
}

// What lies beyond 31 bits is cut by hand.
auto QFixedRule(int q) {
  return [q, scale = PowerOfTwo(q)](const float* x, size_t n, int16_t* to) {
    constexpr double kMost = 2147483647.0;
    double y[kBlock];
    bool all_short = true;
    for (size_t i = 0; i < n; ++i) y[i] = static_cast<double>(x[i]) * scale + 0.5;
    for (size_t i = 0; i < n; ++i) all_short &= y[i] > -kMost && y[i] < kMost;
    if (all_short) {
      for (size_t i = 0; i < n; ++i) to[i] = static_cast<int16_t>(static_cast<uint16_t>(static_cast<int32_t>(y[i])));
    } else {
      for (size_t i = 0; i < n; ++i) to[i] = QFixed(x[i], q);
    }
  };
}

template <typename Narrow>
auto RangeRule(float range) {
  constexpr float kFull = 1.0F + std::numeric_limits<Narrow>::max();
  return [factor = kFull / range](const float* x, size_t n, Narrow* to) {
    double y[kBlock];
    for (size_t i = 0; i < n; ++i) {
      const float scaled = x[i] * factor;
      y[i] = scaled >= 0.0F ? static_cast<double>(scaled) + 0.5 : static_cast<double>(scaled) - 0.5;
    }
    ClipAndCutAll(y, n, to);
  };
}

}  // namespace

int32_t Fixed32(float x, int shift) { return ClipAndCut(ScaledAndRounded(x, PowerOfTwo(shift)), -2147483648.0, 2147483647.0); }
int16_t Fixed16(float x, int shift) { return static_cast<int16_t>(ClipAndCut(ScaledAndRounded(x, PowerOfTwo(shift)), -32768.0, 32767.0)); }
int8_t Fixed8(float x, int shift) { return static_cast<int8_t>(ClipAndCut(ScaledAndRounded(x, PowerOfTwo(shift)), -128.0, 127.0)); }

int16_t QFixed(float x, int q) { return CutLow16(static_cast<double>(x) * PowerOfTwo(q) + 0.5); }

int16_t QRange16(float x, float range) { return static_cast<int16_t>(ClipAndCut(RangeRounded(x, 32768.0F / range), -32768.0, 32767.0)); }
int8_t QRange8(float x, float range) { return static_cast<int8_t>(ClipAndCut(RangeRounded(x, 128.0F / range), -128.0, 127.0)); }

void Fixed32Row(const void* floats, size_t n, int shift, int32_t* to) { ConvertRow(floats, n, to, ScaledRule<int32_t>(shift)); }
void Fixed16Row(const void* floats, size_t n, int shift, int16_t* to) { ConvertRow(floats, n, to, ScaledRule<int16_t>(shift)); }
void Fixed8Row(const void* floats, size_t n, int shift, int8_t* to) { ConvertRow(floats, n, to, ScaledRule<int8_t>(shift)); }
void QFixedRow(const void* floats, size_t n, int q, int16_t* to) { ConvertRow(floats, n, to, QFixedRule(q)); }
void QRange16Row(const void* floats, size_t n, float range, int16_t* to) { ConvertRow(floats, n, to, RangeRule<int16_t>(range)); }
void QRange8Row(const void* floats, size_t n, float range, int8_t* to) { ConvertRow(floats, n, to, RangeRule<int8_t>(range)); }

void QFixedInPlace(void* floats, size_t n, int q) { ConvertInPlace<int16_t>(floats, n, QFixedRule(q)); }
void QRange16InPlace(void* floats, size_t n, float range) { ConvertInPlace<int16_t>(floats, n, RangeRule<int16_t>(range)); }
void QRange8InPlace(void* floats, size_t n, float range) { ConvertInPlace<int8_t>(floats, n, RangeRule<int8_t>(range)); }

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
