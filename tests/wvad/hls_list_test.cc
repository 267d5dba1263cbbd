// SPDX-License-Identifier: Apache-2.0
#include "wvad/hls_list.h"

#include <gtest/gtest.h>

#include <string>

#include "support/temp_folder.h"

namespace TSEG::tool {
namespace {

class Hls : public ::testing::Test {
 protected:
  std::optional<HlsList> Read(const std::string& text) { return ReadHlsList(*OpenBytes(folder_.write("list", text))); }

  testing_support::TempFolder folder_;
};

TEST_F(Hls, PiecesPromiseWhatTheirLengthsComeTo) {
  const std::optional<HlsList> list =
      Read("#EXTM3U\n#EXTINF:10.25,\na.ts\r\n#EXTINF: 4.5,title\r\nb.ts\n#EXTINF:2\nc.ts\n#EXT-X-ENDLIST\n");
  ASSERT_TRUE(list);
  EXPECT_EQ(list->pieces, 3);
  EXPECT_EQ(list->length_s, 16.75);
  EXPECT_EQ(list->rounding_s, 0);
  EXPECT_TRUE(list->closed);
}

TEST_F(Hls, ClocksThatAreSetAnewAreKnown) {
  EXPECT_TRUE(Read("#EXTM3U\n#EXTINF:1.5,\na.ts\n#EXT-X-DISCONTINUITY\r\n#EXTINF:1.5,\nb.ts\n")->discontinuous);
  EXPECT_FALSE(Read("#EXTM3U\n#EXT-X-DISCONTINUITY-SEQUENCE:3\n#EXTINF:1.5,\na.ts\n")->discontinuous);
}

TEST_F(Hls, WholeSecondsAreRounded) {
  const std::optional<HlsList> list = Read("#EXTM3U\n#EXTINF:10,\na.ts\n#EXTINF:4,\nb.ts\n");
  ASSERT_TRUE(list);
  EXPECT_EQ(list->length_s, 14);
  EXPECT_EQ(list->rounding_s, 1);
  EXPECT_FALSE(list->closed);
}

TEST_F(Hls, LengthsThatAreNonePromiseNothing) {
  const std::optional<HlsList> list = Read("#EXTM3U\n#EXTINF:-3,\na.ts\n#EXTINF:inf,\nb.ts\n#EXTINF:,\nc.ts\n#EXTINF:1.5s,\nd.ts\n");
  ASSERT_TRUE(list);
  EXPECT_EQ(list->pieces, 4);
  EXPECT_EQ(list->length_s, 0);
}

TEST_F(Hls, OtherListsAndTextsAreNone) {
  EXPECT_FALSE(Read(""));
  EXPECT_FALSE(Read("#EXTINF:1,\na.ts\n"));
  EXPECT_FALSE(Read("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nl.m3u8\n"));
}

}  // namespace
}  // namespace TSEG::tool
