// SPDX-License-Identifier: Apache-2.0
//
// The level of 128-bit vectors: everything but the lookups in a table and the float product with one running sum.
#include "nn/kernels/wasm/levels.h"

namespace TSEG::simd128 {

constinit const KernelLevel kLevel = {
    .name = "simd128",
    .base = &ref::kLevel,
    .dnn = {.gemm_int16 = DnnGemmInt16,
            .gemm_int8 = DnnGemmInt8,
            .gemm_int8_unclipped = DnnGemmInt8,
            .bias32 = DnnBias32,
            .bias16 = DnnBias16,
            .normalise = NormaliseRun,
            .cut_to_int16 = CutToInt16},
    .lstm = {.quant_int16 = QuantInt16,
             .quant_int8 = QuantInt8,
             .gemv_float_sse = GemvFloatSse,
             .gemv_int16 = GemvInt16ToFloat,
             .gemv_int8 = GemvInt8ToFloat,
             .gemv_int8_unclipped = GemvInt8ToFloat,
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

}  // namespace TSEG::simd128
