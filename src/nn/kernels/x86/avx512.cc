// SPDX-License-Identifier: Apache-2.0
//
// The AVX-512 level, for processors whose 8-bit and 16-bit products add up in 32 bits by one instruction: the matrix products and the float
// activations on 512-bit vectors, all else as AVX2 has it.
//
// Four products of bytes in one sum are not the reference's saturating pairs, so that instruction serves the products of which a model
// says that nothing in them can saturate; the others keep the pairs.
#include "nn/kernels/x86/levels.h"

namespace TSEG::avx512 {

constinit const KernelLevel kLevel = {
    .name = "avx512",
    .base = &avx2::kLevel,
    .needs = {.leaf7Ebx = kLeaf7EbxAvx512F | kLeaf7EbxAvx512Dq | kLeaf7EbxAvx512Bw | kLeaf7EbxAvx512Vl,
              .leaf7Ecx = kLeaf7EcxAvx512Vnni,
              .bOsSavesZmm = true},
    .dnn = {.gemm_int16 = DnnGemmInt16, .gemm_int8 = DnnGemmInt8, .gemm_int8_unclipped = DnnGemmInt8Unclipped},
    .lstm = {.gemv_int16 = GemvInt16ToFloat,
             .gemv_int8 = GemvInt8ToFloat,
             .gemv_int8_unclipped = GemvInt8Unclipped,
             .gemv_fixed = GemvFixed,
             .gemv_fixed_clamped = GemvFixedClamped,
             .cell_update = CellUpdate,
             .sigmoid = Sigmoid,
             .tanh = Tanh},
};

}  // namespace TSEG::avx512
