// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the recurrent network share: made-up processors, short calls, and a cell that can be followed by hand.
#ifndef WVAD_NN_LSTM_TEST_SUPPORT_H_
#define WVAD_NN_LSTM_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "nn/cpu_features.h"
#include "nn/lstm_forward.h"
#include "nn/lstm_test_model.h"
#include "nn/processors.h"

namespace TSEG::test {

// Puts a made-up processor in the place of the real one while it lives.
class CpuScope {
 public:
  explicit CpuScope(const CpuFeatures& cpu) : cpu_(cpu) { SetCpuForTest(&cpu_); }
  ~CpuScope() { SetCpuForTest(nullptr); }
  CpuScope(const CpuScope&) = delete;
  CpuScope& operator=(const CpuScope&) = delete;

 private:
  CpuFeatures cpu_;
};

inline CpuFeatures WithoutSimd() { return CpuFeatures(); }
inline CpuFeatures WithSse() {
  CpuFeatures cpu;
  cpu.leaf1Edx = (1u << 25) | (1u << 26);
  return cpu;
}
inline CpuFeatures WithSse41() {
  CpuFeatures cpu = WithSse();
  cpu.leaf1Ecx = (1u << 9) | (1u << 19);
  return cpu;
}
inline CpuFeatures OfAnotherFamily() {
  CpuFeatures cpu;
  cpu.family = ProcessorFamily::kOther;
  return cpu;
}
inline double Logistic(double x) { return 1.0 / (1.0 + std::exp(-x)); }
inline std::vector<float> Block(size_t n, float first) {
  std::vector<float> block(n, 0.0f);
  block[0] = first;
  return block;
}
inline bool Add40(LstmForward* forward, float first) { return LstmForwardAddBlock40(forward, Block(160, first).data(), 160, false); }
inline bool Add75(LstmForward* forward, float first) { return LstmForwardAddBlock75(forward, Block(300, first).data(), 300, false); }
inline std::vector<float> Read(LstmForward* forward, int32_t want_frames) {
  std::vector<float> out(8);
  int32_t stride = 0;
  EXPECT_EQ(LstmForwardRead(forward, out.data(), &stride), want_frames);
  EXPECT_EQ(stride, 2);
  return out;
}

// One cell that sees the first input value: cell input weight 0.5, peepholes 0.25, 0.75 and 0.5, projection 0.5 to output 0, and a
// recurrent weight.
inline void OneCell(TestLstm* lstm) {
  LstmLayer& layer = lstm->model.aLayer[0];
  TestLstm::F(layer.apWx[3])[0] = 0.5f;
  TestLstm::F(layer.apPeephole[0])[0] = 0.25f;
  TestLstm::F(layer.apPeephole[1])[0] = 0.75f;
  TestLstm::F(layer.apPeephole[2])[0] = 0.5f;
  TestLstm::F(layer.apWr[3])[0] = 0.5f;
  TestLstm::F(layer.apBias[2])[0] = 0.125f;
  TestLstm::F(layer.pWp)[0] = 0.5f;
}

struct Expected {
  double c = 0, t = 0, r = 0;
  // One step of that cell by its formulas, in double.
  void Step(double x) {
    const double i = Logistic(0.25 * t);
    const double f = Logistic(0.75 * t);
    const double g = std::tanh(0.5 * x + 0.5 * r);
    c = f * c + i * g;
    t = std::tanh(c);
    r = 0.5 * t * Logistic(0.125 + 0.5 * t);
  }
};

}  // namespace TSEG::test

#endif  // WVAD_NN_LSTM_TEST_SUPPORT_H_
