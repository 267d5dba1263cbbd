// SPDX-License-Identifier: Apache-2.0
//
// The levels of 64-bit ARM: who gets which, and what each leaves to the one below.
#include "nn/kernels/arm64/levels.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nn/cpu_features_arm64.h"
#include "nn/kernels/dispatch.h"
#include "nn/weight_proofs.h"

namespace TSEG {
namespace {

CpuFeatures Made(bool dot_products, bool mixed_products) {
  CpuFeatures cpu;
  cpu.family = ProcessorFamily::kOther;
  cpu.bNeon = true;
  cpu.bDotProd = dot_products;
  cpu.bI8mm = mixed_products;
  return cpu;
}

std::string NameFor(const CpuFeatures& cpu) { return LevelOf(cpu).name; }

const KernelLevel& Named(const std::string& name) {
  for (const KernelLevel& level : KernelLevels()) {
    if (level.name == name) return level;
  }
  ADD_FAILURE() << "no level " << name;
  return ref::kLevel;
}

TEST(Arm64Levels, GoByWhatTheProcessorHasBeyondNeon) {
  ASSERT_EQ(KernelLevels().size(), 4u);
  EXPECT_EQ(NameFor(Made(false, false)), "neon");
  EXPECT_EQ(NameFor(Made(true, false)), "dotprod");
  EXPECT_EQ(NameFor(Made(true, true)), "i8mm");
  EXPECT_EQ(NameFor(CpuFeatures()), "ref");
  // Both take kernels from NEON, so they need what that needs.
  CpuFeatures without_neon = Made(true, true);
  without_neon.bNeon = false;
  EXPECT_EQ(NameFor(without_neon), "ref");
}

TEST(Arm64Levels, RecordHoldsOneBitOfEachWord) {
  // What Linux calls HWCAP_ASIMDDP is 0x100000, HWCAP2_I8MM 0x2000.
  const auto name_of = [](uint64_t first, uint64_t second) { return NameFor(Arm64Features({.first = first, .second = second})); };
  EXPECT_EQ(name_of(0, 0), "neon");
  EXPECT_EQ(name_of(0x100000, 0), "dotprod");
  EXPECT_EQ(name_of(0x100000, 0x2000), "i8mm");
  EXPECT_EQ(name_of(~uint64_t{0x100000}, ~uint64_t{0x2000}), "neon");
  const CpuFeatures here = Arm64Features(platform::WordsOfProcessor());
  EXPECT_EQ(DetectedCpu().bDotProd, here.bDotProd);
  EXPECT_EQ(DetectedCpu().bI8mm, here.bI8mm);
}

TEST(Arm64Levels, NeonBringsItsKernelsAndLeavesLookupsAndTheRunningSum) {
  const KernelLevel& level = Named("neon");
  EXPECT_EQ(level.dnn.gemm_int8, &neon::DnnGemmInt8);
  EXPECT_EQ(level.lstm.gemv_float_sse, &neon::GemvFloatSse);
  EXPECT_EQ(level.lstm.tanh, &neon::Tanh);
  EXPECT_EQ(level.dnn.sigmoid8_of32, &ref::SigmoidTable8Of32);
  EXPECT_EQ(level.lstm.gemv_float_x87, &ref::GemvFloatX87);
}

TEST(Arm64Levels, PlainSumsServeProvedWeightsAlone) {
  EXPECT_EQ(Named("neon").dnn.gemm_int8_unclipped, &neon::DnnGemmInt8Unclipped);
  EXPECT_EQ(Named("neon").lstm.gemv_int8_unclipped, &neon::GemvInt8Unclipped);
  for (const char* name : {"dotprod", "i8mm"}) {
    const KernelLevel& level = Named(name);
    EXPECT_EQ(level.dnn.gemm_int8, &neon::DnnGemmInt8) << name;
    EXPECT_EQ(level.lstm.gemv_int8, &neon::GemvInt8ToFloat) << name;
    EXPECT_NE(level.dnn.gemm_int8_unclipped, &neon::DnnGemmInt8Unclipped) << name;
    EXPECT_NE(level.lstm.gemv_int8_unclipped, &neon::GemvInt8Unclipped) << name;
    EXPECT_EQ(level.lstm.gemv_int16, &neon::GemvInt16ToFloat) << name;
  }
}

TEST(Arm64Levels, WeightsWithoutAProofKeepTheirSaturatingPairs) {
  // Four columns of 127 by activations of 127 + 128: each pair is 64770 and saturates to 32767, and so do two of them together. 16 columns
  // are four times 32767, and times the scale of 2^14 that is undone: 131068. The plain sum is 16 * 255 * 127 = 518160.
  const std::vector<int8_t> x(16, 127), weights(8 * 16, 127);
  ASSERT_FALSE(GemvInt8CannotClip(weights.data(), 8, 16));
  for (const KernelLevel& level : KernelLevels()) {
    if (!RunsOn(level, DetectedCpu())) continue;
    std::vector<float> y(8);
    level.lstm.gemv_int8(x.data(), 8, 16, weights.data(), y.data(), 16384.0f);
    EXPECT_EQ(y, std::vector<float>(8, 131068.0f)) << level.name;
    if (level.needs.bNeon) {
      level.lstm.gemv_int8_unclipped(x.data(), 8, 16, weights.data(), y.data(), 16384.0f);
      EXPECT_EQ(y, std::vector<float>(8, 518160.0f)) << level.name;
    }
  }
}

TEST(Arm64Levels, PlainSumsOfTheFeedForwardNetworkAreRightForEachFrameAndRow) {
  // Frame f is all 50 * (f + 1), row r all r - 3, of 32 columns: the sum is 1600 * (f + 1) * (r - 3), for six rows as for the two at the
  // end.
  std::vector<uint8_t> frames(4 * 32);
  for (size_t k = 0; k < frames.size(); ++k) frames[k] = static_cast<uint8_t>(50 * (k / 32 + 1));
  std::vector<int8_t> weights(6 * 32);
  for (size_t k = 0; k < weights.size(); ++k) weights[k] = static_cast<int8_t>(static_cast<int>(k / 32) - 3);
  for (const KernelLevel& level : KernelLevels()) {
    if (!RunsOn(level, DetectedCpu())) continue;
    std::vector<int16_t> out(4 * 6, 7);
    level.dnn.gemm_int8_unclipped(frames.data(), 6, 32, weights.data(), out.data());
    for (int f = 0; f < 4; ++f) {
      for (int r = 0; r < 6; ++r) {
        EXPECT_EQ(out[static_cast<size_t>(6 * f + r)], 1600 * (f + 1) * (r - 3)) << level.name << " " << f << " " << r;
      }
    }
  }
}

}  // namespace
}  // namespace TSEG
