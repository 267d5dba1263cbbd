// SPDX-License-Identifier: Apache-2.0
//
// FileMapping: the bytes of a plain file, and an exception for anything else.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/interprocess/exceptions.hpp>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using boost::interprocess::interprocess_exception;
using testing_support::TempFolder;

TEST(FileMapping, ShowsTheWholeFile) {
  const TempFolder folder;
  const std::string bytes = "model\0bytes";
  const std::string path = folder.write("model.bin", bytes);
  const platform::FileMapping mapping(path);
  ASSERT_EQ(mapping.size(), bytes.size());
  EXPECT_EQ(std::memcmp(mapping.data(), bytes.data(), bytes.size()), 0);
}

#ifdef __linux__
// Pages of files in the memory of this process.
long FilePages() {
  long all = 0, resident = 0, shared = 0;
  std::ifstream("/proc/self/statm") >> all >> resident >> shared;
  return shared;
}

TEST(FileMapping, ForgottenPagesLeaveTheProcessAndComeBack) {
  const TempFolder folder;
  const std::string bytes(1 << 20, 'x');  // 256 pages
  const platform::FileMapping mapping(folder.write("model.bin", bytes));
  ASSERT_EQ(std::memcmp(mapping.data(), bytes.data(), bytes.size()), 0);
  const long read = FilePages();
  mapping.ForgetPages();
  EXPECT_LE(FilePages(), read - 200);
  EXPECT_EQ(std::memcmp(mapping.data(), bytes.data(), bytes.size()), 0);
}
#endif

TEST(FileMapping, ThrowsWhereThereIsNoFileToMap) {
  const TempFolder folder;
  folder.write("empty", "");
  ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
  EXPECT_THROW(platform::FileMapping(folder.file("missing")), interprocess_exception);
  EXPECT_THROW(platform::FileMapping(folder.file("empty")), interprocess_exception);
  EXPECT_THROW(platform::FileMapping(folder.file("pipe")), interprocess_exception);
  EXPECT_THROW(platform::FileMapping(folder.path()), interprocess_exception);
  EXPECT_THROW(platform::FileMapping(""), interprocess_exception);
}

}  // namespace
}  // namespace TSEG
