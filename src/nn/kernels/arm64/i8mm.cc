// SPDX-License-Identifier: Apache-2.0
//
// The level of processors whose products of four bytes add up in 32 bits where one is unsigned and the other is not (USDOT): 8-bit products
// of proved weights, all else as NEON has it. Built with flags of its own.
#ifndef __ARM_FEATURE_MATMUL_INT8
#error "this file needs -march=armv8.2-a+i8mm"
#endif

#include "nn/kernels/arm64/byte_products.h"

namespace TSEG::i8mm {
namespace {

struct MixedDot {
  static constexpr int32_t kExcess = 0;
  static int8x16_t Weights(const int8_t* p) { return vld1q_s8(p); }
  static int32x4_t Add(int32x4_t sum, uint8x16_t x, int8x16_t w) { return vusdotq_s32(sum, x, w); }
};

}  // namespace

constinit const KernelLevel kLevel = {
    .name = "i8mm",
    .base = &neon::kLevel,
    .needs = {.bI8mm = true},
    .dnn = {.gemm_int8_unclipped = Gemm<MixedDot>},
    .lstm = {.gemv_int8_unclipped = Gemv<MixedDot>},
};

}  // namespace TSEG::i8mm
