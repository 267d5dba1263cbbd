// SPDX-License-Identifier: Apache-2.0
#include "modelfile/describe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "modelfile/small_models.h"
#include "support/temp_folder.h"

namespace TSEG::modelfile {
namespace {

using ::testing::HasSubstr;
using testing_support::TempFolder;

TEST(Inspect, DescribesAModel) {
  ModelContents contents = Tiny();
  contents.variables[1].data[5] = std::numeric_limits<double>::infinity();
  const Bytes file = WriteModel(contents);
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

TEST(Inspect, TableOfABundledModelFitsInto80Columns) {
  std::istringstream lines(ToText(InspectFile(std::string(WVAD_TEST_DATA_DIR) + "/../../models/lstm_fb75.bin")));
  std::string heading;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 80u) << line;
    if (line.starts_with("  name")) heading = line;
  }
  EXPECT_TRUE(heading.ends_with(" rms s16  s8")) << heading;
}

TEST(Inspect, ShowsScalesAndSections) {
  ModelContents contents = Tiny();
  contents.shape = Shape::kV2;
  contents.network_type = "MLP_RES_RNNCNNPAD28";
  contents.fScale[0] = 0.5F;
  const ModelInfo info = Inspect(WriteContainer({{1, WriteModel(contents)}, {2, Bytes(8)}, {1, Bytes(9)}}));
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
