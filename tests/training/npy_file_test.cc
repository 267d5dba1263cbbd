// SPDX-License-Identifier: Apache-2.0
#include "blocks/npy_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG::blocks {
namespace {

TEST(HalfBits, RoundsToTheNearestAndTiesToEven) {
  struct Row {
    float value;
    uint16_t bits;
  };
  const Row rows[] = {
      {0.0f, 0x0000},
      {-0.0f, 0x8000},
      {1.0f, 0x3C00},
      {-2.0f, 0xC000},
      {1.00048828125f, 0x3C00},    // 1 + 2^-11, between 0x3C00 and 0x3C01
      {1.00146484375f, 0x3C02},    // 1 + 3 * 2^-11, between 0x3C01 and 0x3C02
      {1.9998f, 0x4000},           // the carry reaches the exponent
      {6.103515625e-05f, 0x0400},  // 2^-14, the smallest normal half
      {5.9604645e-08f, 0x0001},    // 2^-24
      {2.9802322e-08f, 0x0000},    // 2^-25, between 0 and 2^-24
      {6.1e-05f, 0x03FF},          // 1023.4 units of 2^-24
      {65504.0f, 0x7BFF},
  };
  for (const Row& row : rows) EXPECT_EQ(HalfBits(row.value), row.bits) << row.value;
}

TEST(HalfBits, CutsWhatIsTooLargeAndKeepsNotANumber) {
  EXPECT_EQ(HalfBits(1e6f), 0x7BFF);
  EXPECT_EQ(HalfBits(65519.0f), 0x7BFF);
  EXPECT_EQ(HalfBits(-std::numeric_limits<float>::infinity()), 0xFBFF);
  EXPECT_EQ(HalfBits(std::numeric_limits<float>::quiet_NaN()) & 0x7FFF, 0x7E00);
}

TEST(WriteNpy, HeaderNamesTypeAndShapeAndEndsAt64Bytes) {
  const testing_support::TempFolder folder;
  const std::string path = folder.path() + "/a.npy";
  ASSERT_TRUE(WriteNpy(path, {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f}, 3, false));
  const std::string bytes = platform::ReadWholeFile(path).value();
  ASSERT_EQ(bytes.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
  const size_t header = 10 + static_cast<unsigned char>(bytes[8]) + 256u * static_cast<unsigned char>(bytes[9]);
  EXPECT_EQ(header % 64, 0u);
  EXPECT_EQ(bytes.size(), header + 24);
  EXPECT_EQ(bytes[header - 1], '\n');
  EXPECT_EQ(bytes.substr(10, 60).find("{'descr': '<f4', 'fortran_order': False, 'shape': (2, 3), }"), 0u);
  float last = 0;
  std::memcpy(&last, bytes.data() + header + 20, sizeof last);
  EXPECT_EQ(last, 6.0f);
}

TEST(WriteNpy, HalvesTakeTwoBytesEach) {
  const testing_support::TempFolder folder;
  const std::string path = folder.path() + "/a.npy";
  ASSERT_TRUE(WriteNpy(path, {1.0f, -2.0f}, 2, true));
  const std::string bytes = platform::ReadWholeFile(path).value();
  ASSERT_NE(bytes.find("'<f2'"), std::string::npos);
  EXPECT_EQ(bytes.substr(bytes.size() - 4), std::string("\x00\x3C\x00\xC0", 4));
}

TEST(WriteNpy, UnwritablePathIsReported) { EXPECT_FALSE(WriteNpy("/nowhere/a.npy", {1.0f}, 1, false)); }

}  // namespace
}  // namespace TSEG::blocks
