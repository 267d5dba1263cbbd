// SPDX-License-Identifier: Apache-2.0
#include "wvad/model_finder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace TSEG::tool {
namespace {

TEST(NamesOfBundledModels, AreThoseThatTheTreeHolds) {
  std::vector<std::string> there;
  for (const auto& entry : std::filesystem::directory_iterator(WVAD_TREE_MODELS)) {
    if (entry.path().extension() == ".bin") there.push_back(entry.path().stem().string());
  }
  EXPECT_THAT(std::vector<std::string>(std::begin(kBundledModels), std::end(kBundledModels)), ::testing::UnorderedElementsAreArray(there));
}

}  // namespace
}  // namespace TSEG::tool
