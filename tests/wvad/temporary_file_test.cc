// SPDX-License-Identifier: Apache-2.0
#include "wvad/temporary_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/environment.h"
#include "support/temp_folder.h"

namespace TSEG::tool {
namespace {

TEST(TemporaryFile, GivesBackWhatWasAppended) {
  TemporaryFile file("-");
  file.Append("abc", 3);
  char bytes[8] = {};
  EXPECT_EQ(file.ReadAt(1, bytes, 8), 2U);
  EXPECT_STREQ(bytes, "bc");
  file.Append("defg", 4);
  EXPECT_EQ(file.ReadAt(2, bytes, 3), 3U);
  EXPECT_EQ(std::string(bytes, 3), "cde");
  EXPECT_EQ(file.ReadAt(7, bytes, 8), 0U);
}

TEST(TemporaryFile, LeavesNoNameAndNeedsNoUsableTmpdir) {
  const testing_support::TempFolder folder;
  for (const std::string& place : {folder.path(), folder.file("missing"), std::string()}) {
    const testing_support::ScopedVariable temporary("TMPDIR", place);
    TemporaryFile file("-");
    file.Append("x", 1);
    char byte = 0;
    EXPECT_EQ(file.ReadAt(0, &byte, 1), 1U) << place;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  }
}

}  // namespace
}  // namespace TSEG::tool
