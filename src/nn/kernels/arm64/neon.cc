// SPDX-License-Identifier: Apache-2.0
//
// The NEON level: everything on 128-bit vectors but the lookups in a table and the float product with one running sum.
#include "nn/kernels/arm64/levels.h"

namespace TSEG::neon {

constinit const KernelLevel kLevel = {
    .name = "neon",
    .base = &ref::kLevel,
    .needs = {.bNeon = true},
    .dnn = {.gemm_int16 = DnnGemmInt16,
            .gemm_int8 = DnnGemmInt8,
            .gemm_int8_unclipped = DnnGemmInt8Unclipped,
            .bias32 = DnnBias32,
            .bias16 = DnnBias16,
            .normalise = NormaliseRun,
            .cut_to_int16 = CutToInt16},
    .lstm = {.quant_int16 = QuantInt16,
             .quant_int8 = QuantInt8,
             .gemv_float_sse = GemvFloatSse,
             .gemv_int16 = GemvInt16ToFloat,
             .gemv_int8 = GemvInt8ToFloat,
             .gemv_int8_unclipped = GemvInt8Unclipped,
             .gemv_fixed = GemvFixed,
             .gemv_fixed_clamped = GemvFixedClamped,
             .add = VecAdd,
             .add_wrap16 = VecAddWrap16,
             .mul_add = VecMulAdd,
             .mul = VecMul,
             .cell_update = CellUpdate,
             .sigmoid = Sigmoid,
             .tanh = Tanh,
             .peephole_fixed = PeepholeFixed,
             .cell_update_fixed = CellUpdateFixed,
             .mul_fixed = VecMulFixed,
             .normalise = NormaliseRun,
             .cut_to_int16 = CutToInt16},
};

}  // namespace TSEG::neon
