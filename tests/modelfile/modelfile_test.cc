// SPDX-License-Identifier: Apache-2.0
//
// Writing model files and containers, and reading them back.
#include "modelfile/modelfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "modelfile/small_models.h"

namespace TSEG::modelfile {
namespace {

using ::testing::HasSubstr;

template <typename T>
T Peek(const Bytes& file, size_t offset) {
  T value;
  std::memcpy(&value, file.data() + offset, sizeof value);
  return value;
}

std::string Text(const Bytes& file, size_t offset) { return reinterpret_cast<const char*>(file.data() + offset); }

TEST(WriteModel, PutsEachFieldInItsPlace) {
  const Bytes file = WriteModel(Tiny());
  ASSERT_EQ(file.size(), 384u + 13400u + 9u * 4u);
  EXPECT_EQ(Peek<uint16_t>(file, 2), 384);
  EXPECT_EQ(Text(file, 44), "orvalin");
  EXPECT_EQ(Text(file, 148), "");
  EXPECT_EQ(Peek<uint64_t>(file, 368), file.size());
  const size_t h = 384;
  EXPECT_EQ(Text(file, h + 16), "MLP_RES_DNN");
  EXPECT_EQ(Peek<int32_t>(file, h + 48), 2);
  EXPECT_EQ(Peek<int32_t>(file, h + 84 + 4), 3);   // inner of w
  EXPECT_EQ(Peek<int32_t>(file, h + 596 + 4), 2);  // outer of w
  EXPECT_EQ(Text(file, h + 1108 + 64), "w");
  EXPECT_EQ(Text(file, h + 9300 + 8), "float");
  EXPECT_EQ(Peek<int32_t>(file, h + 10324 + 4), 10);
  EXPECT_EQ(Peek<int32_t>(file, h + 10836 + 4), 11);
  EXPECT_EQ(Peek<int32_t>(file, h + 11348 + 4), 8);
  EXPECT_EQ(Peek<int32_t>(file, h + 11860 + 4), 9);
  EXPECT_EQ(Peek<int32_t>(file, h + 12372), 2);
  EXPECT_EQ(Text(file, h + 12376 + 16), "is_ctc");
  EXPECT_EQ(Text(file, h + 12888 + 16), "true");
  EXPECT_EQ(Peek<float>(file, h + 13400), 1.0F);
  EXPECT_EQ(Peek<float>(file, h + 13400 + 4 * 7), -4.0F);
}

TEST(WriteModel, PutsScalesAndKeysOfTheOtherShapesInTheirPlaces) {
  ModelContents contents = Tiny();
  contents.shape = Shape::kV2;
  contents.network_type = "MLP_RES_RNNCNNPAD28";
  contents.fScale[8] = 2.5F;
  const Bytes v2 = WriteModel(contents);
  EXPECT_EQ(Peek<float>(v2, 384 + 10324 + 32), 2.5F);
  EXPECT_EQ(Peek<int32_t>(v2, 384 + 10388), 2);
  EXPECT_EQ(Text(v2, 384 + 10392 + 16), "is_ctc");
  EXPECT_EQ(Text(v2, 384 + 10904 + 16), "true");
  EXPECT_EQ(Peek<float>(v2, 384 + 11416), 1.0F);
  contents.shape = Shape::kV1;
  contents.network_type = "MLP_RES_RNN";
  const Bytes v1 = WriteModel(contents);
  EXPECT_EQ(Text(v1, 384 + 1108 + 16), "w");
  EXPECT_EQ(Peek<int32_t>(v1, 384 + 4180 + 4), 8);
  EXPECT_EQ(Peek<int32_t>(v1, 384 + 5204), 2);
  EXPECT_EQ(Text(v1, 384 + 5208 + 16), "is_ctc");
  EXPECT_EQ(Text(v1, 384 + 5720 + 16), "true");
  EXPECT_EQ(Peek<float>(v1, 384 + 6232), 1.0F);
}

// Contents with `seed` behind every choice.
ModelContents RandomContents(unsigned seed) {
  std::mt19937 random(seed);
  auto below = [&random](unsigned n) { return static_cast<int32_t>(random() % n); };
  ModelContents contents;
  const char* types[] = {"MLP_RES_DNN", "MLP_RES_RNNCNNPAD28", "MLP_RES_RNNCATDNN", "MLP_RES_RNN", "MLP_RES_BIRNN"};
  contents.network_type = types[below(5)];
  contents.shape = ShapeOfType(contents.network_type);
  const char* dtypes[] = {"double", "float", "int", "short", "ushort", "uchar", "char"};
  const double lowest[] = {-1e300, -1e38, -2147483648.0, -32768, 0, 0, -128};
  const double highest[] = {1e300, 1e38, 2147483647.0, 32767, 65535, 255, 127};
  const int32_t n_vars = seed % 7 == 0 ? 128 : below(12);
  for (int32_t i = 0; i < n_vars; ++i) {
    Variable v;
    v.name = "v" + std::to_string(i) + std::string(static_cast<size_t>(below(contents.shape == Shape::kV1 ? 11 : 59)), 'x');
    const int32_t type = contents.shape == Shape::kV1 ? 1 : below(7);
    v.dtype = dtypes[type];
    v.inner = 1 + below(9);
    v.outer = 1 + below(9);
    for (int32_t k = 0; k < v.inner * v.outer; ++k) {
      const double u = random() % 10 == 0 ? static_cast<double>(random() % 2) : static_cast<double>(random()) / 4294967295.0;
      double x = lowest[type] + u * (highest[type] - lowest[type]);
      if (type == 1) x = static_cast<double>(static_cast<float>(x));
      if (type > 1) x = std::floor(x);
      v.data.push_back(x);
    }
    if (contents.shape != Shape::kV2) v.nShift8 = below(300) - 20;
    if (contents.shape == Shape::kV3) {
      v.nShift16 = below(300) - 20;
      v.nAux16 = static_cast<int32_t>(random());
      v.nAux8 = static_cast<int32_t>(random());
    }
    contents.variables.push_back(v);
  }
  if (contents.shape == Shape::kV2) {
    for (float& s : contents.fScale) s = static_cast<float>(below(1000)) / 7.0F;
  }
  for (int32_t i = below(33); i > 0; --i) {
    contents.keys.emplace_back("k" + std::to_string(below(100)), std::string(static_cast<size_t>(below(16)), 'v'));
  }
  return contents;
}

TEST(WriteModel, ReadingBackIsTheIdentity) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    const ModelContents contents = RandomContents(seed);
    const Bytes file = WriteModel(contents);
    const ModelContents read = ReadModel(file);
    ASSERT_EQ(read, contents) << "seed " << seed;
    ASSERT_EQ(WriteModel(read), file) << "seed " << seed;
  }
}

