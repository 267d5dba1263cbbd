// SPDX-License-Identifier: Apache-2.0
#include "wvad/piece_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_folder.h"

namespace TSEG::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PieceList : public ::testing::Test {
 protected:
  std::vector<std::string> Pieces(const std::string& text) { return PiecesOf(folder_.write("list", text)); }
  std::string Here(const std::string& name) { return folder_.file(name); }

  testing_support::TempFolder folder_;
};

TEST_F(PieceList, NamesOfFfconcatAreReadWithTheirQuotes) {
  EXPECT_THAT(
      Pieces(
          "ffconcat version 1.0\n# note\nfile a.wav\ninpoint 1\n  file 'b c.wav'\r\nfile d\\ e.wav\nfile 'it'\\''s.wav'\nfile /x/y.wav\n"),
      ElementsAre(Here("a.wav"), Here("b c.wav"), Here("d e.wav"), Here("it's.wav"), "/x/y.wav"));
  EXPECT_THAT(Pieces("ffconcat version 1.0\nfile file:a.wav\nfilex b.wav\nfile\n"), ElementsAre(Here("a.wav")));
}

TEST_F(PieceList, LinesAndUrisOfHlsAreNames) {
  EXPECT_THAT(Pieces("#EXTM3U\n#EXT-X-MAP:URI=\"init.mp4\",BYTERANGE=\"1@0\"\n#EXTINF:4,\n0.ts\n\n#EXTINF:4,\nsub/1.ts\n0.ts\n"),
              ElementsAre(Here("init.mp4"), Here("0.ts"), Here("sub/1.ts")));
}

TEST_F(PieceList, ListsInListsAreFollowedAndNoneForEver) {
  std::filesystem::create_directory(Here("sub"));
  folder_.write("sub/inner", "#EXTM3U\n0.ts\n../list\n");
  EXPECT_THAT(Pieces("#EXTM3U\nsub/inner\n"), ElementsAre(Here("sub/inner"), Here("sub/0.ts"), Here("sub/../list")));
}

TEST_F(PieceList, WhatIsNoListOrNotThereLeadsNowhere) {
  EXPECT_THAT(Pieces("file a.wav\n"), IsEmpty());
  EXPECT_THAT(Pieces(""), IsEmpty());
  EXPECT_THAT(PiecesOf(Here("none")), IsEmpty());
  EXPECT_THAT(PiecesOf(folder_.path()), IsEmpty());
}

}  // namespace
}  // namespace TSEG::tool
