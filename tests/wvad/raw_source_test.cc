// SPDX-License-Identifier: Apache-2.0
#include "wvad/raw_source.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"
#include "wvad/named_rows.h"

namespace TSEG::tool {
namespace {

struct Row {
  const char* form;
  std::string bytes;
  float value;
};

// Values by hand; those of G.711 from its tables: mu-law 0x00 is the greatest negative step (-32124 of 32768), 0x80 the greatest positive
// one, 0xFF zero; A-law 0xD5 is the smallest positive step (8), 0x2A the greatest negative one (-32256).
const Row kRows[] = {
    {"s16", std::string("\x00\x40", 2), 0.5F},
    {"s16", std::string("\x00\x80", 2), -1.0F},
    {"s24", std::string("\x00\x00\x40", 3), 0.5F},
    {"s24", std::string("\x00\x00\xC0", 3), -0.5F},
    {"s24", std::string("\x01\x00\x00", 3), 1.0F / 8388608.0F},
    {"s32", std::string("\x00\x00\x00\x80", 4), -1.0F},
    {"f32", std::string("\x00\x00\x00\xBF", 4), -0.5F},
    {"u8", std::string("\x00", 1), -1.0F},
    {"u8", std::string("\xC0", 1), 0.5F},
    {"mulaw", std::string("\x00", 1), -32124.0F / 32768.0F},
    {"mulaw", std::string("\x80", 1), 32124.0F / 32768.0F},
    {"mulaw", std::string("\xFF", 1), 0.0F},
    {"alaw", std::string("\xD5", 1), 8.0F / 32768.0F},
    {"alaw", std::string("\x2A", 1), -32256.0F / 32768.0F},
};

TEST(RawSource, EachFormHasItsValues) {
  const testing_support::TempFolder folder;
  for (const Row& row : kRows) {
    const RawForm* form = FindRow(RawForms(), row.form);
    ASSERT_NE(form, nullptr) << row.form;
    // Two frames of two channels, and a byte too many.
    const std::string path = folder.write("a.raw", row.bytes + row.bytes + row.bytes + row.bytes + "x");
    const std::unique_ptr<AudioSource> source = MakeRawSource(OpenBytes(path), 0, *form, 8000, 2);
    EXPECT_EQ(source->frames(), 2) << row.form;
    float out[8] = {};
    EXPECT_EQ(source->Read(out, 4), 2U) << row.form;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(out[i], row.value) << row.form;
    EXPECT_EQ(source->Read(out, 4), 0U);
    EXPECT_EQ(source->damage(), "");
  }
}

TEST(RawSource, FormsOfWaveFilesAreKnown) {
  EXPECT_STREQ(RawFormOfWave(1, 2)->name, "s16");
  EXPECT_STREQ(RawFormOfWave(3, 4)->name, "f32");
  EXPECT_STREQ(RawFormOfWave(7, 1)->name, "mulaw");
  EXPECT_EQ(RawFormOfWave(2, 1), nullptr);
  EXPECT_EQ(RawFormOfWave(3, 8), nullptr);
}

}  // namespace
}  // namespace TSEG::tool
