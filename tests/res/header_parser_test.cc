// SPDX-License-Identifier: Apache-2.0
#include "res/header_parser.h"

#include <gtest/gtest.h>

#include <memory>

#include "nn/network_models.h"
#include "res/test_models.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using modelfile::Bytes;
using modelfile::ModelContents;
using modelfile::Shape;
using modelfile::Variable;
using testing_support::LogCapture;
using testing_support::Matrix;
using testing_support::Vector;

using ParserV1 = MlpResHeaderParser<MlpResImageV1>;
using ParserV2 = MlpResHeaderParser<MlpResImageV2>;
using ParserV3 = MlpResHeaderParser<MlpResImageV3>;

// A written file and the copy of its header.
template <class Image>
struct Parsed {
  explicit Parsed(const ModelContents& contents) : file(modelfile::WriteModel(contents)) {
    EXPECT_TRUE(CopyHeader(ByteView(file.data(), file.size()), 384, &header));
  }
  Bytes file;
  MlpResFileHeader<Image> header;
};

ModelContents Contents(Shape shape, std::vector<Variable> variables) {
  ModelContents contents;
  contents.shape = shape;
  contents.network_type = shape == Shape::kV1 ? "MLP_RES_RNN" : (shape == Shape::kV2 ? "MLP_RES_RNNCNNPAD28" : "MLP_RES_DNN");
  contents.variables = std::move(variables);
  return contents;
}

Variable Typed(const std::string& name, const std::string& dtype, int32_t outer, int32_t inner) {
  Variable v = Vector(name, 1, 0);
  v.dtype = dtype;
  v.outer = outer;
  v.inner = inner;
  v.data.assign(static_cast<size_t>(outer) * static_cast<size_t>(inner), 3.0);
  return v;
}

TEST(PaddedDimension, KeepsOneAndRoundsTheRestUpTo32) {
  EXPECT_EQ(PaddedDim(1), 1);
  EXPECT_EQ(PaddedDim(2), 32);
  EXPECT_EQ(PaddedDim(32), 32);
  EXPECT_EQ(PaddedDim(33), 64);
  EXPECT_EQ(PaddedDim(825), 832);
}

TEST(HeaderParser, OffsetsAddUpTheSizesOfTheVariablesBefore) {
  const Parsed<MlpResImageV3> p(
      Contents(Shape::kV3, {Typed("a", "double", 3, 2), Typed("b", "uchar", 5, 1), Typed("c", "short", 2, 2), Typed("d", "char", 1, 1),
                            Typed("e", "ushort", 1, 3), Typed("f", "int", 1, 1), Typed("g", "float", 1, 1), Typed("h", "float", 1, 1)}));
  const uint64_t expected[] = {0, 48, 53, 61, 62, 68, 72, 76};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(ParserV3::var_offset(p.header, i), expected[i]) << i;
}

TEST(HeaderParser, DataTypesAreLookedUpByTheNameOfTheVariable) {
  const Parsed<MlpResImageV3> p(
      Contents(Shape::kV3, {Typed("a", "double", 1, 1), Typed("b", "float", 1, 1), Typed("c", "int", 1, 1), Typed("d", "short", 1, 1),
                            Typed("e", "ushort", 1, 1), Typed("f", "uchar", 1, 1), Typed("g", "char", 1, 1)}));
  const int expected[] = {0, 10, 20, 30, 40, 50, 60};
  const char* names[] = {"a", "b", "c", "d", "e", "f", "g"};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(ParserV3::get_var_datatype(p.header, names[i]), expected[i]) << names[i];
  EXPECT_EQ(ParserV3::get_var_datatype(p.header, "h"), 61);
}

TEST(HeaderParser, AnUnknownTypeOnTheWayGivesOffsetZeroAndTwoLines) {
  Parsed<MlpResImageV3> p(Contents(Shape::kV3, {Vector("first", 4, 1), Vector("second", 4, 2), Vector("third", 4, 3)}));
  std::strcpy(p.header.szDataType[1], "Float");
  LogCapture log;
  EXPECT_EQ(ParserV3::var_offset(p.header, 1), 16u);
  EXPECT_EQ(ParserV3::var_offset(p.header, 2), 0u);
  EXPECT_EQ(log.Failures("get_var_datatype: do not support type second.", "NULL", 0), 1) << log.Text();
}

TEST(HeaderParser, CountsNamesByOneDigitAtTheStar) {
  const Parsed<MlpResImageV2> p(Contents(
      Shape::kV2, {Vector("lstmp1_bias_", 1, 0), Vector("lstmp2_bias_", 1, 0), Vector("lstmp10_bias_", 1, 0), Vector("lstmpx_bias_", 1, 0),
                   Vector("lstmp3_bias-", 1, 0), Vector("lstmp*_bias_", 1, 0), Vector("softmax_bias_", 1, 0), Vector("fc2_bias_", 1, 0)}));
  EXPECT_EQ(ParserV2::count_matching(p.header, "lstmp*_bias_"), 2);
  EXPECT_EQ(ParserV2::count_matching(p.header, "softmax_bias_"), 1);
  EXPECT_EQ(ParserV2::count_matching(p.header, "softmax_bias"), 0);
  EXPECT_EQ(ParserV2::count_matching(p.header, "fc*_bias_"), 1);
}

