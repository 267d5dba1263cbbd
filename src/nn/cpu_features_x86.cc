// SPDX-License-Identifier: Apache-2.0
//
// The processor record of an x86 processor, enumerated from CPUID.
#include <cstring>

#include "nn/cpu_features.h"
#include "platform/x86/cpuid.h"

namespace TSEG {
namespace {

constexpr uint32_t kFirstExtendedLeaf = 0x80000000u;
constexpr uint32_t kFirstBrandLeaf = 0x80000002u;
constexpr uint32_t kLastBrandLeaf = 0x80000004u;

void AppendWord(std::string* text, uint32_t word) {
  char bytes[sizeof word];
  std::memcpy(bytes, &word, sizeof word);
  text->append(bytes, sizeof word);
}

}  // namespace

CpuFeatures EnumerateCpu() {
  CpuFeatures features;
  const platform::CpuidWords base = platform::Cpuid(0, 0);
  features.nHighestLeaf = base.eax;
  AppendWord(&features.vendor, base.ebx);
  AppendWord(&features.vendor, base.edx);
  AppendWord(&features.vendor, base.ecx);
  features.bIsIntel = features.vendor == "GenuineIntel";
  features.bIsAmd = features.vendor == "AuthenticAMD";
  if (features.nHighestLeaf >= 1) {
    const platform::CpuidWords leaf1 = platform::Cpuid(1, 0);
    features.leaf1Ecx = leaf1.ecx;
    features.leaf1Edx = leaf1.edx;
  }
  if (features.nHighestLeaf >= 7) {
    const platform::CpuidWords leaf7 = platform::Cpuid(7, 0);
    features.leaf7Ebx = leaf7.ebx;
    features.leaf7Ecx = leaf7.ecx;
  }
  features.bOsSavesYmm = platform::OsSavesYmm();
  features.bOsSavesZmm = platform::OsSavesZmm();
  features.nHighestExtendedLeaf = platform::Cpuid(kFirstExtendedLeaf, 0).eax;
  if (features.nHighestExtendedLeaf >= kLastBrandLeaf) {
    for (uint32_t leaf = kFirstBrandLeaf; leaf <= kLastBrandLeaf; ++leaf) {
      const platform::CpuidWords words = platform::Cpuid(leaf, 0);
      for (uint32_t word : {words.eax, words.ebx, words.ecx, words.edx}) AppendWord(&features.brand, word);
    }
    features.brand.resize(std::strlen(features.brand.c_str()));
  }
  return features;
}

}  // namespace TSEG
