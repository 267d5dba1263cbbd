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
  LEVEL(avx2)

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

// The levels whose functions are spread over several files.
namespace sse41 {
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
}  // namespace sse41
namespace avx2 {
WVAD_DNN_KERNELS
WVAD_LSTM_KERNELS
}  // namespace avx2

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_X86_LEVELS_H_
