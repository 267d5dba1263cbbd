// SPDX-License-Identifier: Apache-2.0
//
// The level that this very processor gets, wherever the tests of the kernels run.
#include <gtest/gtest.h>

#include <cstdio>

#include "nn/kernels/dispatch.h"

namespace TSEG {
namespace {

TEST(KernelLevels, OneRunsOnThisProcessor) {
  const KernelLevel& level = LevelOf(DetectedCpu());
  std::printf("level %s\n", LevelToRun(DetectedCpu()).name);  // scripts/platform_row.py looks for this line
  EXPECT_TRUE(RunsOn(level, DetectedCpu()));
  EXPECT_EQ(&level, &ChooseLevel(KernelLevels(), DetectedCpu()));
}

}  // namespace
}  // namespace TSEG