TEST(WriteModel, RefusesWhatTheFormatCannotHold) {
  const struct {
    std::function<void(ModelContents*)> change;
    const char* message;
  } kRows[] = {
      {[](ModelContents* s) { s->variables.resize(129, s->variables[0]); }, "more than 128 variables"},
      {[](ModelContents* s) { s->keys.resize(33); }, "more than 32 keys"},
      {[](ModelContents* s) { s->keys[0].second = "0123456789abcdef"; }, "value \"0123456789abcdef\" is longer than 15 characters"},
      {[](ModelContents* s) { s->network_type = std::string(32, 'T'); }, "is longer than 31 characters"},
      {[](ModelContents* s) { s->variables[0].name = std::string(64, 'n'); }, "is longer than 63 characters"},
      {[](ModelContents* s) {
         s->shape = Shape::kV1;
         s->variables[0].name = std::string(16, 'n');
       },
       "is longer than 15 characters"},
      {[](ModelContents* s) { s->variables[0].dtype = "half"; }, "variable mean: unknown data type \"half\""},
      {[](ModelContents* s) { s->variables[0].outer = 4; }, "variable mean: 3 values for a shape of 4 x 1"},
      {[](ModelContents* s) { s->variables[0].outer = 0; }, "variable mean: a dimension is below 1"},
      {[](ModelContents* s) { s->variables[0].data[0] = 1e39; }, "is not a value of type float"},
      {[](ModelContents* s) {
         s->variables[0].dtype = "uchar";
         s->variables[0].data[0] = 256;
       },
       "variable mean: 256.000000 is not a value of type uchar"},
      {[](ModelContents* s) {
         s->variables[0].dtype = "short";
         s->variables[0].data[0] = 0.5;
       },
       "is not a value of type short"},
      {[](ModelContents* s) {
         s->shape = Shape::kV1;
         s->variables[0].dtype = "int";
       },
       "this header shape holds floats alone"},
  };
  for (const auto& row : kRows) {
    ModelContents contents = Tiny();
    row.change(&contents);
    EXPECT_THAT(ErrorOf([&contents] { WriteModel(contents); }), HasSubstr(row.message));
  }
}

