// SPDX-License-Identifier: Apache-2.0
//
// Levels as data: what they take over from their bases, and which one is chosen, on made-up levels and on those that were built in.
#include "nn/kernels/dispatch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "nn/processors.h"
#include "support/environment.h"

namespace TSEG {
namespace {

constexpr uint32_t kFirst = 1u << 19, kSecond = 1u << 5;

void OtherAdd(float*, const float*, int32_t) {}
void OtherMul(const float*, const float*, float*, int32_t) {}
void ThirdMul(const float*, const float*, float*, int32_t) {}

constexpr KernelLevel kLow = {
    .name = "low", .base = &ref::kLevel, .needs = {.leaf1Ecx = kFirst}, .lstm = {.add = OtherAdd, .mul = OtherMul}};
constexpr KernelLevel kHigh = {.name = "high", .base = &kLow, .needs = {.leaf7Ebx = kSecond}, .lstm = {.mul = ThirdMul}};
constexpr KernelLevel kBeside = {.name = "beside", .base = &ref::kLevel, .needs = {.leaf7Ebx = kSecond}, .lstm = {.mul = ThirdMul}};

CpuFeatures Having(uint32_t leaf1_ecx, uint32_t leaf7_ebx) {
  CpuFeatures cpu;
  cpu.leaf1Ecx = leaf1_ecx;
  cpu.leaf7Ebx = leaf7_ebx;
  return cpu;
}

template <typename Table>
bool HasEveryKernel(const Table& table) {
  void (*pointers[sizeof(Table) / sizeof(void (*)())])();
  static_assert(sizeof pointers == sizeof table);
  std::memcpy(static_cast<void*>(pointers), &table, sizeof table);
  for (const auto pointer : pointers) {
    if (pointer == nullptr) return false;
  }
  return true;
}

TEST(KernelLevels, BeginAsTheirBaseAndKeepTheirOwnKernels) {
  const KernelLevel low = CompleteLevel(kLow);
  EXPECT_EQ(low.lstm.add, &OtherAdd);
  EXPECT_EQ(low.lstm.mul, &OtherMul);
  EXPECT_EQ(low.lstm.tanh, &ref::Tanh);
  EXPECT_EQ(low.dnn.gemm_int8, &ref::DnnGemmInt8);
  const KernelLevel high = CompleteLevel(kHigh);
  EXPECT_EQ(high.lstm.add, &OtherAdd);
  EXPECT_EQ(high.lstm.mul, &ThirdMul);
  EXPECT_EQ(high.lstm.tanh, &ref::Tanh);
  EXPECT_EQ(std::string(high.name), "high");
  EXPECT_TRUE(HasEveryKernel(high.dnn) && HasEveryKernel(high.lstm));
  EXPECT_FALSE(HasEveryKernel(kHigh.lstm));
}

TEST(KernelLevels, NeedWhatTheirBasesNeed) {
  const KernelLevel high = CompleteLevel(kHigh);
  EXPECT_TRUE(RunsOn(high, Having(kFirst, kSecond)));
  EXPECT_FALSE(RunsOn(high, Having(kFirst, 0)));
  EXPECT_FALSE(RunsOn(high, Having(0, kSecond)));
}

TEST(KernelLevels, NeedEachBitOfEachWord) {
  const KernelLevel level = {.needs = {.leaf1Ecx = 3,
                                       .leaf1Edx = 3,
                                       .leaf7Ebx = 3,
                                       .leaf7Ecx = 3,
                                       .bOsSavesYmm = true,
                                       .bOsSavesZmm = true,
                                       .bNeon = true,
                                       .bDotProd = true,
                                       .bI8mm = true}};
  CpuFeatures all;
  all.leaf1Ecx = all.leaf1Edx = all.leaf7Ebx = all.leaf7Ecx = 7;
  all.bOsSavesYmm = all.bOsSavesZmm = all.bNeon = all.bDotProd = all.bI8mm = true;
  EXPECT_TRUE(RunsOn(level, all));
  for (uint32_t CpuFeatures::*word : {&CpuFeatures::leaf1Ecx, &CpuFeatures::leaf1Edx, &CpuFeatures::leaf7Ebx, &CpuFeatures::leaf7Ecx}) {
    for (const uint32_t rest : {0u, 1u, 2u, 4u, 5u, 6u}) {
      CpuFeatures cpu = all;
      cpu.*word = rest;
      EXPECT_FALSE(RunsOn(level, cpu)) << rest;
    }
  }
  for (bool CpuFeatures::*flag :
       {&CpuFeatures::bOsSavesYmm, &CpuFeatures::bOsSavesZmm, &CpuFeatures::bNeon, &CpuFeatures::bDotProd, &CpuFeatures::bI8mm}) {
    CpuFeatures cpu = all;
    cpu.*flag = false;
    EXPECT_FALSE(RunsOn(level, cpu));
  }
}

TEST(KernelLevels, NeedOfTheBaseStaysForTheFlagsToo) {
  const KernelLevel wide = {.base = &kLow, .needs = {.bOsSavesYmm = true}};
  const KernelLevel wider = CompleteLevel({.base = &wide, .needs = {.bOsSavesZmm = true}});
  EXPECT_TRUE(wider.needs.bOsSavesYmm && wider.needs.bOsSavesZmm);
  EXPECT_FALSE(CompleteLevel(wide).needs.bOsSavesZmm);
  const KernelLevel dots = {.base = &kLow, .needs = {.bNeon = true, .bDotProd = true}};
  const KernelLevel more = CompleteLevel({.base = &dots, .needs = {.bI8mm = true}});
  EXPECT_TRUE(more.needs.bNeon && more.needs.bDotProd && more.needs.bI8mm);
  EXPECT_FALSE(CompleteLevel(dots).needs.bI8mm);
}

TEST(KernelLevels, AreASetOfWhichTheLastThatRunsIsChosen) {
  const KernelLevel levels[] = {ref::kLevel, CompleteLevel(kLow), CompleteLevel(kBeside)};
  EXPECT_EQ(&ChooseLevel(levels, Having(0, 0)), &levels[0]);
  EXPECT_EQ(&ChooseLevel(levels, Having(kFirst, 0)), &levels[1]);
  EXPECT_EQ(&ChooseLevel(levels, Having(0, kSecond)), &levels[2]);
  EXPECT_EQ(&ChooseLevel(levels, Having(kFirst, kSecond)), &levels[2]);
  EXPECT_EQ(&ChooseLevel(std::span(levels).first(1), Having(kFirst, kSecond)), &levels[0]);
}

TEST(KernelLevels, BuiltInOnesHaveEveryKernelAndANameOfTheirOwn) {
  ASSERT_FALSE(KernelLevels().empty());
  EXPECT_EQ(std::string(KernelLevels().front().name), "ref");
  EXPECT_TRUE(RunsOn(KernelLevels().front(), CpuFeatures()));
  std::set<std::string> names;
  for (const KernelLevel& level : KernelLevels()) {
    EXPECT_TRUE(HasEveryKernel(level.dnn) && HasEveryKernel(level.lstm)) << level.name;
    EXPECT_TRUE(names.insert(level.name).second) << level.name;
    // Sums of another order are other bits, so this one has no faster form.
    EXPECT_EQ(level.lstm.gemv_float_x87, &ref::GemvFloatX87) << level.name;
  }
}

TEST(KernelLevels, OneThatRunsIsChosenForEverySubsetOfTheProcessor) {
  for (const CpuFeatures& cpu : test::EverySubsetOfLevels()) EXPECT_TRUE(RunsOn(LevelOf(cpu), cpu));
  EXPECT_EQ(std::string(LevelOf(test::EverySubsetOfLevels().back()).name), "ref");
}

TEST(KernelLevelsDeathTest, VariableThatNamesTheReferenceIsReadOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, which has not read it yet
  const auto name_with = [](const char* name) {
    testing_support::SetVariable("WVAD_FORCE_KERNELS", name);
    const std::string first = LevelToRun(DetectedCpu()).name;
    testing_support::SetVariable("WVAD_FORCE_KERNELS", "another");
    std::fprintf(stderr, "%s then %s", first.c_str(), LevelToRun(DetectedCpu()).name);
    std::exit(0);
  };
  const std::string best = LevelOf(DetectedCpu()).name;
  EXPECT_EXIT(name_with("ref"), testing::ExitedWithCode(0), "ref then ref");
  EXPECT_EXIT(name_with("other"), testing::ExitedWithCode(0), best + " then " + best);
  EXPECT_EXIT(name_with(""), testing::ExitedWithCode(0), best + " then " + best);
}

}  // namespace
}  // namespace TSEG
