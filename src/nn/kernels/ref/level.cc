// SPDX-License-Identifier: Apache-2.0
//
// The reference as a level: every kernel, no needs. Every other level begins as this one or as one that does.
#include "nn/kernels/level.h"

#include <float.h>

// The reference rounds after each operation to the type that is written there.
static_assert(FLT_EVAL_METHOD == 0, "this target computes floats with excess precision; on 32-bit x86 add -msse2 -mfpmath=sse");

namespace TSEG::ref {

constinit const KernelLevel kLevel = {
    .name = "ref",
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
             .gemv_float_sse = GemvFloatSse,
             .gemv_float_x87 = GemvFloatX87,
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

}  // namespace TSEG::ref