TEST(ReadModel, RefusesDamagedFiles) {
  const Bytes file = WriteModel(Tiny());
  for (size_t n = 0; n < file.size(); n += n < 400 ? 1 : 37) {
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(n));
    EXPECT_NE(ErrorOf([&cut] { ReadModel(cut); }), "(no error)") << n;
  }
  EXPECT_THAT(ErrorOf([] { ReadModel(Bytes(500)); }), HasSubstr("the magic word is missing"));
  Bytes cut = file;
  cut.pop_back();
  EXPECT_THAT(ErrorOf([&cut] { ReadModel(cut); }), HasSubstr("variable w reaches beyond the end of the file"));

  const struct {
    size_t offset;
    std::string bytes;
    const char* message;
  } kRows[] = {
      {384 + 12372, std::string("\xF9\xFF\xFF\xFF", 4), "the number of keys is -7"},
      {384 + 12372, std::string("\x21\0\0\0", 4), "the number of keys is 33"},
      {384 + 12376, std::string(16, '0'), "the text is not terminated of key 0"},
      {384 + 12888, std::string(16, '0'), "the value is not terminated of key 0"},
      {384 + 9300, std::string("words\0\0\0", 8), "an unknown data type"},
      {384 + 9300 + 8 * (Tiny().variables.size() - 1), std::string("words\0\0\0", 8), "an unknown data type"},
  };
  for (const auto& row : kRows) {
    Bytes damaged = file;
    std::copy(row.bytes.begin(), row.bytes.end(), damaged.begin() + static_cast<std::ptrdiff_t>(row.offset));
    EXPECT_THAT(ErrorOf([&damaged] { ReadModel(damaged); }), HasSubstr(row.message));
  }
}

TEST(WriteContainer, ReadingBackIsTheIdentity) {
  const std::vector<Section> sections = {{1, WriteModel(Tiny())}, {0, {}}, {2, Bytes{1, 0, 0, 0}}, {77, Bytes{9}}};
  const Bytes file = WriteContainer(sections);
  EXPECT_TRUE(IsContainer(file));
  EXPECT_EQ(ReadContainer(file), sections);
  EXPECT_EQ(Text(file, 44), "orvalin");
  EXPECT_EQ(Text(file, 148), "orvalin");
  EXPECT_EQ(Peek<uint16_t>(file, 380), 4);
  EXPECT_EQ(Peek<uint64_t>(file, 368), file.size());
  EXPECT_EQ(Peek<uint32_t>(file, 384 + 24 * 2), 2u);
  EXPECT_EQ(Peek<uint32_t>(file, 384 + 24 * 2 + 8), 4u);
  EXPECT_EQ(Peek<uint32_t>(file, Peek<uint32_t>(file, 384 + 24 * 2 + 16)), 1u);
}

TEST(WriteContainer, IsToldByMagicCountAndSize) {
  const Bytes file = WriteContainer({{2, Bytes{1, 0, 0, 0}}});
  Bytes other = file;
  other[148] = 'x';
  EXPECT_FALSE(IsContainer(other));
  other = file;
  other.push_back(0);
  EXPECT_FALSE(IsContainer(other));
  EXPECT_FALSE(IsContainer(WriteModel(Tiny())));
  EXPECT_THAT(ErrorOf([] { ReadContainer(WriteModel(Tiny())); }), HasSubstr("not a container"));
  other = file;
  other[384 + 8] = 5;
  EXPECT_THAT(ErrorOf([&other] { ReadContainer(other); }), HasSubstr("section 0 reaches beyond the end of the file"));
}

}  // namespace
}  // namespace TSEG::modelfile
