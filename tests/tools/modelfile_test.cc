// SPDX-License-Identifier: Apache-2.0
//
// Writing, reading back, describing and packing model files.
#include "modelfile/modelfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>

#include "modelfile/describe.h"
#include "modelfile/npy.h"
#include "modelfile/pack.h"
#include "support/temp_folder.h"

namespace TSEG::modelfile {
namespace {

using ::testing::HasSubstr;
using testing_support::TempFolder;

// The message of the runtime_error that `action` throws.
std::string ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "(no error)";
}

Variable Floats(const std::string& name, int32_t outer, int32_t inner, std::vector<double> data) {
  Variable v;
  v.name = name;
  v.outer = outer;
  v.inner = inner;
  v.data = std::move(data);
  return v;
}

ModelSpec Tiny() {
  ModelSpec spec;
  spec.network_type = "MLP_RES_DNN";
  spec.keys = {{"0", "1"}, {"is_ctc", "true"}};
  spec.variables = {Floats("mean", 3, 1, {1, 2, 3}), Floats("w", 2, 3, {0.5, -0.5, 0.25, 1, -4, 2})};
  spec.variables[1].nShift16 = 10;
  spec.variables[1].nAux16 = 11;
  spec.variables[1].nShift8 = 8;
  spec.variables[1].nAux8 = 9;
  return spec;
}

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
  ModelSpec spec = Tiny();
  spec.shape = Shape::kV2;
  spec.network_type = "MLP_RES_RNNCNNPAD28";
  spec.fScale[8] = 2.5F;
  const Bytes v2 = WriteModel(spec);
  EXPECT_EQ(Peek<float>(v2, 384 + 10324 + 32), 2.5F);
  EXPECT_EQ(Peek<int32_t>(v2, 384 + 10388), 2);
  EXPECT_EQ(Text(v2, 384 + 10392 + 16), "is_ctc");
  EXPECT_EQ(Text(v2, 384 + 10904 + 16), "true");
  EXPECT_EQ(Peek<float>(v2, 384 + 11416), 1.0F);
  spec.shape = Shape::kV1;
  spec.network_type = "MLP_RES_RNN";
  const Bytes v1 = WriteModel(spec);
  EXPECT_EQ(Text(v1, 384 + 1108 + 16), "w");
  EXPECT_EQ(Peek<int32_t>(v1, 384 + 4180 + 4), 8);
  EXPECT_EQ(Peek<int32_t>(v1, 384 + 5204), 2);
  EXPECT_EQ(Text(v1, 384 + 5208 + 16), "is_ctc");
  EXPECT_EQ(Text(v1, 384 + 5720 + 16), "true");
  EXPECT_EQ(Peek<float>(v1, 384 + 6232), 1.0F);
}

// A spec with `seed` behind every choice.
ModelSpec RandomSpec(unsigned seed) {
  std::mt19937 random(seed);
  auto below = [&random](unsigned n) { return static_cast<int32_t>(random() % n); };
  ModelSpec spec;
  const char* types[] = {"MLP_RES_DNN", "MLP_RES_RNNCNNPAD28", "MLP_RES_RNNCATDNN", "MLP_RES_RNN", "MLP_RES_BIRNN"};
  spec.network_type = types[below(5)];
  spec.shape = ShapeOfType(spec.network_type);
  const char* dtypes[] = {"double", "float", "int", "short", "ushort", "uchar", "char"};
  const double lowest[] = {-1e300, -1e38, -2147483648.0, -32768, 0, 0, -128};
  const double highest[] = {1e300, 1e38, 2147483647.0, 32767, 65535, 255, 127};
  const int32_t n_vars = seed % 7 == 0 ? 128 : below(12);
  for (int32_t i = 0; i < n_vars; ++i) {
    Variable v;
    v.name = "v" + std::to_string(i) + std::string(static_cast<size_t>(below(spec.shape == Shape::kV1 ? 11 : 59)), 'x');
    const int32_t type = spec.shape == Shape::kV1 ? 1 : below(7);
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
    if (spec.shape != Shape::kV2) v.nShift8 = below(300) - 20;
    if (spec.shape == Shape::kV3) {
      v.nShift16 = below(300) - 20;
      v.nAux16 = static_cast<int32_t>(random());
      v.nAux8 = static_cast<int32_t>(random());
    }
    spec.variables.push_back(v);
  }
  if (spec.shape == Shape::kV2) {
    for (float& s : spec.fScale) s = static_cast<float>(below(1000)) / 7.0F;
  }
  for (int32_t i = below(33); i > 0; --i) {
    spec.keys.emplace_back("k" + std::to_string(below(100)), std::string(static_cast<size_t>(below(16)), 'v'));
  }
  return spec;
}

