// SPDX-License-Identifier: Apache-2.0
//
// The levels of 64-bit ARM: who gets NEON, and what it leaves to the reference.
#include "nn/kernels/arm64/levels.h"

#include <gtest/gtest.h>

#include <string>

#include "nn/kernels/dispatch.h"

namespace TSEG {
namespace {

TEST(Arm64Levels, EveryProcessorOfTheFamilyHasNeon) {
  ASSERT_EQ(KernelLevels().size(), 2u);
  EXPECT_EQ(std::string(LevelOf(DetectedCpu()).name), "neon");
  EXPECT_EQ(std::string(LevelOf(CpuFeatures()).name), "ref");
}

TEST(Arm64Levels, NeonBringsItsKernelsAndLeavesLookupsAndTheRunningSum) {
  const KernelLevel& level = KernelLevels()[1];
  EXPECT_EQ(level.dnn.gemm_int8, &neon::DnnGemmInt8);
  EXPECT_EQ(level.lstm.gemv_float_sse, &neon::GemvFloatSse);
  EXPECT_EQ(level.lstm.tanh, &neon::Tanh);
  EXPECT_EQ(level.dnn.sigmoid8_of32, &ref::SigmoidTable8Of32);
  EXPECT_EQ(level.lstm.gemv_float_x87, &ref::GemvFloatX87);
}

}  // namespace
}  // namespace TSEG
