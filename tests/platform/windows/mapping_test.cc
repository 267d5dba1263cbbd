// SPDX-License-Identifier: Apache-2.0
//
// FileMapping: the bytes of a plain file, and an exception for anything else.
#include <gtest/gtest.h>

#include <boost/interprocess/exceptions.hpp>
#include <cstdint>
#include <cstring>
#include <string>

#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using boost::interprocess::interprocess_exception;
using testing_support::TempFolder;

TEST(FileMapping, ShowsTheWholeFile) {
  const TempFolder folder;
  const std::string bytes("model\0bytes", 11);
  const std::string path = folder.write("model.bin", bytes);
  const platform::FileMapping mapping(path);
  ASSERT_EQ(mapping.size(), bytes.size());
  EXPECT_EQ(std::memcmp(mapping.data(), bytes.data(), bytes.size()), 0);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(mapping.data()) % 4096, 0u);
}

TEST(FileMapping, ThrowsWhereThereIsNoFileToMap) {
  const TempFolder folder;
  folder.write("empty", "");
  EXPECT_THROW(platform::FileMapping(folder.file("missing")), interprocess_exception);
  EXPECT_THROW(platform::FileMapping(folder.file("empty")), interprocess_exception);
  EXPECT_THROW(platform::FileMapping(folder.path()), interprocess_exception);
  EXPECT_THROW(platform::FileMapping("NUL"), interprocess_exception);
  EXPECT_THROW(platform::FileMapping(""), interprocess_exception);
}

}  // namespace
}  // namespace TSEG
