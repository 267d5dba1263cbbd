// SPDX-License-Identifier: Apache-2.0
#include "blocks/score_source.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace TSEG::blocks {
namespace {

const std::string kBundledModel = std::string(WVAD_TEST_DATA_DIR) + "/../../models/dnn_fb75.bin";

TEST(ScoreSource, BundledModelGivesAPairAFrameThatSumsToOne) {
  std::string error;
  const auto model = ScoreModel::Load(kBundledModel, &error);
  ASSERT_TRUE(model) << error;
  std::vector<int16_t> samples(16000 + 480);  // (16480 - 800) / 160 + 1 = 99 frames: the last batch is short and odd
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<int16_t>((i * 7919) % 601);
  std::vector<float> pairs;
  ScoreSource(BlockOptions(), model.get()).Run(samples, &pairs);
  ASSERT_EQ(pairs.size(), 2u * 99u);
  for (size_t i = 0; i < pairs.size(); i += 2) {
    EXPECT_NEAR(pairs[i] + pairs[i + 1], 1.0f, 1e-6f);
    if (i % 4 == 2) {
      EXPECT_EQ(pairs[i], pairs[i - 2]) << "an odd frame repeats the pair before";
    }
  }
}

TEST(ScoreSource, DigitalSilenceIsNotSpeechForTheBundledModel) {
  std::string error;
  const auto model = ScoreModel::Load(kBundledModel, &error);
  ASSERT_TRUE(model) << error;
  std::vector<float> pairs;
  ScoreSource(BlockOptions(), model.get()).Run(std::vector<int16_t>(32000, 0), &pairs);
  ASSERT_FALSE(pairs.empty());
  for (size_t i = 0; i < pairs.size(); i += 2) EXPECT_LT(pairs[i], 0.7f) << i / 2;
}

TEST(ScoreModel, AFileThatIsNoModelIsRefusedWithAReason) {
  const testing_support::TempFolder folder;
  const std::string path = folder.path() + "/text.bin";
  std::ofstream(path) << std::string(20000, 'x');
  std::string error;
  EXPECT_FALSE(ScoreModel::Load(path, &error));
  EXPECT_EQ(error, path + ": refused by the model loader with 30005");
  EXPECT_FALSE(ScoreModel::Load(folder.path() + "/none.bin", &error));
  EXPECT_EQ(error, folder.path() + "/none.bin: cannot be read");
}

}  // namespace
}  // namespace TSEG::blocks
