// SPDX-License-Identifier: Apache-2.0
//
// The levels of x86 by name, each a namespace, and the bits of the processor record that they need.
//
// A level of one file is only a row of the list here: its functions are seen nowhere else. This header, too, holds no inline function.
#ifndef WVAD_NN_KERNELS_X86_LEVELS_H_
#define WVAD_NN_KERNELS_X86_LEVELS_H_

#include "nn/kernels/level.h"

// In the order of choice: the last one that runs on the processor is taken.
#define WVAD_X86_LEVELS(LEVEL) \
  LEVEL(sse)                   \
  LEVEL(sse41)                 \
  LEVEL(avx2)                  \
  LEVEL(avx512)

namespace TSEG {

#define WVAD_DECLARE_LEVEL(name)   \
  namespace name {                 \
  extern const KernelLevel kLevel; \
  }
WVAD_X86_LEVELS(WVAD_DECLARE_LEVEL)
#undef WVAD_DECLARE_LEVEL

constexpr uint32_t kLeaf1EdxSse = 1u << 25;
constexpr uint32_t kLeaf1EdxSse2 = 1u << 26;
constexpr uint32_t kLeaf1EcxSsse3 = 1u << 9;
constexpr uint32_t kLeaf1EcxSse41 = 1u << 19;
constexpr uint32_t kLeaf7EbxAvx2 = 1u << 5;
constexpr uint32_t kLeaf7EbxAvx512F = 1u << 16;
constexpr uint32_t kLeaf7EbxAvx512Dq = 1u << 17;
constexpr uint32_t kLeaf7EbxAvx512Bw = 1u << 30;
constexpr uint32_t kLeaf7EbxAvx512Vl = 1u << 31;
constexpr uint32_t kLeaf7EcxAvx512Vnni = 1u << 11;

// The levels whose functions are spread over several files.
namespace sse41 {
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
}  // namespace sse41
namespace avx2 {
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
}  // namespace avx2
namespace avx512 {
void DnnGemmInt16(const int16_t* frames, int32_t rows, int32_t cols, const int16_t* weights, int32_t* out);
void DnnGemmInt8(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out);
void DnnGemmInt8Unclipped(const uint8_t* frames, int32_t rows, int32_t cols, const int8_t* weights, int16_t* out);
void GemvInt16ToFloat(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, float* y, float s);
void GemvInt8ToFloat(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s);
void GemvInt8Unclipped(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s);
void GemvFixed(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy);
void GemvFixedClamped(const int16_t* x, int32_t rows, int32_t cols, const int16_t* weights, int16_t* y, int32_t qx, int32_t qw, int32_t qy);
void CellUpdate(const float* f, const float* i, const float* g, float* c, int32_t n);
void Sigmoid(float* x, int32_t n);
void Tanh(float* x, int32_t n);
}  // namespace avx512

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_X86_LEVELS_H_
