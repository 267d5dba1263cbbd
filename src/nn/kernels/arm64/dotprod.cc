// SPDX-License-Identifier: Apache-2.0
//
// The level of processors whose products of four bytes of one kind add up in 32 bits (UDOT): 8-bit products of proved weights, all else as
// NEON has it. Built with flags of its own.
//
// Activations are unsigned and weights are not, so the weights become unsigned by 128 on the way.
#ifndef __ARM_FEATURE_DOTPROD
#error "this file needs -march=armv8.2-a+dotprod"
#endif

#include "nn/kernels/arm64/byte_products.h"

namespace TSEG::dotprod {
namespace {

struct UnsignedDot {
  static constexpr int32_t kExcess = 128;
  static uint8x16_t Weights(const int8_t* p) { return LoadUnsigned(p); }
  static int32x4_t Add(int32x4_t sum, uint8x16_t x, uint8x16_t w) {
    return vreinterpretq_s32_u32(vdotq_u32(vreinterpretq_u32_s32(sum), x, w));
  }
};

}  // namespace

constinit const KernelLevel kLevel = {
    .name = "dotprod",
    .base = &neon::kLevel,
    .needs = {.bDotProd = true},
    .dnn = {.gemm_int8_unclipped = Gemm<UnsignedDot>},
    .lstm = {.gemv_int8_unclipped = Gemv<UnsignedDot>},
};

}  // namespace TSEG::dotprod