TEST(HeaderParser, KeysAreLookedUpInTheRowsThatTheHeaderCounts) {
  ModelContents contents = Contents(Shape::kV3, {Vector("mean", 1, 0)});
  contents.keys = {{"a", "1"}, {"is_ctc", "true"}, {"b", "TRUE"}};
  Parsed<MlpResImageV3> p(contents);
  EXPECT_EQ(ParserV3::find_key(p.header, "is_ctc"), 1);
  EXPECT_EQ(ParserV3::find_key(p.header, "c"), -1);
  EXPECT_TRUE(ParserV3::key_is(p.header, "is_ctc", "true"));
  EXPECT_FALSE(ParserV3::key_is(p.header, "b", "true"));
  p.header.nKeys = 1;
  EXPECT_EQ(ParserV3::find_key(p.header, "is_ctc"), -1);
}

TEST(NetworkType, IsToldBySixteenCharacters) {
  const struct {
    const char* name;
    int code;
  } kRows[] = {{"MLP_RES_BN", 0},           {"MLP_RES_DNN", 1},
               {"MLP_RES_DNN_APT", 2},      {"MLP_RES_RNN", 3},
               {"MLP_RES_RNN_CTC", 10},     {"MLP_RES_DNN_GENERAL", 4},
               {"MLP_RES_DNN_LR", 5},       {"MLP_RES_DNN_TREE", 6},
               {"MLP_RES_DNN_LR_APT", 7},   {"MLP_RES_RNN_APT", 8},
               {"MLP_RES_DNN_FIXPOINT", 9}, {"MLP_RES_DNN_IVEC", 11},
               {"MLP_RES_RNN_IVEC", 12},    {"MLP_RES_UBRNN", 13},
               {"MLP_RES_UBRNN_APT", 14},   {"MLP_RES_BIRNN", 15},
               {"MLP_RES_BIRNN_CTC", 16},   {"MLP_RES_RNNCATDNN", 17},
               {"MLP_RES_RNNCNNPAD28", 19}, {"MLP_RES_RNNCATDNX", 17},
               {"MLP_RES_RNNCNNPAD99", 19}, {"MLP_RES", 18},
               {"MLP_RES_DNNX", 18},        {"", 18}};
  for (const auto& row : kRows) {
    char type[32] = {};
    std::strcpy(type, row.name);
    EXPECT_EQ(NetworkTypeCode(type), row.code) << row.name;
  }
}

TEST(RegisterValue, CopiesRowsAndLeavesThePaddingZero) {
  const Parsed<MlpResImageV3> p(Contents(Shape::kV3, {Vector("mean", 3, 1), Matrix("w", 33, 2, 4)}));
  AlignedBuffer<uint8_t> block;
  BlockCursor cursor(&block, 64 * 32 * 4 + 32 * 4);
  float* mean = nullptr;
  float* w = nullptr;
  {
    const auto* const end = ParserV3::register_value_typed(p.header, &mean, "mean", &cursor);
    EXPECT_EQ(end, mean + 32);  // a column of one stays one wide
  }
  {
    const auto* const end = ParserV3::register_value_typed(p.header, &w, "w", &cursor);
    EXPECT_EQ(end, w + 64 * 32);
  }
  const std::vector<double> data = Matrix("w", 33, 2, 4).data;
  for (size_t r = 0; r < 64; ++r) {
    for (size_t c = 0; c < 32; ++c) {
      const double expected = r < 33 && c < 2 ? data[r * 2 + c] : 0.0;
      ASSERT_EQ(static_cast<double>(w[r * 32 + c]), expected) << r << " " << c;
    }
  }
  EXPECT_EQ(cursor.left(), 0u);
  EXPECT_EQ(cursor.Take(1), nullptr);
}

TEST(RegisterValue, OfOneByFortyTakesSixtyFour) {
  const Parsed<MlpResImageV3> p(Contents(Shape::kV3, {Vector("a", 40, 1), Vector("b", 1, 2)}));
  EXPECT_EQ(ParserV3::padded_elements(p.header, 0), 64u);
  EXPECT_EQ(ParserV3::padded_elements(p.header, 1), 1u);
  EXPECT_EQ(ParserV3::padded_size(p.header), 65u);
  EXPECT_EQ(ParserV3::padded_bytes(p.header), 260u);
}

TEST(RegisterValue, AMissingNameGivesNothingAndTwoLines) {
  const Parsed<MlpResImageV2> p(Contents(Shape::kV2, {Vector("mean", 3, 1)}));
  AlignedBuffer<uint8_t> block;
  BlockCursor cursor(&block, 4096);
  float* to = nullptr;
  LogCapture log;
  EXPECT_EQ(ParserV2::register_value_typed(p.header, &to, "var", &cursor), nullptr);
  EXPECT_EQ(to, nullptr);
  EXPECT_EQ(log.Failures("register_value_typed: can't find  var in resource", "NULL", 0), 1) << log.Text();
}