TEST(WriteModel, ReadingBackIsTheIdentity) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    const ModelSpec spec = RandomSpec(seed);
    const Bytes file = WriteModel(spec);
    const ModelSpec read = ReadModel(file);
    ASSERT_EQ(read, spec) << "seed " << seed;
    ASSERT_EQ(WriteModel(read), file) << "seed " << seed;
  }
}

TEST(WriteModel, RefusesWhatTheFormatCannotHold) {
  const struct {
    std::function<void(ModelSpec*)> change;
    const char* message;
  } kRows[] = {
      {[](ModelSpec* s) { s->variables.resize(129, s->variables[0]); }, "more than 128 variables"},
      {[](ModelSpec* s) { s->keys.resize(33); }, "more than 32 keys"},
      {[](ModelSpec* s) { s->keys[0].second = "0123456789abcdef"; }, "value \"0123456789abcdef\" is longer than 15 characters"},
      {[](ModelSpec* s) { s->network_type = std::string(32, 'T'); }, "is longer than 31 characters"},
      {[](ModelSpec* s) { s->variables[0].name = std::string(64, 'n'); }, "is longer than 63 characters"},
      {[](ModelSpec* s) {
         s->shape = Shape::kV1;
         s->variables[0].name = std::string(16, 'n');
       },
       "is longer than 15 characters"},
      {[](ModelSpec* s) { s->variables[0].dtype = "half"; }, "variable mean: unknown data type \"half\""},
      {[](ModelSpec* s) { s->variables[0].outer = 4; }, "variable mean: 3 values for a shape of 4 x 1"},
      {[](ModelSpec* s) { s->variables[0].outer = 0; }, "variable mean: a dimension is below 1"},
      {[](ModelSpec* s) { s->variables[0].data[0] = 1e39; }, "is not a value of type float"},
      {[](ModelSpec* s) {
         s->variables[0].dtype = "uchar";
         s->variables[0].data[0] = 256;
       },
       "variable mean: 256.000000 is not a value of type uchar"},
      {[](ModelSpec* s) {
         s->variables[0].dtype = "short";
         s->variables[0].data[0] = 0.5;
       },
       "is not a value of type short"},
      {[](ModelSpec* s) {
         s->shape = Shape::kV1;
         s->variables[0].dtype = "int";
       },
       "this header shape holds floats alone"},
  };
  for (const auto& row : kRows) {
    ModelSpec spec = Tiny();
    row.change(&spec);
    EXPECT_THAT(ErrorOf([&spec] { WriteModel(spec); }), HasSubstr(row.message));
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

// The bytes of a .npy file of version 1.
Bytes Npy(const std::string& dictionary, const std::string& data) {
  std::string header = dictionary;
  while ((10 + header.size() + 1) % 64 != 0) header += ' ';
  header += '\n';
  std::string file = "\x93NUMPY";
  file += '\x01';
  file += '\x00';
  file += static_cast<char>(header.size() & 0xFF);
  file += static_cast<char>(header.size() >> 8);
  file += header + data;
  return Bytes(file.begin(), file.end());
}

template <typename T>
std::string Raw(const std::vector<T>& values) {
  return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
}

std::string Dictionary(const std::string& descr, const std::string& shape) {
  return "{'descr': '" + descr + "', 'fortran_order': False, 'shape': " + shape + ", }";
}

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

class Pack : public ::testing::Test {
 protected:
  void Array(const std::string& name, const Bytes& bytes) { folder_.write(name, std::string(bytes.begin(), bytes.end())); }
  void Description(const std::string& json) { folder_.write("model.json", json); }
  std::string Error() {
    return ErrorOf([this] { ReadFolder(folder_.path()); });
  }
  TempFolder folder_;
};

TEST_F(Pack, MakesTheModelThatTheFolderDescribes) {
  Array("mean.npy", Npy(Dictionary("<f8", "(3,)"), Raw<double>({1, 2, 3})));
  Array("first.npy", Npy(Dictionary("<f4", "(2, 3)"), Raw<float>({0.5F, -0.5F, 0.25F, 1, -4, 2})));
  Array("map.npy", Npy(Dictionary("<i2", "(2,)"), Raw<int16_t>({1, -1})));
  Description(R"({"network_type": "MLP_RES_DNN", "comment": "as it is", "keys": [["0", 1], ["is_ctc", true], ["2", "x"]],
    "variables": [{"name": "mean"}, {"name": "w", "file": "first.npy", "shift16": 10, "shift8": 8, "aux16": 11, "aux8": 9},
                  {"name": "map"}, {"name": "again", "file": "mean.npy", "shift": 5, "dtype": "double"}]})");
  EXPECT_EQ(PackFolder(folder_.path(), folder_.file("out.bin")), 384u + 13400u + 9 * 4 + 2 * 2 + 3 * 8);
  const ModelSpec spec = ReadModel(ReadFileBytes(folder_.file("out.bin")));
  EXPECT_EQ(spec.keys, (std::vector<std::pair<std::string, std::string>>{{"0", "1"}, {"is_ctc", "true"}, {"2", "x"}}));
  ASSERT_EQ(spec.variables.size(), 4u);
  EXPECT_EQ(spec.variables[0], Floats("mean", 3, 1, {1, 2, 3}));
  EXPECT_EQ(spec.variables[1], Tiny().variables[1]);
  EXPECT_EQ(spec.variables[2].dtype, "short");
  EXPECT_EQ(spec.variables[2].outer, 2);
  EXPECT_EQ(spec.variables[3].dtype, "double");
  EXPECT_EQ(spec.variables[3].nShift16, 5);
  EXPECT_EQ(spec.variables[3].nShift8, 5);
}

TEST_F(Pack, TakesScalesAndAnObjectOfKeysInItsOrder) {
  Description(R"({"network_type": "MLP_RES_RNNCNNPAD28", "keys": {"b": "1", "a": "2"}, "scales": [1, 0.5, 2], "variables": []})");
  const ModelSpec spec = ReadFolder(folder_.path());
  EXPECT_EQ(spec.shape, Shape::kV2);
  EXPECT_EQ(spec.keys, (std::vector<std::pair<std::string, std::string>>{{"b", "1"}, {"a", "2"}}));
  EXPECT_EQ(spec.fScale[1], 0.5F);
  EXPECT_EQ(spec.fScale[3], 0.0F);
}

TEST_F(Pack, SaysWhatIsWrong) {
  Array("v.npy", Npy(Dictionary("<f4", "(1,)"), Raw<float>({1})));
  Array("bad.npy", Bytes(30));
  const struct {
    const char* json;
    const char* message;
  } kRows[] = {
      {"{", "model.json: "},
      {"[]", "model.json: not an object"},
      {"{}", "\"network_type\" is missing in the description"},
      {R"({"network_type": "MLP_RES_DNN"})", "\"variables\" is not a list"},
      {R"({"network_type": "MLP_RES_DNN", "variable": []})", "unknown entry \"variable\" in the description"},
      {R"({"network_type": "MLP_RES_DNN", "scales": [1], "variables": []})", "\"scales\" belong to MLP_RES_RNNCNNPAD28 alone"},
      {R"({"network_type": "MLP_RES_DNN", "keys": 3, "variables": []})", "\"keys\" is neither an object nor a list of pairs"},
      {R"({"network_type": "MLP_RES_DNN", "keys": [["a"]], "variables": []})", "something that is not a pair"},
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"name": "v", "shfit": 3}]})", "unknown entry \"shfit\" in variable v"},
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"name": "v", "shift": 1.5}]})", "\"shift\" is not an integer in variable v"},
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"file": "v.npy"}]})", "\"name\" is missing in a variable"},
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"name": "w"}]})", "w.npy: "},
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"name": "bad"}]})", "bad.npy: not a usable .npy file"},
      {R"({"network_type": "MLP_RES_RNNCNNPAD28", "variables": [{"name": "v", "shift": 3}]})",
       "shifts do not belong to MLP_RES_RNNCNNPAD28"},
  };
  for (const auto& row : kRows) {
    Description(row.json);
    EXPECT_THAT(Error(), HasSubstr(row.message)) << row.json;
  }
  std::remove(folder_.file("model.json").c_str());
  EXPECT_THAT(Error(), HasSubstr("model.json: cannot be opened"));
}

