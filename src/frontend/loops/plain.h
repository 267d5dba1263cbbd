// SPDX-License-Identifier: Apache-2.0
//
// The loops as plain code, which the compiler turns into vectors of the level that a file is built for. Everything here is that file's own,
// in an unnamed namespace, so that the linker mixes nothing of one level with another.
#ifndef WVAD_FRONTEND_LOOPS_PLAIN_H_
#define WVAD_FRONTEND_LOOPS_PLAIN_H_

#include "frontend/loops/loops.h"

namespace TSEG::loops {
namespace {

int32_t Sum(const int16_t* samples, int32_t n) {
  int32_t sum = 0;
  for (int32_t i = 0; i < n; ++i) sum += samples[i];
  return sum;
}

void Take(const int16_t* samples, int32_t n, float mean, float* __restrict x) {
  for (int32_t i = 0; i < n; ++i) x[i] = static_cast<float>(samples[i]) - mean;
}

void Window(const float* x, int32_t n, float emphasis, const float* w, float* __restrict y) {
  y[0] = x[0] * (1.0f - emphasis) * w[0];
  for (int32_t i = 1; i < n; ++i) y[i] = (x[i] - emphasis * x[i - 1]) * w[i];
}

void Power(const float* s, int32_t n, float* __restrict squares) {
  for (int32_t k = 0; k < n; ++k) squares[k] = s[2 * k] * s[2 * k] + s[2 * k + 1] * s[2 * k + 1];
}

void Magnitude(const float* s, int32_t n, float* __restrict values) {
  for (int32_t k = 0; k < n; ++k) values[k] = __builtin_sqrtf(s[2 * k] * s[2 * k] + s[2 * k + 1] * s[2 * k + 1]);
}

}  // namespace
}  // namespace TSEG::loops

#endif  // WVAD_FRONTEND_LOOPS_PLAIN_H_
