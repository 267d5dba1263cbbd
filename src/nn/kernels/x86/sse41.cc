// SPDX-License-Identifier: Apache-2.0
//
// The SSE4.1 level: everything on 128-bit vectors but the float products, which are those of SSE.
#include "nn/kernels/x86/levels.h"

namespace TSEG::sse41 {

constinit const KernelLevel kLevel = {
    .name = "sse41",
    .base = &sse::kLevel,
    .needs = {.leaf1Ecx = kLeaf1EcxSsse3 | kLeaf1EcxSse41},
    .dnn = {.gemm_int16 = DnnGemmInt16,
            .gemm_int8 = DnnGemmInt8,
            .gemm_int8_unclipped = DnnGemmInt8,
            .bias32 = DnnBias32,
            .bias16 = DnnBias16,
            .sigmoid8_of32 = SigmoidTable8Of32,
            .sigmoid8_of16 = SigmoidTable8Of16,
            .normalise = NormaliseRun,
            .cut_to_int16 = CutToInt16},
    .lstm = {.quant_int16 = QuantInt16,
             .quant_int8 = QuantInt8,
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

}  // namespace TSEG::sse41