TEST(Inspect, DescribesAModel) {
  ModelSpec spec = Tiny();
  spec.variables[1].data[5] = std::numeric_limits<double>::infinity();
  const Bytes file = WriteModel(spec);
  const ModelInfo info = Inspect(file);
  EXPECT_EQ(info.file_bytes, file.size());
  EXPECT_EQ(info.network_type, "MLP_RES_DNN");
  EXPECT_EQ(info.type_code, 1);
  EXPECT_EQ(info.shape, Shape::kV3);
  EXPECT_EQ(info.header_offset, 384u);
  EXPECT_EQ(info.data_offset, 13784u);
  EXPECT_EQ(info.data_bytes, 36u);
  ASSERT_EQ(info.variables.size(), 2u);
  const VariableInfo& w = info.variables[1];
  EXPECT_EQ(w.offset, 12u);
  EXPECT_EQ(w.padded_inner, 32);
  EXPECT_EQ(w.padded_outer, 32);
  EXPECT_EQ(w.min, -4.0);
  EXPECT_EQ(w.max, 1.0);
  EXPECT_EQ(w.not_finite, 1u);
  EXPECT_DOUBLE_EQ(w.rms, std::sqrt((0.25 + 0.25 + 0.0625 + 1 + 16) / 5));
  EXPECT_EQ(w.nShift16, 10);
  EXPECT_EQ(info.variables[0].padded_inner, 1);

  const nlohmann::ordered_json json = ToJson(info);
  EXPECT_EQ(json["network_type"], "MLP_RES_DNN");
  EXPECT_EQ(json["shape"], "V3");
  EXPECT_EQ(json["keys"][1][0], "is_ctc");
  EXPECT_EQ(json["variables"][1]["name"], "w");
  EXPECT_EQ(json["variables"][1]["shift8"], 8);
  EXPECT_EQ(json["variables"][1]["min"], -4.0);
  EXPECT_FALSE(json.contains("scales"));

  const std::string text = ToText(info);
  EXPECT_THAT(text, HasSubstr("network type  MLP_RES_DNN (code 1, header V3)"));
  EXPECT_THAT(text, HasSubstr("is_ctc         = true"));
  EXPECT_THAT(text, HasSubstr("1 values are not finite"));
}

