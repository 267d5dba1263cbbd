// SPDX-License-Identifier: Apache-2.0
//
// The levels of WebAssembly: the vectors need nothing of the processor, and leave lookups and the running sum to the reference.
#include "nn/kernels/wasm/levels.h"

#include <gtest/gtest.h>

#include <string>

#include "nn/kernels/dispatch.h"

namespace TSEG {
namespace {

TEST(WasmLevels, AModuleWithVectorsRunsThem) {
  ASSERT_EQ(KernelLevels().size(), 2u);
  EXPECT_EQ(std::string(LevelOf(DetectedCpu()).name), "simd128");
}

TEST(WasmLevels, TheVectorsBringTheirKernelsAndLeaveLookupsAndTheRunningSum) {
  const KernelLevel& level = KernelLevels()[1];
  EXPECT_EQ(level.dnn.gemm_int8, &simd128::DnnGemmInt8);
  EXPECT_EQ(level.lstm.gemv_float_sse, &simd128::GemvFloatSse);
  EXPECT_EQ(level.lstm.tanh, &simd128::Tanh);
  EXPECT_EQ(level.dnn.sigmoid8_of32, &ref::SigmoidTable8Of32);
  EXPECT_EQ(level.lstm.gemv_float_x87, &ref::GemvFloatX87);
}

}  // namespace
}  // namespace TSEG
