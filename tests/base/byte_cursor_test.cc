// SPDX-License-Identifier: Apache-2.0
//
// ByteView: little-endian reads, and nothing beyond the end however large the request.
#include "base/byte_cursor.h"

#include <gtest/gtest.h>

#include <limits>

namespace TSEG {
namespace {

constexpr uint8_t kBytes[] = {0x01, 0x80, 0xFF, 0x7F, 0x10};
constexpr uint64_t kHuge = std::numeric_limits<uint64_t>::max();

TEST(ByteView, ReadsLittleEndian) {
  const ByteView view(kBytes, sizeof kBytes);
  EXPECT_EQ(view.u16(0), 0x8001);
  EXPECT_EQ(view.u32(0), 0x7FFF8001u);
  EXPECT_EQ(view.u32(1), 0x107FFF80u);
}

TEST(ByteView, RefusesWhatDoesNotFit) {
  const ByteView view(kBytes, sizeof kBytes);
  EXPECT_TRUE(view.holds(5, 0));
  EXPECT_TRUE(view.holds(0, 5));
  EXPECT_FALSE(view.holds(0, 6));
  EXPECT_FALSE(view.holds(6, 0));
  EXPECT_FALSE(view.holds(1, kHuge));
  EXPECT_FALSE(view.holds(kHuge, 1));
  EXPECT_FALSE(view.holds(kHuge, kHuge));
  EXPECT_EQ(view.u16(4), std::nullopt);
  EXPECT_EQ(view.u32(2), std::nullopt);
  EXPECT_EQ(view.u32(kHuge), std::nullopt);
  EXPECT_FALSE(ByteView().holds(0, 1));
}

TEST(ByteView, GivesAPartWithItsOwnBounds) {
  const ByteView view(kBytes, sizeof kBytes);
  const auto part = view.sub(1, 2);
  ASSERT_TRUE(part.has_value());
  EXPECT_EQ(part->size(), 2u);
  EXPECT_EQ(part->u16(0), 0xFF80);
  EXPECT_EQ(part->u16(1), std::nullopt);
  EXPECT_FALSE(view.sub(4, 2).has_value());
}

TEST(ByteView, MatchesATextWithItsEndMarkOrUpToTheLimit) {
  const char text[] = "MLP_RES\0tail";
  const ByteView view(text, sizeof text);
  EXPECT_TRUE(view.matches(0, "MLP_RES", 32));
  EXPECT_FALSE(view.matches(0, "MLP", 32));
  EXPECT_TRUE(view.matches(0, "MLP", 3));
  EXPECT_FALSE(view.matches(8, "tailored", 32));
  EXPECT_FALSE(view.matches(100, "MLP", 3));
}

}  // namespace
}  // namespace TSEG
