// SPDX-License-Identifier: Apache-2.0
//
// Wrapping, saturating and cutting at the ends of each range.
#include "base/wrap.h"

#include <gtest/gtest.h>

#include <limits>

namespace TSEG {
namespace {

TEST(Wrap, LowBitsReadAsTwosComplement) {
  EXPECT_EQ(Low16(32767), 32767);
  EXPECT_EQ(Low16(32768), -32768);
  EXPECT_EQ(Low16(65536), 0);
  EXPECT_EQ(Low16(-32769), 32767);
  EXPECT_EQ(Low32(int64_t{1} << 31), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(Low32((int64_t{1} << 32) + 5), 5);
}

TEST(Wrap, SumsDifferencesAndProductsWrap) {
  constexpr int32_t kTop = std::numeric_limits<int32_t>::max();
  constexpr int32_t kBottom = std::numeric_limits<int32_t>::min();
  EXPECT_EQ(WrapAdd32(kTop, 1), kBottom);
  EXPECT_EQ(WrapSub32(kBottom, 1), kTop);
  EXPECT_EQ(WrapMul32(65536, 65536), 0);
  EXPECT_EQ(WrapMul32(kBottom, -1), kBottom);
  EXPECT_EQ(WrapAdd16(32767, 2), -32767);
}

TEST(Wrap, SaturationStopsAtTheEnds) {
  EXPECT_EQ(Saturate16(32768), 32767);
  EXPECT_EQ(Saturate16(-32769), -32768);
  EXPECT_EQ(Saturate16(-5), -5);
  EXPECT_EQ(Saturate16(std::numeric_limits<int64_t>::min()), -32768);
}

TEST(Wrap, CutGoesTowardZeroAndNeverTraps) {
  constexpr int64_t kLowest = std::numeric_limits<int64_t>::min();
  EXPECT_EQ(CutToInt64(2.9), 2);
  EXPECT_EQ(CutToInt64(-2.9), -2);
  EXPECT_EQ(CutToInt64(9223372036854775808.0), kLowest);
  EXPECT_EQ(CutToInt64(-1e300), kLowest);
  EXPECT_EQ(CutToInt64(std::numeric_limits<double>::infinity()), kLowest);
  EXPECT_EQ(CutToInt64(std::numeric_limits<double>::quiet_NaN()), kLowest);
}

TEST(Wrap, LowBitsAreTakenAfterTheCut) {
  EXPECT_EQ(CutLow32(4294967297.5), 1);
  EXPECT_EQ(CutLow32(-1.5), -1);
  EXPECT_EQ(CutLow32(1e30), 0);
  EXPECT_EQ(CutLow16(65538.9), 2);
  EXPECT_EQ(CutLow16(40000.0), -25536);
}

}  // namespace
}  // namespace TSEG
