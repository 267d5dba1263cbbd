// SPDX-License-Identifier: Apache-2.0
//
// Settings that the system reads itself: private profiles and the registry.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

TEST(Settings, ProfileValuesComeFromTheirSection) {
  const testing_support::TempFolder folder;
  const std::string path = platform::NormaliseSeparators(
      folder.write("x.cfu", "[other]\nlevel=1\n[Logger]\nlevel = 15 \r\n; a remark\ntitle=\"in quotes\"\nfile=..\\log\\x.log\nempty=\n"));
  EXPECT_EQ(platform::ProfileValue(path, "logger", "level"), "15");
  EXPECT_EQ(platform::ProfileValue(path, "logger", "TITLE"), "in quotes");
  EXPECT_EQ(platform::ProfileValue(path, "logger", "file"), "..\\log\\x.log");
  EXPECT_EQ(platform::ProfileValue(path, "logger", "empty"), "");
  EXPECT_EQ(platform::ProfileValue(path, "logger", "missing"), "");
  EXPECT_EQ(platform::ProfileValue(path, "missing", "level"), "");
  EXPECT_EQ(platform::ProfileValue(path + ".not", "logger", "level"), "");
}

TEST(Settings, ProfileValuesKeepTheirBytes) {
  const testing_support::TempFolder folder;
  const std::string path = platform::NormaliseSeparators(folder.write("x.cfu", "[logger]\nfile=\xC3\xA4\xE2\x82\xAC.log\n"));
  EXPECT_EQ(platform::ProfileValue(path, "logger", "file"), "\xC3\xA4\xE2\x82\xAC.log");
}

TEST(Settings, ProfileValueEndsAtItsLimit) {
  const testing_support::TempFolder folder;
  const std::string path = platform::NormaliseSeparators(folder.write("x.cfu", "[logger]\nfile=" + std::string(3000, 'x') + "\n"));
  EXPECT_EQ(platform::ProfileValue(path, "logger", "file"), std::string(1023, 'x'));
}

TEST(Settings, RegistryGivesTextsAndNumbers) {
  const char* const key = "Software\\wvad_test";
  HKEY made = nullptr;
  if (::RegCreateKeyExA(HKEY_LOCAL_MACHINE, key, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &made, nullptr) !=
      ERROR_SUCCESS) {
    GTEST_SKIP() << "this user may not write there";
  }
  const unsigned long level = 4294967295u;
  const unsigned char bytes[] = {1, 2, 3};
  ::RegSetValueExA(made, "title", 0, REG_SZ, reinterpret_cast<const unsigned char*>("A title"), 8);
  ::RegSetValueExA(made, "level", 0, REG_DWORD, reinterpret_cast<const unsigned char*>(&level), sizeof level);
  ::RegSetValueExA(made, "bytes", 0, REG_BINARY, bytes, sizeof bytes);
  EXPECT_EQ(platform::RegistryValue(key, "title"), "A title");
  EXPECT_EQ(platform::RegistryValue(key, "level"), "4294967295");
  EXPECT_EQ(platform::RegistryValue(key, "bytes"), "");
  EXPECT_EQ(platform::RegistryValue(key, "missing"), "");
  EXPECT_EQ(platform::RegistryValue("Software\\wvad_test\\not", "title"), std::nullopt);
  ::RegCloseKey(made);
  ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, key);
}

}  // namespace
}  // namespace TSEG
