// SPDX-License-Identifier: Apache-2.0
//
// Which kernels run: pure functions of the processor record.
//
// The level changes the speed and never a bit. What does change bits, the form of the recurrent step, is chosen by LstmVariantOf and
// FlushGemvIsSse, whatever levels were built in. Levels are completed at the first use; nothing allocates.
#ifndef WVAD_NN_KERNELS_DISPATCH_H_
#define WVAD_NN_KERNELS_DISPATCH_H_

#include <span>

#include "nn/cpu_features.h"
#include "nn/kernels/level.h"

namespace TSEG {

// `level` with the kernels of its base, and of the base's base, wherever it has none, and with the needs of all of them.
KernelLevel CompleteLevel(const KernelLevel& level);
// The levels that were built in, complete, in the order of choice; in front the reference.
std::span<const KernelLevel> KernelLevels();

// Whether `cpu` has all that the complete level needs.
bool RunsOn(const KernelLevel& level, const CpuFeatures& cpu);
// The last of `levels` that runs on `cpu`, the first if none does. `levels`: complete, at least one.
const KernelLevel& ChooseLevel(std::span<const KernelLevel> levels, const CpuFeatures& cpu);
// The same from all that were built in.
const KernelLevel& LevelOf(const CpuFeatures& cpu);
// The same from those up to the one that WVAD_FORCE_KERNELS names ("ref" and so on), from all if it names none of them. The variable is
// read once; it is there for tests and benchmarks.
const KernelLevel& LevelToRun(const CpuFeatures& cpu);

// The forms of a 40-value step.
enum class LstmVariant { kInt8, kFloatSse, kFloatX87 };
LstmVariant LstmVariantOf(const CpuFeatures& cpu);
// Whether the flush block sums in lanes. On x86 it goes by SSE alone, in an int8 session too: the record chooses it, not the model's form.
bool FlushGemvIsSse(const CpuFeatures& cpu);

}  // namespace TSEG

#endif  // WVAD_NN_KERNELS_DISPATCH_H_
