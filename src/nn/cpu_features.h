// SPDX-License-Identifier: Apache-2.0
//
// CpuFeatures: the processor record of the process, from which kernels and the form of a model are chosen.
//
// Filled once at its first use, by the file of the processor's family (cpu_features_x86.cc and its like), and only read afterwards. Choices
// are pure functions of the record, so that tests can hand in made-up ones.
#ifndef WVAD_NN_CPU_FEATURES_H_
#define WVAD_NN_CPU_FEATURES_H_

#include <cstdint>
#include <string>

namespace TSEG {

// What bits depend on beside the words of the record.
//
// kX86: the form of a 40-value model and the order of its float sums follow the SSE bits. kOther: every other family. It takes the int8
// form and sums in four lanes, whatever it can do, by the reference where it has no kernels of its own: the forms of an x86 processor with
// SSE4.1, so that a model scores alike on both.
enum class ProcessorFamily { kX86, kOther };

struct CpuFeatures {
  uint32_t nHighestLeaf = 0;
  std::string vendor;
  uint32_t leaf1Ecx = 0;     // bit 9 SSSE3, bit 19 SSE4.1, bit 27 OSXSAVE
  uint32_t leaf1Edx = 0;     // bit 25 SSE, bit 26 SSE2
  uint32_t leaf7Ebx = 0;     // bit 5 AVX2; of AVX-512 bit 16 F, bit 17 DQ, bit 30 BW, bit 31 VL
  uint32_t leaf7Ecx = 0;     // bit 11 AVX512_VNNI
  bool bIsIntel = false;     // "GenuineIntel"
  bool bIsAmd = false;       // "AuthenticAMD"
  bool bOsSavesYmm = false;  // the system keeps the 256-bit registers
  bool bOsSavesZmm = false;  // and the 512-bit ones, with their masks
  uint32_t nHighestExtendedLeaf = 0;
  std::string brand;
  ProcessorFamily family = ProcessorFamily::kX86;  // all words above stay zero on another one
  bool bNeon = false;                              // the vectors of 64-bit ARM, all of whose processors have them
  bool bDotProd = false;                           // its sums of four products of bytes of one kind (SDOT, UDOT)
  bool bI8mm = false;                              // and of bytes of two kinds (USDOT)

  bool sse() const { return (leaf1Edx >> 25) & 1u; }
  bool sse2() const { return (leaf1Edx >> 26) & 1u; }
  bool ssse3() const { return (leaf1Ecx >> 9) & 1u; }
  bool sse41() const { return (leaf1Ecx >> 19) & 1u; }
  bool avx2() const { return (leaf7Ebx >> 5) & 1u; }
  // Whether a 40-value model takes its int8 form: on x86 with SSE, SSE2, SSSE3 and SSE4.1 together.
  bool int8_form() const { return family != ProcessorFamily::kX86 || (sse() && sse2() && ssse3() && sse41()); }
  // Whether float products sum in four lanes: on x86 with SSE.
  bool sums_in_lanes() const { return family != ProcessorFamily::kX86 || sse(); }
};

// The record of this machine, asked anew. One file for each family of processors, chosen when the build is configured.
CpuFeatures EnumerateCpu();
// The real processor, enumerated at the first call.
const CpuFeatures& DetectedCpu();
// The record that the engine goes by: the detected one, unless a test has set another.
const CpuFeatures& TheCpu();
// Puts `features` in the place of the detected record, null to undo. For tests; not while a session runs.
void SetCpuForTest(const CpuFeatures* features);

}  // namespace TSEG

#endif  // WVAD_NN_CPU_FEATURES_H_