TEST(RegisterValue, V1ForcesAMissingNameToTheFirstVariable) {
  const Parsed<MlpResImageV1> p(Contents(Shape::kV1, {Vector("first", 3, 1), Vector("second", 3, 2)}));
  AlignedBuffer<uint8_t> block;
  BlockCursor cursor(&block, 4096);
  float* first = nullptr;
  float* second = nullptr;
  float* missing = nullptr;
  LogCapture log;
  {
    const auto* const end = ParserV1::register_value_float(p.header, &first, "first", &cursor);
    EXPECT_EQ(end, first + 32);
  }
  {
    const auto* const end = ParserV1::register_value_float(p.header, &second, "second", &cursor);
    EXPECT_EQ(end, second + 32);
  }
  {
    const auto* const end = ParserV1::register_value_float(p.header, &missing, "third", &cursor);
    EXPECT_EQ(end, missing + 32);
  }
  EXPECT_EQ(static_cast<double>(second[0]), Vector("second", 3, 2).data[0]);
  EXPECT_EQ(missing[0], first[0]);
  EXPECT_EQ(
      log.CountLines("MlpResHeaderParser<struct MlpResFileHeader>::get_var_index: can't find  third in resource, but force index to 0"), 1)
      << log.Text();
}

TEST(RegisterValue, V1WithoutAnyVariableHasNothingToForce) {
  const Parsed<MlpResImageV1> p(Contents(Shape::kV1, {}));
  AlignedBuffer<uint8_t> block;
  BlockCursor cursor(&block, 4096);
  float* to = nullptr;
  LogCapture log;
  EXPECT_EQ(ParserV1::register_value_float(p.header, &to, "mean", &cursor), nullptr);
  EXPECT_EQ(log.CountLines("register_value_float: can't find  mean in resource"), 1) << log.Text();
}

TEST(RegisterValue, FixedTakesTheShiftOfTheCallOrOfTheHeader) {
  Variable v = Vector("v", 3, 0);
  v.data = {1.0, -0.5, 0.25};
  v.nShift16 = 0x10A;  // of which the low byte counts: 10
  v.nShift8 = 3;
  const Parsed<MlpResImageV3> p(Contents(Shape::kV3, {v}));
  AlignedBuffer<uint8_t> block;
  BlockCursor cursor(&block, 4096);
  void* wide = nullptr;
  void* narrow = nullptr;
  void* byte = nullptr;
  {
    const auto* const end = ParserV3::register_value_fixed(p.header, &wide, "v", &cursor, 4, 255, ShiftTable::k16);
    EXPECT_EQ(end, static_cast<uint8_t*>(wide) + 32 * 4);
  }
  ParserV3::register_value_fixed(p.header, &narrow, "v", &cursor, 2, 300, ShiftTable::k8);
  ParserV3::register_value_fixed(p.header, &byte, "v", &cursor, 1, 5, ShiftTable::k8);
  const int expected[3][4] = {{1024, -512, 256, 0}, {8, -4, 2, 0}, {32, -16, 8, 0}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(testing_support::At<int32_t>(wide, i), expected[0][i]) << i;
    EXPECT_EQ(testing_support::At<int16_t>(narrow, i), expected[1][i]) << i;
    EXPECT_EQ(testing_support::At<int8_t>(byte, i), expected[2][i]) << i;
  }
}

TEST(RegisterValue, FixedOfV1TakesItsOneShift) {
  Variable v = Vector("v", 1, 0);
  v.data = {0.75};
  v.nShift8 = 4;
  const Parsed<MlpResImageV1> p(Contents(Shape::kV1, {v}));
  AlignedBuffer<uint8_t> block;
  BlockCursor cursor(&block, 4096);
  void* to = nullptr;
  ParserV1::register_value_fixed(p.header, &to, "v", &cursor, 2, 255, ShiftTable::k8);
  EXPECT_EQ(testing_support::At<int16_t>(to, 0), 12);
}

TEST(RegisterValue, MapIsCopiedOnlyAsShorts) {
  Variable map = Typed("map", "short", 2, 3);
  map.data = {1, 2, -1, 4, 5, -1};
  const Parsed<MlpResImageV3> p(Contents(Shape::kV3, {map}));
  AlignedBuffer<uint8_t> block;
  BlockCursor cursor(&block, 4096);
  int16_t* to = nullptr;
  {
    const auto* const end = ParserV3::register_map(p.header, &to, &cursor);
    EXPECT_EQ(end, to + 32 * 32);
  }
  EXPECT_EQ(to[2], -1);
  EXPECT_EQ(to[32], 4);
  EXPECT_EQ(to[3], 0);
  map.dtype = "int";
  const Parsed<MlpResImageV3> other(Contents(Shape::kV3, {map}));
  EXPECT_EQ(ParserV3::register_map(other.header, &to, &cursor), nullptr);
}

}  // namespace
}  // namespace TSEG
