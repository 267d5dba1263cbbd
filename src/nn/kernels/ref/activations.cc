// SPDX-License-Identifier: Apache-2.0
//
// The definition of the activations, and the tables of the 16-bit ones. Exponentials are taken in double and rounded to single where that
// is said.
#include <algorithm>
#include <cmath>

#include "nn/kernels/kernels.h"
#include "nn/kernels/ref/made_tables.h"

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

// An activation of 16-bit values. It stays the same below `kLowest` and behind the `n` entries from there on.
template <int32_t kLowest, int32_t n>
struct FixedTable {
  int16_t entries[static_cast<size_t>(n)] = {};

  // `activation` of v / 2^q_in, with q_out fraction bits: half a unit added as a single, cut toward zero.
  constexpr FixedTable(float (*activation)(float), int32_t q_in, int32_t q_out) {
    for (int32_t i = 0; i < n; ++i) {
      const float y = activation(static_cast<float>((kLowest + i) * PowerOfTwo(-q_in)));
      entries[i] = static_cast<int16_t>(static_cast<float>(static_cast<double>(y) * PowerOfTwo(q_out) + 0.5));
    }
  }
  void Apply(int16_t* v, int32_t count) const {
    for (int32_t k = 0; k < count; ++k) v[k] = entries[static_cast<size_t>(std::clamp(v[k] - kLowest, 0, n - 1))];
  }
};

// Each begins at the last input that still gives the lowest value (0, -511 / 512, -16383 / 16384) and ends at the first that gives 1.
constinit const FixedTable<-10647, 21294> kSigmoid10To14(ref::MadeSigmoid, 10, 14);
constinit const FixedTable<-3904, 7809> kTanh10To9(ref::MadeTanh, 10, 9);
constinit const FixedTable<-2839, 5679> kTanh9To14(ref::MadeTanh, 9, 14);

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

void SigmoidFixed10To14(int16_t* v, int32_t n) { kSigmoid10To14.Apply(v, n); }
void TanhFixed10To9(int16_t* v, int32_t n) { kTanh10To9.Apply(v, n); }
void TanhFixed9To14(int16_t* v, int32_t n) { kTanh9To14.Apply(v, n); }

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
