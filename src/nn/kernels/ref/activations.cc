// SPDX-License-Identifier: Apache-2.0
//
// The definition of the activations, and the tables of the 16-bit ones. Exponentials are taken in double and rounded to single where that
// is said.
#include <cmath>

#include "base/wrap.h"
#include "nn/kernels/kernels.h"

namespace TSEG {
namespace {

float Single(double v) { return static_cast<float>(v); }

// y with `q` fraction bits: half a unit added as a single, held within 16 bits, cut.
int16_t ToFixed(float y, int32_t q) {
  const float z = Single(static_cast<double>(y) * std::ldexp(1.0, q) + 0.5);
  if (z > 32767.0f) return 32767;
  if (z < -32768.0f) return -32768;
  return static_cast<int16_t>(z);
}

// One activation of every 16-bit value; the entry of v stands at its unsigned reading.
struct FixedTable {
  int16_t entries[65536];
  FixedTable(void (*activation)(int16_t*, int32_t, int32_t, int32_t), int32_t q_in, int32_t q_out) {
    for (int32_t v = 0; v < 65536; ++v) entries[v] = Low16(v);
    activation(entries, 65536, q_in, q_out);
  }
  void Apply(int16_t* v, int32_t n) const {
    for (int32_t k = 0; k < n; ++k) v[k] = entries[static_cast<uint16_t>(v[k])];
  }
};

const FixedTable& SigmoidTable10To14() {
  static const FixedTable table(ref::SigmoidFixed, 10, 14);
  return table;
}
const FixedTable& TanhTable10To9() {
  static const FixedTable table(ref::TanhFixed, 10, 9);
  return table;
}
const FixedTable& TanhTable9To14() {
  static const FixedTable table(ref::TanhFixed, 9, 14);
  return table;
}

}  // namespace

namespace ref {

void Sigmoid(float* x, int32_t n) {
  for (int32_t k = 0; k < n; ++k) {
    const float e = Single(std::exp(-static_cast<double>(x[k])));
    x[k] = Single(1.0 / (static_cast<double>(e) + 1.0));
  }
}

void Tanh(float* x, int32_t n) {
  for (int32_t k = 0; k < n; ++k) {
    const double e = std::exp(-2.0 * static_cast<double>(x[k]));
    x[k] = Single(2.0 / (e + 1.0) - 1.0);
  }
}

void SigmoidFixed(int16_t* v, int32_t n, int32_t q_in, int32_t q_out) {
  for (int32_t k = 0; k < n; ++k) {
    const float x = Single(static_cast<double>(v[k]) * std::ldexp(1.0, -q_in));
    const float e = Single(std::exp(-static_cast<double>(x)));
    const float y = Single(1.0 / (static_cast<double>(e) + 1.0));
    v[k] = ToFixed(y, q_out);
  }
}

void TanhFixed(int16_t* v, int32_t n, int32_t q_in, int32_t q_out) {
  for (int32_t k = 0; k < n; ++k) {
    const float x = Single(static_cast<double>(v[k]) * std::ldexp(1.0, -q_in));
    const float u = x * -2.0f;
    const float e = Single(std::exp(static_cast<double>(u)));
    const float y = Single(2.0 / (static_cast<double>(e) + 1.0) - 1.0);
    v[k] = ToFixed(y, q_out);
  }
}

}  // namespace ref

void PrepareFixedActivations() {
  SigmoidTable10To14();
  TanhTable10To9();
  TanhTable9To14();
}

void SigmoidFixed10To14(int16_t* v, int32_t n) { SigmoidTable10To14().Apply(v, n); }
void TanhFixed10To9(int16_t* v, int32_t n) { TanhTable10To9().Apply(v, n); }
void TanhFixed9To14(int16_t* v, int32_t n) { TanhTable9To14().Apply(v, n); }

void Softmax(int32_t n, const float* x, float* y) {
  float largest = -1e10f;
  for (int32_t i = 0; i < n; ++i) {
    y[i] = x[i];
    if (x[i] > largest) largest = x[i];
  }
  float sum = 0.0f;
  for (int32_t i = 0; i < n; ++i) {
    const float difference = y[i] - largest;
    y[i] = Single(std::exp(static_cast<double>(difference)));
    sum = sum + y[i];
  }
  for (int32_t i = 0; i < n; ++i) y[i] = y[i] / sum;
}

}  // namespace TSEG
