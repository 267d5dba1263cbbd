// SPDX-License-Identifier: Apache-2.0
#include "wvad/system.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "support/environment.h"
#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

TEST(System, PrivateFolderIsForThisUserAloneAndGoesAwayWithItsContents) {
  std::string path;
  {
    const PrivateFolder folder;
    path = folder.path();
    EXPECT_EQ(path[0], '/');
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    std::fclose(std::fopen((path + "/file").c_str(), "w"));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(System, PrivateFolderNeedsNoUsableTmpdir) {
  const testing_support::TempFolder odd;
  for (const std::string& value : {std::string("/no/such/folder"), std::string("relative"), odd.file("back\\slash")}) {
    if (value[0] == '/' && value != "/no/such/folder") fs::create_directory(value);
    const testing_support::ScopedVariable temporary("TMPDIR", value);
    const PrivateFolder folder;
    EXPECT_EQ(folder.path().rfind("/tmp/wvad-", 0), 0U) << folder.path();
  }
}

TEST(System, CurrentFolderComesBack) {
  const fs::path before = fs::current_path();
  const testing_support::TempFolder there;
  {
    const CurrentFolder current(there.path());
    EXPECT_TRUE(fs::equivalent(fs::current_path(), there.path()));
  }
  EXPECT_EQ(fs::current_path(), before);
}

TEST(System, CurrentFolderThatIsMissingIsAFailureThatChangesNothing) {
  const fs::path before = fs::current_path();
  EXPECT_THROW(CurrentFolder("/no/such/folder"), Failure);
  EXPECT_EQ(fs::current_path(), before);
}

TEST(System, CurrentFolderComesBackToAFolderThatWasDeletedMeanwhile) {
  const fs::path before = fs::current_path();
  const testing_support::TempFolder there;
  fs::create_directory(there.file("gone"));
  fs::current_path(there.file("gone"));
  {
    const CurrentFolder current(there.path());
    fs::remove(there.file("gone"));
  }
  // Back in the deleted folder: it has no name any more, and the root, the other way out, would have one.
  std::error_code error;
  EXPECT_EQ(fs::current_path(error), fs::path());
  EXPECT_TRUE(error);
  fs::current_path(before);
}

TEST(System, OutputGoesToErrorForAWhile) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  std::puts("before");
  {
    const OutputToError quiet;
    std::puts("meanwhile");
  }
  std::puts("after");
  std::fflush(stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "before\nafter\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "meanwhile\n");
}

TEST(System, ProgramFolderHoldsTheProgram) { EXPECT_TRUE(fs::exists(ProgramFolder() + "/" + WVAD_TEST_PROGRAM_NAME)); }

}  // namespace
}  // namespace TSEG::tool
