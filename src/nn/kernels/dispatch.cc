// SPDX-License-Identifier: Apache-2.0
//
// Levels of the processor's family completed from their bases, and the choice among them.
#include "nn/kernels/dispatch.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace TSEG {
namespace {

// `own` with its null pointers filled from `base`. A table is nothing but pointers to functions, so it can be walked as an array of them.
template <typename Table>
Table Filled(const Table& own, const Table& base) {
  using Pointer = void (*)();
  using Pointers = std::array<Pointer, sizeof(Table) / sizeof(Pointer)>;
  static_assert(std::is_trivially_copyable_v<Table> && sizeof(Pointers) == sizeof(Table));
  Pointers pointers;
  Pointers below;
  std::memcpy(&pointers, &own, sizeof own);
  std::memcpy(&below, &base, sizeof base);
  for (size_t i = 0; i < pointers.size(); ++i) {
    if (pointers[i] == nullptr) pointers[i] = below[i];
  }
  Table filled;
  std::memcpy(static_cast<void*>(&filled), &pointers, sizeof filled);
  return filled;
}

CpuNeeds Both(const CpuNeeds& a, const CpuNeeds& b) {
  return {.leaf1Ecx = a.leaf1Ecx | b.leaf1Ecx,
          .leaf1Edx = a.leaf1Edx | b.leaf1Edx,
          .leaf7Ebx = a.leaf7Ebx | b.leaf7Ebx,
          .leaf7Ecx = a.leaf7Ecx | b.leaf7Ecx,
          .bOsSavesYmm = a.bOsSavesYmm || b.bOsSavesYmm,
          .bOsSavesZmm = a.bOsSavesZmm || b.bOsSavesZmm,
          .bNeon = a.bNeon || b.bNeon,
          .bDotProd = a.bDotProd || b.bDotProd,
          .bI8mm = a.bI8mm || b.bI8mm};
}

struct FamilyLevels {
  std::array<KernelLevel, kMostLevels> levels;
  size_t count = 0;
  FamilyLevels() {
    for (; count < levels.size() && kFamilyLevels[count] != nullptr; ++count) levels[count] = CompleteLevel(*kFamilyLevels[count]);
  }
};

// The levels up to the one named `name`; all if there is no such level or name.
std::span<const KernelLevel> UpTo(const char* name) {
  const std::span<const KernelLevel> levels = KernelLevels();
  for (size_t i = 0; name != nullptr && i < levels.size(); ++i) {
    if (std::strcmp(levels[i].name, name) == 0) return levels.first(i + 1);
  }
  return levels;
}

}  // namespace

KernelLevel CompleteLevel(const KernelLevel& level) {
  KernelLevel complete = level;
  for (const KernelLevel* base = level.base; base != nullptr; base = base->base) {
    complete.needs = Both(complete.needs, base->needs);
    complete.dnn = Filled(complete.dnn, base->dnn);
    complete.lstm = Filled(complete.lstm, base->lstm);
  }
  return complete;
}

std::span<const KernelLevel> KernelLevels() {
  static const FamilyLevels family;
  return std::span(family.levels).first(family.count);
}

bool RunsOn(const KernelLevel& level, const CpuFeatures& cpu) {
  const CpuNeeds& needs = level.needs;
  return (needs.leaf1Ecx & ~cpu.leaf1Ecx) == 0 && (needs.leaf1Edx & ~cpu.leaf1Edx) == 0 && (needs.leaf7Ebx & ~cpu.leaf7Ebx) == 0 &&
         (needs.leaf7Ecx & ~cpu.leaf7Ecx) == 0 && (cpu.bOsSavesYmm || !needs.bOsSavesYmm) && (cpu.bOsSavesZmm || !needs.bOsSavesZmm) &&
         (cpu.bNeon || !needs.bNeon) && (cpu.bDotProd || !needs.bDotProd) && (cpu.bI8mm || !needs.bI8mm);
}

const KernelLevel& ChooseLevel(std::span<const KernelLevel> levels, const CpuFeatures& cpu) {
  size_t last = levels.size() - 1;
  while (last > 0 && !RunsOn(levels[last], cpu)) --last;
  return levels[last];
}

const KernelLevel& LevelOf(const CpuFeatures& cpu) { return ChooseLevel(KernelLevels(), cpu); }

const KernelLevel& LevelToRun(const CpuFeatures& cpu) {
  static const std::span<const KernelLevel> levels = UpTo(std::getenv("WVAD_FORCE_KERNELS"));
  return ChooseLevel(levels, cpu);
}

LstmVariant LstmVariantOf(const CpuFeatures& cpu) {
  if (cpu.int8_form()) return LstmVariant::kInt8;
  return cpu.sums_in_lanes() ? LstmVariant::kFloatSse : LstmVariant::kFloatX87;
}

bool FlushGemvIsSse(const CpuFeatures& cpu) { return cpu.sums_in_lanes(); }

}  // namespace TSEG
