// SPDX-License-Identifier: Apache-2.0
#include "modelfile/npy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelfile/npy_bytes.h"
#include "modelfile/small_models.h"

namespace TSEG::modelfile {
namespace {

using ::testing::HasSubstr;

TEST(Npy, ReadsTheFourTypes) {
  const NpyArray f4 = ParseNpy(Npy(Dictionary("<f4", "(2, 3)"), Raw<float>({1, 2, 3, -4, 5, 0.5F})));
  EXPECT_EQ(f4.descr, "<f4");
  EXPECT_EQ(f4.shape, (std::vector<int64_t>{2, 3}));
  EXPECT_EQ(f4.data, (std::vector<double>{1, 2, 3, -4, 5, 0.5}));
  EXPECT_EQ(ParseNpy(Npy(Dictionary("<f8", "(2,)"), Raw<double>({0.1, -2}))).data, (std::vector<double>{0.1, -2}));
  EXPECT_EQ(ParseNpy(Npy(Dictionary("<i2", "(2,)"), Raw<int16_t>({-32768, 7}))).data, (std::vector<double>{-32768, 7}));
  EXPECT_EQ(ParseNpy(Npy(Dictionary("<i4", "(1, 2)"), Raw<int32_t>({-70000, 7}))).data, (std::vector<double>{-70000, 7}));
}

TEST(Npy, SaysWhatIsWrong) {
  const std::string two = Raw<float>({1, 2});
  const struct {
    Bytes file;
    const char* message;
  } kRows[] = {
      {Bytes(20), "the magic word is missing"},
      {{}, "the magic word is missing"},
      {Npy(Dictionary(">f4", "(2,)"), two), "is none of '<f4', '<f8', '<i2', '<i4'"},
      {Npy(Dictionary("<f2", "(2,)"), two), "is none of"},
      {Npy(Dictionary("<f4", "(2, 1, 1)"), two), "3 dimensions instead of 1 or 2"},
      {Npy(Dictionary("<f4", "()"), two), "0 dimensions"},
      {Npy(Dictionary("<f4", "(3,)"), two), "cut short in its data"},
      {Npy(Dictionary("<f4", "(1,)"), two), "something stands behind its data"},
      {Npy(Dictionary("<f4", "(2147483647, 2147483647)"), two), "cut short in its data"},
      {Npy(Dictionary("<f4", "(99999999999,)"), two), "a dimension is too large"},
      {Npy(Dictionary("<f4", "(-2,)"), two), "its shape is not a tuple of numbers"},
      {Npy(Dictionary("<f4", "2"), two), "its shape is not a tuple"},
      {Npy("{'descr': '<f4', 'fortran_order': True, 'shape': (2,), }", two), "Fortran order"},
      {Npy("{'descr': [('a', '<f4')], 'fortran_order': False, 'shape': (2,), }", two), "its type is not a simple one"},
      {Npy("{'fortran_order': False, 'shape': (2,), }", two), "no descr in its header"},
  };
  for (const auto& row : kRows) EXPECT_THAT(ErrorOf([&row] { ParseNpy(row.file); }), HasSubstr(row.message));
  const Bytes sound = Npy(Dictionary("<f4", "(2,)"), two);
  for (size_t n = 0; n < sound.size(); ++n) {
    const Bytes cut(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(n));
    EXPECT_NE(ErrorOf([&cut] { ParseNpy(cut); }), "(no error)") << n;
  }
}

}  // namespace
}  // namespace TSEG::modelfile
