// SPDX-License-Identifier: Apache-2.0
#include "modelfile/pack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelfile/npy_bytes.h"
#include "modelfile/small_models.h"
#include "support/temp_folder.h"

namespace TSEG::modelfile {
namespace {

using ::testing::HasSubstr;
using testing_support::TempFolder;

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
  const Bytes file = WriteModel(ReadFolder(folder_.path()));
  EXPECT_EQ(file.size(), 384u + 13400u + 9 * 4 + 2 * 2 + 3 * 8);
  const ModelContents contents = ReadModel(file);
  EXPECT_EQ(contents.keys, (std::vector<std::pair<std::string, std::string>>{{"0", "1"}, {"is_ctc", "true"}, {"2", "x"}}));
  ASSERT_EQ(contents.variables.size(), 4u);
  EXPECT_EQ(contents.variables[0], Floats("mean", 3, 1, {1, 2, 3}));
  EXPECT_EQ(contents.variables[1], Tiny().variables[1]);
  EXPECT_EQ(contents.variables[2].dtype, "short");
  EXPECT_EQ(contents.variables[2].outer, 2);
  EXPECT_EQ(contents.variables[3].dtype, "double");
  EXPECT_EQ(contents.variables[3].nShift16, 5);
  EXPECT_EQ(contents.variables[3].nShift8, 5);
}

TEST_F(Pack, NumbersOfKeysAreAsTheyAreWritten) {
  Description(R"({"network_type": "MLP_RES_DNN", "keys": [["a", 18446744073709551615], ["b", -9223372036854775808]], "variables": []})");
  const ModelContents contents = ReadFolder(folder_.path());
  EXPECT_EQ(contents.keys,
            (std::vector<std::pair<std::string, std::string>>{{"a", "18446744073709551615"}, {"b", "-9223372036854775808"}}));
}

TEST_F(Pack, TakesScalesAndAnObjectOfKeysInItsOrder) {
  Description(R"({"network_type": "MLP_RES_RNNCNNPAD28", "keys": {"b": "1", "a": "2"}, "scales": [1, 0.5, 2], "variables": []})");
  const ModelContents contents = ReadFolder(folder_.path());
  EXPECT_EQ(contents.shape, Shape::kV2);
  EXPECT_EQ(contents.keys, (std::vector<std::pair<std::string, std::string>>{{"b", "1"}, {"a", "2"}}));
  EXPECT_EQ(contents.fScale[1], 0.5F);
  EXPECT_EQ(contents.fScale[3], 0.0F);
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
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"name": "v", "shift": 4294967300}]})",
       "\"shift\" is more than 32 bits hold in variable v"},
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"name": "v", "aux8": -2147483649}]})", "\"aux8\" is more than 32 bits hold"},
      {R"({"network_type": "MLP_RES_DNN", "variables": [{"name": "v", "shift8": 18446744073709551612}]})", "\"shift8\" is more than"},
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

}  // namespace
}  // namespace TSEG::modelfile
