// SPDX-License-Identifier: Apache-2.0
//
// Bytes of a pipe that are no samples for sure are refused, and no samples are.
#include "wvad/foreign_bytes.h"

#include "wvad/program_fixture.h"

namespace TSEG::tool {
namespace {

using namespace std::string_literals;

class ForeignBytes : public Program {
 protected:
  std::string Kind(const std::string& bytes) {
    const char* kind = ForeignKind(*OpenBytes(folder_.write("x", bytes)));
    return kind == nullptr ? "" : kind;
  }
};

TEST_F(ForeignBytes, AreToldByTheirMarkOrAsText) {
  EXPECT_EQ(Kind("\x89PNG\r\n\x1A\n\0\0\0\rIHDR"s), "a picture (PNG)");
  EXPECT_EQ(Kind("\xFF\xD8\xFF\xE0\0\x10JFIF"s), "a picture (JPEG)");
  EXPECT_EQ(Kind("\x1F\x8B\x08\0"s), "compressed (gzip)");
  EXPECT_EQ(Kind("PK\3\4"), "an archive (ZIP)");
  EXPECT_EQ(Kind("\x7F"
                 "ELF\2\1\1"s),
            "a program (ELF)");
  EXPECT_EQ(Kind("404 page not found\n"), "text");
  EXPECT_EQ(Kind(std::string(64, 'a') + "\0"s), "text");  // no more of it is looked at
}

TEST_F(ForeignBytes, SamplesAreNone) {
  EXPECT_EQ(Kind(""), "");
  EXPECT_EQ(Kind("fifteen letters"), "");  // seven samples and a half
  EXPECT_EQ(Kind(std::string(100, '\0')), "");
  EXPECT_EQ(Kind(std::string(63, 'a') + "\0"s), "");
  EXPECT_EQ(Kind("\x89PNX and nothing more of it"), "");
  EXPECT_EQ(Kind(Bytes(Bursts(1, {{0.0, 1.0}}))), "");
}

TEST_F(ForeignBytes, OnStandardInputAreRefusedUnlessTheirFormIsSaid) {
  input_ = "<html><body>404 not found</body></html>\n";
  ExpectFailure(Segment({"-f", "csv", "-o", folder_.file("no"), "-"}), 4,
                "-: these bytes are text and no audio; if they are samples all the same, say --raw");
  EXPECT_EQ(Segment({"-q", "-f", "csv", "--raw", "s16", "-"}).code, 0);
}

}  // namespace
}  // namespace TSEG::tool