TEST(Inspect, ShowsScalesAndSections) {
  ModelSpec spec = Tiny();
  spec.shape = Shape::kV2;
  spec.network_type = "MLP_RES_RNNCNNPAD28";
  spec.fScale[0] = 0.5F;
  const ModelInfo info = Inspect(WriteContainer({{1, WriteModel(spec)}, {2, Bytes(8)}, {1, Bytes(9)}}));
  EXPECT_TRUE(info.is_container);
  ASSERT_EQ(info.sections.size(), 3u);
  ASSERT_EQ(info.sections[0].model.size(), 1u);
  EXPECT_EQ(info.sections[0].model[0].scales.size(), 16u);
  EXPECT_EQ(info.sections[2].problem, "not a model file: the magic word is missing");
  const nlohmann::ordered_json json = ToJson(info);
  EXPECT_EQ(json["container"], true);
  EXPECT_EQ(json["sections"][0]["model"]["scales"][0], 0.5);
  EXPECT_FALSE(json["sections"][0]["model"]["variables"][0].contains("shift8"));
  EXPECT_EQ(json["sections"][1]["kind_name"], "general table");
  EXPECT_THAT(ToText(info), HasSubstr("section 2: model, 9 bytes\ncannot be read: not a model file"));
}

TEST(Inspect, NamesTheFileThatItCannotRead) {
  const TempFolder folder;
  const std::string path = folder.write("x.bin", "nothing");
  EXPECT_THAT(ErrorOf([&path] { InspectFile(path); }), HasSubstr("x.bin: not a model file"));
  EXPECT_THAT(ErrorOf([&folder] { InspectFile(folder.file("missing")); }), HasSubstr("missing: cannot be opened"));
}

}  // namespace
}  // namespace TSEG::modelfile
